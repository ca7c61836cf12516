#include "polefit_cli/exports/full_matrix.hpp"

#include <set>
#include <utility>

#include "polefit/error.hpp"
#include "polefit_cli/network/network.hpp"

namespace polefit_cli {
namespace {

using polefit::MatrixElement;
using polefit::NetworkMatrix;

using Elements = std::set<std::pair<std::size_t, std::size_t>>;  // row and column

[[noreturn]] void fail(const std::string& sentence) {
  throw polefit::Error(polefit::ErrorKind::bad_shape, sentence);
}

/// A sentence about the elements that are not there, the first few by name.
std::string missing_text(const NetworkMatrix& matrix, const Elements& present) {
  constexpr std::size_t most_names = 8;
  const std::size_t ports = matrix.references.size();
  const std::size_t missing = ports * ports - present.size();
  std::string text = "the model has not all elements of a matrix of " + std::to_string(ports) + " ports; ";
  std::size_t named = 0;
  for (std::size_t row = 1; row <= ports; ++row) {
    for (std::size_t column = 1; column <= ports; ++column) {
      if (present.count({row, column}) != 0) {
        continue;
      }
      if (named == most_names) {
        return text + " and " + std::to_string(missing - named) + " more are missing";
      }
      text += (named == 0 ? "" : ", ") + element_name(matrix.parameter, {row, column}, ports);
      ++named;
    }
  }
  return text + (missing == 1 ? " is missing" : " are missing");
}

}  // namespace

std::optional<std::string> incompleteness(const polefit::Model& model) {
  if (!model.network) {
    return "the model does not say of which network matrix its responses are elements";
  }
  static_cast<void>(polefit::evaluate(model, {}));  // refuses a model that contradicts itself
  Elements elements;
  for (const MatrixElement& element : model.network->elements) {
    elements.emplace(element.row, element.column);
  }
  const std::size_t ports = model.network->references.size();
  if (elements.size() / ports == ports && elements.size() % ports == 0) {
    return std::nullopt;
  }
  return missing_text(*model.network, elements);
}

FullMatrix full_matrix(const polefit::Model& model) {
  if (const auto sentence = incompleteness(model)) {
    fail(*sentence);
  }
  const std::size_t ports = model.network->references.size();
  std::vector<std::size_t> responses(ports * ports);
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const MatrixElement& element = model.network->elements[r];
    responses[(element.row - 1) * ports + (element.column - 1)] = r;
  }
  return {ports, std::move(responses)};
}

}  // namespace polefit_cli
