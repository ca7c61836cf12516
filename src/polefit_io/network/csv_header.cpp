#include "polefit_io/network/csv_header.hpp"

#include <optional>
#include <utility>

#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

/// Follows a header character by character, to tell separators from characters within quotes or brackets.
class Nesting {
 public:
  /// Whether `c`, which comes next, is outside of both.
  bool outside(char c) {
    constexpr std::string_view opening = "([{";
    constexpr std::string_view closing = ")]}";
    if (c == '"') {
      quoted_ = !quoted_;
    } else if (!quoted_ && opening.find(c) != std::string_view::npos) {
      ++depth_;
    } else if (!quoted_ && depth_ > 0 && closing.find(c) != std::string_view::npos) {
      --depth_;
    }
    return !quoted_ && depth_ == 0;
  }

 private:
  bool quoted_ = false;
  std::size_t depth_ = 0;
};

char separator_of(std::string_view header) {
  Nesting nesting;
  bool semicolon = false;
  bool comma = false;
  for (const char c : header) {
    const bool outside = nesting.outside(c);
    semicolon |= outside && c == ';';
    comma |= outside && c == ',';
  }
  return semicolon ? ';' : (comma ? ',' : '\t');
}

/// The text of a cell of the header: without blanks at its ends, and without its quotes.
std::string cell_text(std::string_view cell, const TablePlace& place, std::size_t column) {
  cell = text::without_blanks(cell);
  if (cell.find('"') == std::string_view::npos) {
    return std::string(cell);
  }
  std::string text;
  bool well_formed = cell.size() >= 2 && cell.front() == '"' && cell.back() == '"';
  for (std::size_t i = 1; well_formed && i + 1 < cell.size(); ++i) {
    if (cell[i] == '"') {
      ++i;
      well_formed = i + 1 < cell.size() && cell[i] == '"';
    }
    text += cell[i];
  }
  if (!well_formed) {
    place.fail(column, "the column " + text::excerpt(cell),
               "double quotes around the whole name, and twice where they are meant");
  }
  return std::string(text::without_blanks(text));
}

std::vector<std::string> header_cells(std::string_view line, char separator, const TablePlace& place) {
  std::vector<std::string> cells;
  Nesting nesting;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (nesting.outside(line[i]) && line[i] == separator) {
      cells.push_back(cell_text(line.substr(begin, i - begin), place, cells.size()));
      begin = i + 1;
    }
  }
  cells.push_back(cell_text(line.substr(begin), place, cells.size()));
  return cells;
}

bool is_phase(Part part) { return part == Part::degrees || part == Part::radians; }

/// The order of the two parts if they make a value.
std::optional<ResponseColumns> paired(Part a, Part b) {
  const auto makes_value = [](Part first, Part second) {
    return first == Part::real ? second == Part::imaginary
                               : (first == Part::magnitude || first == Part::decibels) && is_phase(second);
  };
  if (makes_value(a, b)) {
    return ResponseColumns{.first = a, .second = b, .swapped = false};
  }
  if (makes_value(b, a)) {
    return ResponseColumns{.first = b, .second = a, .swapped = true};
  }
  return std::nullopt;
}

/// Adds the response of the columns `column` and the one behind it.
void add_response(const std::vector<std::string>& cells, std::size_t column, const TablePlace& place,
                  CsvHeader& header) {
  const std::string expected =
      "two columns side by side for each response, such as \"S11 re,S11 im\", \"S11 mag,S11 deg\" or \"S11 "
      "dB,S11 deg\"";
  const auto a = part_of_response(cells[column]);
  if (!a) {
    place.fail(column, "the column " + text::excerpt(cells[column]), expected);
  }
  if (column + 1 == cells.size()) {
    place.fail(column, "the last column " + text::excerpt(cells[column]) + " by itself", expected);
  }
  const auto b = part_of_response(cells[column + 1]);
  const auto columns = b && a->name == b->name ? paired(a->part, b->part) : std::nullopt;
  if (!columns) {
    place.fail(column + 1,
               "the column " + text::excerpt(cells[column + 1]) + " behind " + text::excerpt(cells[column]),
               expected);
  }
  if (a->name.empty() && cells.size() > 3) {
    place.fail(column, "the column " + text::excerpt(cells[column]) + " without a name",
               "names for all of several responses, such as \"S11 re,S11 im,S21 re,S21 im\"");
  }
  if (!text::is_plain_text(a->name)) {
    place.fail(column, "the name " + text::excerpt(a->name), "a name in UTF-8 without control characters");
  }
  if (a->name.size() > longest_name) {
    place.fail(column, "a name of " + std::to_string(a->name.size()) + " bytes",
               "one of at most " + std::to_string(longest_name));
  }
  header.responses.push_back(*columns);
  header.names.emplace_back(a->name.empty() ? "f" : a->name);
}

}  // namespace

void TablePlace::fail(std::size_t column, std::string found, std::string expected) const {
  throw text::IoError({.file = file,
                       .record = line,
                       .item = static_cast<int>(column) + 1,
                       .found = std::move(found),
                       .expected = std::move(expected)});
}

CsvHeader csv_header(std::string_view line, const TablePlace& place) {
  CsvHeader header;
  header.separator = separator_of(line);
  const std::vector<std::string> cells = header_cells(line, header.separator, place);
  const auto power = frequency_power(cells.front());
  if (!power) {
    place.fail(0, "the column " + text::excerpt(cells.front()),
               "a header line whose first column is \"frequency\", with a unit unless that is hertz, such as "
               "\"frequency (GHz)\"");
  }
  header.frequency_power = *power;
  if (cells.size() == 1) {
    place.fail(0, "the column " + text::excerpt(cells.front()) + " alone",
               "two columns for each response behind it, such as \"frequency,S11 re,S11 im\"");
  }
  for (std::size_t column = 1; column < cells.size(); column += 2) {
    add_response(cells, column, place, header);
  }
  return header;
}

}  // namespace polefit_io
