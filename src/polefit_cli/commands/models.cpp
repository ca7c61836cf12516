#include "polefit_cli/commands/models.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "listio/io_error.hpp"
#include "polefit/error.hpp"
#include "polefit/model_file.hpp"
#include "polefit_cli/commands/grid.hpp"
#include "polefit_cli/commands/text.hpp"
#include "polefit_cli/files/streams.hpp"
#include "polefit_cli/network/named_element.hpp"

namespace polefit_cli {

polefit::Model model_of(const std::string& text, const std::string& shown) {
  try {
    return polefit::model_from_json(text);
  } catch (const polefit::Error& error) {
    throw s_solver::IoError({.file = shown, .found = error.what(), .expected = "a model file"});
  }
}

polefit::Model read_model(const std::string& file) {
  const std::string text = read_input(file);
  return model_of(text, shown_input(file));
}

bool looks_like_model(std::string_view text) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (text.starts_with(byte_order_mark)) {
    text.remove_prefix(byte_order_mark.size());
  }
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '{';
}

std::string response_name(const polefit::Model& model, std::size_t response) {
  return model.names.empty() ? std::to_string(response + 1) : model.names[response];
}

std::size_t find_response(const polefit::Model& model, const std::string& name, const std::string& file) {
  const auto element = named_element(name);
  std::string all;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const bool meant = element && model.network && model.network->parameter == element->parameter &&
                       model.network->elements[r] == element->element;
    if (meant || response_name(model, r) == name) {
      return r;
    }
    constexpr std::size_t most_listed = 20;
    if (r < most_listed) {
      all += (r == 0 ? "" : ", ") + printable(response_name(model, r));
    } else if (r == most_listed) {
      all += ", ...";
    }
  }
  throw s_solver::IoError(
      {.file = file,
       .found = name.empty() ? "no name of a response" : "no response \"" + printable(name) + "\"",
       .expected = "one of " + all});
}

Network sampled(const polefit::Model& model, std::vector<double> frequencies, const std::string& file) {
  Network network;
  network.file = file;
  network.matrix = model.network;
  network.frequencies = std::move(frequencies);
  for (std::size_t r = 0; r < model.responses(); ++r) {
    network.names.push_back(response_name(model, r));
  }
  network.values = polefit::evaluate(model, network.frequencies);
  for (std::size_t i = 0; i < network.values.size(); ++i) {
    if (!std::isfinite(network.values[i].real()) || !std::isfinite(network.values[i].imag())) {
      throw s_solver::IoError({.file = file,
                               .found = "no finite value at " +
                                        frequency_text(network.frequencies[i % network.frequencies.size()]),
                               .expected = "a frequency that is no pole"});
    }
  }
  return network;
}

std::vector<double> wanted_frequencies(const std::string& grid, const polefit::Model& model,
                                       std::size_t count, const std::string& file) {
  if (!grid.empty()) {
    return read_grid(grid);
  }
  if (!model.origin) {
    throw s_solver::IoError({.file = file,
                             .found = "no band that the model was fitted in",
                             .expected = "one, or frequencies by --grid FROM:TO:COUNT"});
  }
  return even_grid(model.origin->lowest, model.origin->highest, count);
}

}  // namespace polefit_cli
