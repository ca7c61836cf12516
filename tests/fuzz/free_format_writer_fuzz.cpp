/// Every double and every float reads back to the same bits, from its column.

#include <cctype>
#include <string>

#include "fuzz/fuzz.hpp"
#include "text/free_format_writer.hpp"
#include "text/number_text.hpp"

namespace {

using s_solver::fuzz::check;

/// The text of the one item of a record that is `columns` wide behind its leading blank.
template <class Number>
std::string item_text(Number value, std::size_t columns) {
  const std::string record = text::free_format_record(value);
  check(record.size() == columns + 1, "the number fills its column");
  const std::size_t begin = record.find_first_not_of(' ');
  check(begin >= 1, "there is a leading blank");
  return record.substr(begin);
}

void check_double(double value) {
  const std::string text = item_text(value, 25);
  double back = 0.0;
  check(text::parse_real(text, back), "our reader accepts it");
  check(s_solver::fuzz::same_number(back, value), "our reader reads the same double");
  check(s_solver::fuzz::same_number(std::strtod(text.c_str(), nullptr), value), "the C library does, too");
}

void check_float(float value) {
  const std::string text = item_text(value, 16);
  check(s_solver::fuzz::same_number(std::strtof(text.c_str(), nullptr), value), "the float reads back");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  while (bytes.left() > 0) {
    const auto value = bytes.take<double>();
    check_double(value);
    check_float(static_cast<float>(value));
    check_float(bytes.take<float>());
  }
  return 0;
}
