#include "polefit_io/network/csv_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "polefit/network.hpp"
#include "polefit_io/network/csv_header.hpp"
#include "polefit_io/samples/sample_store.hpp"
#include "text/io_error.hpp"
#include "text/scaled_real.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

constexpr double default_reference = 50.0;
constexpr double radians_per_degree = 3.14159265358979323846 / 180.0;

/// The matrix of which all names mean elements, if there is one; the names are then made those of
/// element_name.
std::optional<polefit::NetworkMatrix> take_matrix(std::vector<std::string>& names) {
  polefit::NetworkMatrix matrix;
  std::size_t ports = 0;
  for (const std::string& name : names) {
    const auto meant = polefit::named_element(name);
    if (!meant || (!matrix.elements.empty() && meant->parameter != matrix.parameter)) {
      return std::nullopt;
    }
    matrix.parameter = meant->parameter;
    matrix.elements.push_back(meant->element);
    ports = std::max({ports, meant->element.row, meant->element.column});
  }
  for (std::size_t r = 0; r < names.size(); ++r) {
    names[r] = polefit::element_name(matrix.parameter, matrix.elements[r], ports);
  }
  matrix.references.assign(ports, default_reference);
  return matrix;
}

void refuse_equal_names(const std::vector<std::string>& names, const TablePlace& place) {
  std::vector<std::size_t> order(names.size());
  for (std::size_t r = 0; r < order.size(); ++r) {
    order[r] = r;
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return names[a] < names[b]; });
  const auto equal = std::adjacent_find(order.begin(), order.end(),
                                        [&](std::size_t a, std::size_t b) { return names[a] == names[b]; });
  if (equal != order.end()) {
    place.fail(1 + 2 * *(equal + 1), "the response " + text::excerpt(names[*equal]) + " twice",
               "two columns for each response");
  }
}

double finite_number(std::string_view cell, int power, const TablePlace& place, std::size_t column) {
  double value = 0.0;
  if (cell.empty()) {
    place.fail(column, "an empty cell", "a real number");
  }
  if (!text::parse_scaled_real(cell, power, value)) {
    place.fail(column, text::excerpt(cell), "a real number");
  }
  if (!std::isfinite(value)) {
    place.fail(column, text::excerpt(cell), "a finite number");
  }
  return value;
}

/// The numbers of a line, as many as the header has columns.
void read_row(std::string_view line, const CsvHeader& header, const TablePlace& place,
              std::vector<double>& row) {
  const auto separators = static_cast<std::size_t>(std::count(line.begin(), line.end(), header.separator));
  if (separators + 1 != row.size()) {
    place.fail(std::min(separators + 1, row.size()), std::to_string(separators + 1) + " cells",
               std::to_string(row.size()) + ", as many as the header has");
  }
  for (std::size_t column = 0; column < row.size(); ++column) {
    const std::size_t end = std::min(line.size(), line.find(header.separator));
    row[column] = finite_number(text::without_blanks(line.substr(0, end)),
                                column == 0 ? header.frequency_power : 0, place, column);
    line.remove_prefix(std::min(line.size(), end + 1));
  }
  if (row.front() < 0.0) {
    place.fail(0, "a frequency below 0", "a frequency of at least 0");
  }
}

/// The value in the two cells from `column` on.
std::complex<double> value_of(const ResponseColumns& columns, std::span<const double> row, std::size_t column,
                              const TablePlace& place) {
  const std::size_t first_column = column + (columns.swapped ? 1 : 0);
  const double first = row[first_column];
  const double second = row[column + (columns.swapped ? 0 : 1)];
  if (columns.first == Part::real) {
    return {first, second};
  }
  if (columns.first == Part::magnitude && first < 0.0) {
    place.fail(first_column, "a magnitude below 0", "a magnitude of at least 0");
  }
  const double magnitude = columns.first == Part::decibels ? std::pow(10.0, first / 20.0) : first;
  if (std::isinf(magnitude)) {
    place.fail(first_column, "decibels of a magnitude beyond the range of a double", "a finite magnitude");
  }
  const double angle = columns.second == Part::degrees ? second * radians_per_degree : second;
  return {magnitude * std::cos(angle), magnitude * std::sin(angle)};
}

/// The samples of lines, kept side by side until there are enough for a block of the store.
class TableSamples {
 public:
  explicit TableSamples(std::size_t responses) : responses_(responses), store_(responses) {}

  void add(std::complex<double> value) { waiting_.push_back(value); }

  /// The values of a line have all been added.
  void end_line() {
    if (waiting_.size() / responses_ >= frequencies_at_a_time(2 * responses_, store_.samples())) {
      hand_over();
    }
  }

  std::vector<std::complex<double>> by_response() && {
    hand_over();
    return store_.by_response();
  }

 private:
  void hand_over() {
    const std::size_t samples = waiting_.size() / responses_;
    std::complex<double>* to = store_.append(samples);
    for (std::size_t r = 0; r < responses_; ++r) {
      for (std::size_t k = 0; k < samples; ++k) {
        *to++ = waiting_[k * responses_ + r];
      }
    }
    waiting_.clear();
  }

  std::size_t responses_;
  SampleStore store_;
  std::vector<std::complex<double>> waiting_;
};

void read_samples_behind_header(text::StreamedLines& lines, const CsvHeader& header,
                                polefit::Network& network) {
  std::vector<double> row(header.columns());
  TableSamples samples(header.responses.size());
  while (lines.next()) {
    if (lines.line().find_first_not_of(' ') == std::string_view::npos) {
      continue;
    }
    const TablePlace place{network.file, lines.number()};
    read_row(lines.line(), header, place, row);
    network.frequencies.push_back(row.front());
    for (std::size_t r = 0; r < header.responses.size(); ++r) {
      samples.add(value_of(header.responses[r], row, 1 + 2 * r, place));
    }
    samples.end_line();
  }
  network.values = std::move(samples).by_response();
}

/// Goes on to the line of the header; false when the text has none.
bool find_header(text::StreamedLines& lines) {
  while (lines.next()) {
    const std::string_view line = text::without_blanks(lines.line());
    if (!line.empty() && line.front() != '#' && line.front() != '!') {
      return true;
    }
  }
  return false;
}

}  // namespace

polefit::Network read_csv(text::StreamedLines& lines, const std::string& file) {
  if (!find_header(lines)) {
    throw text::IoError({.file = file,
                         .found = "no header line",
                         .expected = "one that names the columns, such as \"frequency,S11 re,S11 im\""});
  }
  const TablePlace place{file, lines.number()};
  CsvHeader header = csv_header(lines.line(), place);
  polefit::Network network;
  network.file = file;
  network.matrix = take_matrix(header.names);
  refuse_equal_names(header.names, place);
  read_samples_behind_header(lines, header, network);
  if (network.frequencies.empty()) {
    throw text::IoError({.file = file,
                         .record = place.line,
                         .found = "no line behind the header",
                         .expected = "one line for each sample"});
  }
  network.names = std::move(header.names);
  return network;
}

}  // namespace polefit_io
