/// Models whose responses make up the whole matrix of a network.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "polefit/model.hpp"

namespace polefit_cli {

/// Which response is which element of a matrix that has all of them, each once.
class FullMatrix {
 public:
  FullMatrix(std::size_t ports, std::vector<std::size_t> responses)
      : ports_(ports), responses_(std::move(responses)) {}

  std::size_t ports() const { return ports_; }
  /// Row and column are counted from 0.
  std::size_t response(std::size_t row, std::size_t column) const {
    return responses_[row * ports_ + column];
  }

 private:
  std::size_t ports_;
  std::vector<std::size_t> responses_;  // row by row
};

/// Why the responses of a model are not the whole matrix of a network: a sentence that names what is missing,
/// or nothing when they are. Throws polefit::Error (bad_shape) as polefit::evaluate when the model
/// contradicts itself.
std::optional<std::string> incompleteness(const polefit::Model& model);

/// The matrix of a model without incompleteness.
FullMatrix full_matrix(const polefit::Model& model);

}  // namespace polefit_cli
