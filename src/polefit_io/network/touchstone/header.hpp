/// What the keywords of a Touchstone text declare before its data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "polefit/network_matrix.hpp"
#include "polefit_io/network/touchstone/keywords.hpp"
#include "polefit_io/network/touchstone/layout.hpp"
#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {

/// Of a text of version 2.0 or 2.1; that of one of version 1.x stays empty. All functions with a place throw
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

  /// Whether there was [Version].
  bool version_2() const { return !seen_.empty(); }
  /// How the data stand that follow, which is refused without the keywords that they need. Two ports of which
  /// no order is declared stand as in version 1.x.
  Layout layout(const TouchstonePlace& place) const;
  /// In ohms, one a port or none.
  const std::vector<double>& references() const { return references_; }
  /// The mode of each row and column of the matrix; none of single ports.
  const std::vector<polefit::PortMode>& modes() const { return modes_; }
  /// Whether the order of the data of two ports is nowhere declared.
  bool lacks_order() const { return ports_ == std::size_t{2} && !two_port_order_; }
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
  std::vector<polefit::PortMode> modes_;
  std::int64_t modes_line_ = 0;
  MatrixFormat format_ = MatrixFormat::full;
};

}  // namespace polefit_io
