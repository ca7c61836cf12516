#include "polefit_cli/commands/models.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "polefit/error.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"
#include "polefit_cli/commands/grid.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/byte_order_mark.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"

namespace polefit_cli {

polefit::Model model_of(const std::string& text, const std::string& shown) {
  try {
    return polefit::model_from_json(text);
  } catch (const polefit::Error& error) {
    throw text::IoError({.file = shown, .found = error.what(), .expected = "a model file"});
  }
}

polefit::Model read_model(const std::string& file) {
  const std::string text = read_input(file);
  return model_of(text, shown_input(file));
}

bool looks_like_model(std::string_view text) {
  text = text::without_byte_order_mark(text);
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '{';
}

std::string response_name(const polefit::Model& model, std::size_t response) {
  return model.names.empty() ? std::to_string(response + 1) : model.names[response];
}

std::size_t find_response(const polefit::Model& model, const std::string& name, const std::string& file) {
  const auto element = polefit::named_element(name);
  std::string all;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const bool meant = element && model.network && model.network->modes.empty() &&
                       model.network->parameter == element->parameter &&
                       model.network->elements[r] == element->element;
    if (meant || response_name(model, r) == name) {
      return r;
    }
    constexpr std::size_t most_listed = 20;
    if (r < most_listed) {
      all += (r == 0 ? "" : ", ") + text::printable(response_name(model, r));
    } else if (r == most_listed) {
      all += ", ...";
    }
  }
  throw text::IoError({.file = file,
                       .found = name.empty()
                                    ? text::counted(model.responses(), "response") + " and no --response"
                                    : "no response \"" + text::printable(name) + "\"",
                       .expected = "one of " + all});
}

std::vector<double> wanted_frequencies(const std::vector<double>& wanted, const polefit::Model& model,
                                       std::size_t count, const std::string& file) {
  if (!wanted.empty()) {
    return wanted;
  }
  if (!model.origin) {
    throw text::IoError({.file = file,
                         .found = "no band that the model was fitted in",
                         .expected = "one, or frequencies by --grid FROM:TO:COUNT"});
  }
  return even_grid(model.origin->lowest, model.origin->highest, count);
}

}  // namespace polefit_cli
