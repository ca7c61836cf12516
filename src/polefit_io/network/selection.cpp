#include "polefit_io/network/selection.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit/network.hpp"
#include "text/io_error.hpp"

namespace polefit_io {
namespace {

using Indices = std::map<std::string, std::size_t, std::less<>>;

/// "S11, S12, S21 or S22"; the beginning of a long list.
std::string list_of(const std::vector<std::string>& names) {
  constexpr std::size_t most = 16;
  std::string list;
  for (std::size_t r = 0; r < std::min(most, names.size()); ++r) {
    const bool last = r + 1 == names.size();
    list += (r == 0 ? "" : (last ? " or " : ", ")) + names[r];
  }
  return names.size() > most ? list + ", ... (" + std::to_string(names.size()) + " in all)" : list;
}

[[noreturn]] void fail(const polefit::Network& network, std::string found) {
  throw text::IoError({.file = network.file, .found = std::move(found), .expected = list_of(network.names)});
}

/// The index of the response meant by `name`, or that of none.
std::size_t index_of(const polefit::Network& network, const Indices& indices, const std::string& name) {
  if (const auto found = indices.find(name); found != indices.end()) {
    return found->second;
  }
  const auto meant = polefit::named_element(name);
  if (meant && network.matrix && network.matrix->modes.empty() &&
      meant->parameter == network.matrix->parameter) {
    const auto& elements = network.matrix->elements;
    return static_cast<std::size_t>(
        std::distance(elements.begin(), std::find(elements.begin(), elements.end(), meant->element)));
  }
  return network.names.size();
}

}  // namespace

polefit::Network chosen_responses(const polefit::Network& network, std::span<const std::string> wanted) {
  if (wanted.empty()) {
    fail(network, "no name of a response");
  }
  Indices indices;
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    indices.emplace(network.names[r], r);
  }
  polefit::Network selected;
  selected.file = network.file;
  selected.matrix = network.matrix;
  selected.frequencies = network.frequencies;
  selected.warnings = network.warnings;
  selected.impedances = network.impedances;
  if (selected.matrix) {
    selected.matrix->elements.clear();
  }
  std::vector<bool> taken(network.names.size());
  const std::size_t samples = network.frequencies.size();
  for (const std::string& name : wanted) {
    const std::size_t r = index_of(network, indices, name);
    if (r == network.names.size()) {
      fail(network, "the wanted response " + text::excerpt(name));
    }
    if (taken[r]) {
      fail(network, "the wanted response " + text::excerpt(name) + " twice");
    }
    taken[r] = true;
    selected.names.push_back(network.names[r]);
    if (selected.matrix) {
      selected.matrix->elements.push_back(network.matrix->elements[r]);
    }
    const auto first = network.values.begin() + static_cast<std::ptrdiff_t>(r * samples);
    selected.values.insert(selected.values.end(), first, first + static_cast<std::ptrdiff_t>(samples));
  }
  return selected;
}

}  // namespace polefit_io
