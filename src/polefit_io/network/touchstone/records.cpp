#include "polefit_io/network/touchstone/records.hpp"

#include <algorithm>

#include "polefit_io/network/touchstone/lines.hpp"
#include "polefit_io/network/touchstone/numbers.hpp"
#include "text/counted.hpp"

namespace polefit_io {
namespace {

constexpr std::size_t noise_values = 5;  // of a frequency: least noise figure, source reflection, resistance

}  // namespace

Records::Records(const Layout& layout, int power, bool version_2) : power_(power), version_2_(version_2) {
  data_.layout = layout;
  record_values_ = layout.values();
  last_.values = record_values_;
}

bool Records::take(std::string_view line, const TouchstonePlace& place) {
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
  return true;
}

bool Records::begins_noise(double frequency, std::string_view rest) const {
  return !version_2_ && data_.layout.ports == 2 && frequencies_ > 0 && frequency <= last_frequency_ &&
         words_in(rest) + 1 == noise_values;
}

void Records::append_frequency(double frequency, const TouchstonePlace& place) {
  if (frequencies_ > 0 && frequency < last_frequency_) {
    place.fail("a frequency below the one before it",
               std::string("frequencies that do not decrease") +
                   (data_.layout.ports == 2 && !version_2_ ? ", or noise data of 5 values a line" : ""),
               1);
  }
  data_.frequencies.push_back(frequency);
  data_.lines.push_back(place.line);
  last_frequency_ = frequency;
  last_line_ = place.line;
  ++frequencies_;
}

/// Refuses a line that ends behind the record, or before it where that has to be one line.
void Records::check_size(bool begins, std::size_t added, const TouchstonePlace& place) const {
  const bool one_line = !version_2_ && data_.layout.ports <= 2;
  if (last_.values > record_values_ || (one_line && !whole())) {
    const std::string found = begins ? text::counted(added + 1, "value")
                                     : text::counted(last_.values + 1, "value") + " with those since line " +
                                           std::to_string(last_line_);
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

void Records::drop_data() {
  data_.frequencies.clear();
  data_.lines.clear();
  data_.values.clear();
}

std::string Records::whole_record() const {
  return std::to_string(record_values_ + 1) + " values for a frequency of " +
         text::counted(data_.layout.ports, "port");
}

void Records::expect_whole(const std::string& found, const TouchstonePlace& place) const {
  if (!whole()) {
    place.fail(found + " after " + text::counted(last_.values + 1, "value") + " since line " +
                   std::to_string(last_line_),
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
