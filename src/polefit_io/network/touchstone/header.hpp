/// What the keywords of a Touchstone text declare before its data.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "polefit_io/network/touchstone/keywords.hpp"
#include "polefit_io/network/touchstone/layout.hpp"
#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {

/// Of a text of version 2.0; that of one of version 1.x stays empty. All functions with a place throw
/// text::IoError for what such a text cannot hold there.
class TouchstoneHeader {
 public:
  /// `named_ports` is what the file's name says.
  explicit TouchstoneHeader(std::optional<std::size_t> named_ports = {}) : named_ports_(named_ports) {}

  /// Takes note of a keyword wherever it stands: the version comes first, and all but information once.
  void admit(Keyword keyword, const TouchstonePlace& place);
  /// Takes what a keyword declares; those of information and data declare nothing.
  void declare(const KeywordLine& line, const TouchstonePlace& place);
  /// Takes the resistances of [Reference], also those on further lines.
  void append_references(std::string_view text, const TouchstonePlace& place);

  /// Whether there was [Version] 2.0.
  bool version_2() const { return !seen_.empty(); }
  /// How the data stand that follow, which is refused without the keywords that they need.
  Layout layout(const TouchstonePlace& place) const;
  /// In ohms, one a port or none.
  const std::vector<double>& references() const { return references_; }
  /// Refuses data that hold another number of frequencies than declared.
  void check_counts(std::size_t frequencies, std::size_t noise_frequencies,
                    const TouchstonePlace& place) const;

 private:
  std::optional<std::size_t> named_ports_;
  std::vector<Keyword> seen_;
  std::optional<std::size_t> ports_;
  std::optional<PortOrder> two_port_order_;
  std::optional<std::size_t> frequencies_;
  std::optional<std::size_t> noise_frequencies_;
  std::vector<double> references_;
  MatrixFormat format_ = MatrixFormat::full;
};

}  // namespace polefit_io
