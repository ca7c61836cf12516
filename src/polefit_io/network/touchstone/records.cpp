#include "polefit_io/network/touchstone/records.hpp"

#include <algorithm>

#include "polefit_io/network/touchstone/lines.hpp"
#include "polefit_io/network/touchstone/numbers.hpp"
#include "text/counted.hpp"

namespace polefit_io {
namespace {

constexpr std::size_t noise_values = 5;  // of a frequency: least noise figure, source reflection, resistance

}  // namespace

Records::Records(const Layout& layout, int power, bool version_2, std::size_t bytes)
    : power_(power), version_2_(version_2), bytes_(bytes) {
  data_.layout = layout;
  record_values_ = layout.values();
  last_.values = record_values_;
}

bool Records::take(std::string_view line, std::size_t left, const TouchstonePlace& place) {
  const bool begins = whole();
  double frequency = 0.0;
  if (begins) {
    frequency = take_frequency(line, power_, place);
    if (begins_noise(frequency, line)) {
      return false;
    }
    last_ = {};
  }
  const std::size_t before = data_.values.size();
  append_values(line, begins ? 1 : 0, place, data_.values);
  const std::size_t added = data_.values.size() - before;
  if (begins) {
    append_frequency(frequency, place);
  }
  last_.values += added;
  check_size(begins, added, place);
  check_lines(added + (begins ? 1 : 0), place);
  if (data_.frequencies.size() == 1 && whole()) {
    reserve_for_the_rest(left);
  }
  return true;
}

bool Records::begins_noise(double frequency, std::string_view rest) const {
  return !version_2_ && data_.layout.ports == 2 && !data_.frequencies.empty() &&
         frequency <= data_.frequencies.back() && words_in(rest) + 1 == noise_values;
}

void Records::append_frequency(double frequency, const TouchstonePlace& place) {
  if (!data_.frequencies.empty() && frequency < data_.frequencies.back()) {
    place.fail("a frequency below the one before it",
               std::string("frequencies that do not decrease") +
                   (data_.layout.ports == 2 && !version_2_ ? ", or noise data of 5 values a line" : ""),
               1);
  }
  data_.frequencies.push_back(frequency);
  data_.lines.push_back(place.line);
}

/// Refuses a line that ends behind the record, or before it where that has to be one line.
void Records::check_size(bool begins, std::size_t added, const TouchstonePlace& place) const {
  const bool one_line = !version_2_ && data_.layout.ports <= 2;
  if (last_.values > record_values_ || (one_line && !whole())) {
    const std::string found = begins ? text::counted(added + 1, "value")
                                     : text::counted(last_.values + 1, "value") + " with those since line " +
                                           std::to_string(data_.lines.back());
    place.fail(found, whole_record() + ", and the next frequency on a new line");
  }
}

/// Lines of equal length, which is odd then, are rather frequencies of a network with fewer ports.
void Records::check_lines(std::size_t line_values, const TouchstonePlace& place) {
  if (last_.lines == 0) {
    last_.first_line_values = line_values;
  }
  ++last_.lines;
  last_.equal_lines += line_values == last_.first_line_values ? 1 : 0;
  if (!version_2_ && whole() && last_.lines > 1 && last_.lines == last_.equal_lines &&
      last_.first_line_values > 1) {
    place.fail(std::to_string(last_.lines) + " lines of " + std::to_string(line_values) +
                   " values each, which seem to be as many frequencies",
               whole_record());
  }
}

void Records::reserve_for_the_rest(std::size_t left) {
  // Each frequency will take about as much text as the first, and two bytes for a value at least.
  const std::size_t record_bytes = std::max(bytes_ - left, 2 * record_values_);
  const std::size_t records = left / record_bytes + 1;
  data_.values.reserve((records + 1) * record_values_);
  data_.frequencies.reserve(records + 1);
  data_.lines.reserve(records + 1);
}

std::string Records::whole_record() const {
  return std::to_string(record_values_ + 1) + " values for a frequency of " +
         text::counted(data_.layout.ports, "port");
}

void Records::expect_whole(const std::string& found, const TouchstonePlace& place) const {
  if (!whole()) {
    place.fail(found + " after " + text::counted(last_.values + 1, "value") + " since line " +
                   std::to_string(data_.lines.back()),
               whole_record());
  }
}

void NoiseData::take(std::string_view line, int power, const TouchstonePlace& place) {
  const double frequency = take_frequency(line, power, place);
  std::vector<double> values;
  append_values(line, 1, place, values);
  if (values.size() + 1 != noise_values) {
    place.fail(text::counted(values.size() + 1, "value") + " in noise data", std::to_string(noise_values));
  }
  if (frequencies_ > 0 && frequency < last_) {
    place.fail("a noise frequency below the one before it", "frequencies that do not decrease", 1);
  }
  last_ = frequency;
  ++frequencies_;
}

}  // namespace polefit_io
