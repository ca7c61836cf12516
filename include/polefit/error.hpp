/// How polefit says that it cannot do what it was asked for.
#pragma once

#include <stdexcept>
#include <string>

#include "polefit/export.hpp"

namespace polefit {

/// What an error is about.
enum class ErrorKind {
  no_samples,         ///< an empty grid, or no responses
  bad_shape,          ///< sizes that do not fit together, or a model that is not what is wanted of it
  bad_frequency,      ///< negative or not a number, above 1e300 Hz, or all of them below 1e-302 Hz and not 0
  bad_sample,         ///< infinite or not a number, or with a modulus beyond the largest double
  bad_weight,         ///< negative, infinite or not a number, or too far from the others
  zero_data,          ///< weighted responses without a value other than zero
  bad_option,         ///< an option outside its range
  too_many_unknowns,  ///< more unknowns than equations
  numerical_breakdown,  ///< an eigenvalue or least-squares routine did not deliver
  bad_model_file,       ///< a model file that cannot be read, written or understood
  bad_network_file,     ///< a network file, or one of an export, that cannot be read, written or understood
};

/// The one exception that polefit throws of its own; what() is a sentence for the user.
class POLEFIT_EXPORT Error : public std::runtime_error {
 public:
  /// `sentence` names what is wrong: for a file its name and line, what was found and what was expected.
  Error(ErrorKind kind, const std::string& sentence) : std::runtime_error(sentence), kind_(kind) {}
  /// What the error is about.
  ErrorKind kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

}  // namespace polefit
