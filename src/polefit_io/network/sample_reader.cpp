#include "polefit_io/network/sample_reader.hpp"

#include <array>
#include <cmath>
#include <cstddef>

#include "text/free_format_reader.hpp"
#include "text/io_error.hpp"

namespace polefit_io {

polefit::Network read_samples(std::string_view text, const std::string& file) {
  using text::FreeFormatReader;
  text::FreeFormatReader reader = text::FreeFormatReader::in_memory(text, file);
  polefit::Network network;
  network.file = file;
  network.names = {"f"};

  // Kept from sample to sample: a null value stands for the one before it.
  std::array<double, 3> sample{};
  const auto& [frequency, re, im] = sample;
  while (reader.read(sample) == text::FreeFormatReader::Result::complete) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
      if (!std::isfinite(sample[i])) {
        reader.fail_at_last_read(static_cast<int>(i) + 1,
                                 std::isnan(sample[i]) ? "a value that is not a number" : "an infinite value",
                                 "a finite number");
      }
    }
    if (frequency < 0.0) {
      reader.fail_at_last_read(1, "a frequency below 0", "a frequency of at least 0");
    }
    network.frequencies.push_back(frequency);
    network.values.emplace_back(re, im);
  }
  if (network.frequencies.empty()) {
    throw text::IoError({.file = file,
                         .found = "no sample",
                         .expected = "frequency, real and imaginary part of at least one"});
  }
  return network;
}

}  // namespace polefit_io
