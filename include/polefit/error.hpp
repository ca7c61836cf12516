/// How polefit says that it cannot do what it was asked for.
#pragma once

#include <stdexcept>
#include <string>

namespace polefit {

enum class ErrorKind {
  no_samples,           ///< an empty grid, or no responses
  bad_shape,            ///< sizes that do not fit together
  bad_frequency,        ///< negative, infinite or not a number
  bad_sample,           ///< infinite or not a number
  bad_weight,           ///< negative, infinite or not a number
  zero_data,            ///< weighted responses without a value other than zero, or that overflow
  bad_option,           ///< an option outside its range
  too_many_unknowns,    ///< more unknowns than equations
  numerical_breakdown,  ///< an eigenvalue or least-squares routine did not deliver
  bad_model_file,       ///< a model file that cannot be read, written or understood
};

/// The one exception that polefit throws of its own; what() is a sentence for the user.
class Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& sentence) : std::runtime_error(sentence), kind_(kind) {}
  ErrorKind kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

}  // namespace polefit
