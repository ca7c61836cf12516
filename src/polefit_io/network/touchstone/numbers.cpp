#include "polefit_io/network/touchstone/numbers.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "polefit_io/network/touchstone/lines.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/scaled_real.hpp"

namespace polefit_io {

double take_frequency(std::string_view& line, int power, const TouchstonePlace& place) {
  const std::string_view word = take_word(line);
  double value = 0.0;
  if (!text::parse_scaled_real(word, power, value)) {
    place.fail(text::excerpt(word), "a frequency", 1);
  }
  if (!std::isfinite(value) || value < 0.0) {
    place.fail(text::excerpt(word), "a finite frequency not below 0", 1);
  }
  return value + 0.0;  // a negative zero becomes positive
}

void append_values(std::string_view line, std::size_t items_before, const TouchstonePlace& place,
                   std::vector<double>& values) {
  const char* at = line.data();
  const char* const end = at + line.size();
  const auto refuse = [&](const char* stop, const char* expected) {
    place.fail(text::excerpt({at, stop}), expected, items_before + words_in({line.data(), at}) + 1);
  };
  for (;;) {
    at = std::find_if_not(at, end, is_blank);
    if (at == end) {
      return;
    }
    double value = 0.0;
    const char* stop = at;
    if (const auto parsed = std::from_chars(at, end, value); parsed.ec == std::errc{}) {
      stop = parsed.ptr;
    }
    if (stop == at || (stop != end && !is_blank(*stop))) {  // other forms of numbers, or none
      stop = std::find_if(at, end, is_blank);
      if (!text::parse_real({at, stop}, value)) {
        refuse(stop, "a number");
      }
    }
    if (!std::isfinite(value)) {
      refuse(stop, "a finite number");
    }
    values.push_back(value);
    at = stop;
  }
}

}  // namespace polefit_io
