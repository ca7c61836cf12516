/// The values of a Touchstone text, frequency by frequency as they stand there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "polefit_io/network/touchstone/layout.hpp"
#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {

/// Frequencies with their values, neither made complex nor multiplied out.
struct RawData {
  Layout layout;
  std::vector<double> frequencies;  ///< in hertz
  std::vector<std::int64_t> lines;  ///< on which each begins
  std::vector<double> values;       ///< layout.values() for each
};

/// Takes the lines of network data one by one. A frequency and its values are a record, which begins a line.
/// In version 1.x one of one port or two is a single line; others are wrapped at will.
class Records {
 public:
  /// Those of no port.
  Records() = default;
  /// `power` of ten that makes frequencies hertz.
  Records(const Layout& layout, int power, bool version_2);

  /// Takes the next line. Nothing is taken, and the result is false, when it begins the noise data of version
  /// 1.x, which have no mark but a first frequency not above the last one here. Throws text::IoError for what
  /// is no number, frequencies that decrease, and values too many or few.
  bool take(std::string_view line, const TouchstonePlace& place);

  /// Refuses `found`, such as the end of the file, unless the last record is whole.
  void expect_whole(const std::string& found, const TouchstonePlace& place) const;

  /// Whether no record is open.
  bool whole() const { return last_.values == record_values_; }

  /// What has been taken and not dropped.
  const RawData& data() const { return data_; }
  /// Forgets the data, whose last record is whole, but for what the next one has to be held against.
  void drop_data();
  /// How many frequencies have begun, with those that were dropped.
  std::size_t frequencies() const { return frequencies_; }

 private:
  /// What has been taken of the last record.
  struct Open {
    std::size_t values = 0;
    std::size_t lines = 0;
    std::size_t equal_lines = 0;  ///< of these, as many as have as many values as the first
    std::size_t first_line_values = 0;
  };

  bool begins_noise(double frequency, std::string_view rest) const;
  void append_frequency(double frequency, const TouchstonePlace& place);
  void check_size(bool begins, std::size_t added, const TouchstonePlace& place) const;
  void check_lines(std::size_t line_values, const TouchstonePlace& place);
  std::string whole_record() const;

  RawData data_;
  std::size_t record_values_ = 0;  // data_.layout.values(), which every line asks for
  int power_ = 0;
  bool version_2_ = false;
  std::size_t frequencies_ = 0;
  double last_frequency_ = 0.0;
  std::int64_t last_line_ = 0;  // on which that begins
  Open last_;
};

/// Takes the lines of noise data, which are checked and dropped.
class NoiseData {
 public:
  /// Throws text::IoError for what is no number, frequencies that decrease, and other than 5 values.
  void take(std::string_view line, int power, const TouchstonePlace& place);

  /// How many lines there were.
  std::size_t frequencies() const { return frequencies_; }

 private:
  std::size_t frequencies_ = 0;
  double last_ = 0.0;
};

}  // namespace polefit_io
