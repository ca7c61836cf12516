/// Free-format records: a leading blank, then the items in order with a blank between any two.
#pragma once

#include <complex>
#include <string>
#include <string_view>

namespace text {

/// Appends a blank and one item. Texts stand as they are. Numbers are right-aligned, so that tables line
/// up: integers in 12 columns, doubles in 25 with 17 significant digits (which read back to the same
/// bits), floats in 16 with 9. Complex values are "(re,im)" without blanks inside, in a column for two.
/// Nonfinite values are the words NaN, Infinity and -Infinity.
void append_item(std::string& record, std::string_view text);
void append_item(std::string& record, int value);
void append_item(std::string& record, double value);
void append_item(std::string& record, float value);
void append_item(std::string& record, std::complex<double> value);
void append_item(std::string& record, std::complex<float> value);

/// The record of `items`, without its line end; no items make the empty record.
template <class... Items>
std::string free_format_record(const Items&... items) {
  std::string record;
  (append_item(record, items), ...);
  return record;
}

}  // namespace text
