#include "polefit_io/network/touchstone_writer.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit_io/network/touchstone/frequency_unit.hpp"
#include "text/decimal.hpp"
#include "text/io_error.hpp"

namespace polefit_io {
namespace {

// Version 1.x has no more complex values on a line.
constexpr std::size_t most_values_on_a_line = 4;

// The decibels of zero would be infinite; 10^(-9999 / 20) is below every double and reads back as zero.
constexpr double decibels_of_zero = -9999.0;

[[noreturn]] void fail(const polefit::Network& network, std::string found, std::string expected) {
  throw text::IoError({.file = network.file, .found = std::move(found), .expected = std::move(expected)});
}

void append_number(std::string& text, double value) {
  text += ' ';
  text::append_shortest(text, value);
}

/// A frequency in hertz over 10^power: its digits with the point elsewhere, so that nothing is rounded.
std::string frequency_text(double hertz, int power) {
  if (hertz == 0.0) {
    return "0";
  }
  std::array<char, 32> room;  // sign, 17 digits, point and exponent need 24
  const auto [end, error] =
      std::to_chars(room.data(), room.data() + room.size(), hertz, std::chars_format::scientific);
  static_cast<void>(error);
  const std::string_view text(room.data(), end);
  const std::size_t mark = text.find('e');
  std::string digits(text.substr(0, mark));  // one before the point
  int exponent = 0;
  const std::size_t begin = mark + (text[mark + 1] == '+' ? 2 : 1);
  static_cast<void>(std::from_chars(text.data() + begin, text.data() + text.size(), exponent));
  exponent -= power;

  constexpr int widest = 15;  // digits before a point that a reader can still take in
  constexpr int deepest = 4;  // digits behind it before the first that counts
  if (exponent > widest || exponent < -deepest) {
    return digits + "e" + std::to_string(exponent);
  }
  digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
  if (exponent < 0) {
    return "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  }
  const auto before_point = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= before_point) {
    return digits + std::string(before_point - digits.size(), '0');
  }
  return digits.insert(before_point, 1, '.');
}

bool is_hybrid(const polefit::Network& network) {
  return network.matrix && (network.matrix->parameter == 'H' || network.matrix->parameter == 'G');
}

/// The references of the single ports of a matrix, of which those of modes are made.
std::vector<double> single_references(const polefit::Network& network) {
  const polefit::NetworkMatrix& matrix = *network.matrix;
  std::vector<double> single = matrix.references;
  for (std::size_t i = 0; i < matrix.modes.size(); ++i) {
    const polefit::PortMode& mode = matrix.modes[i];
    const double reference = matrix.references[i];
    if (mode.kind == 'S') {
      single[mode.port - 1] = reference;
    } else if (mode.kind == 'D') {
      single[mode.port - 1] = single[mode.other - 1] = reference / 2.0;
    }
  }
  for (std::size_t i = 0; i < matrix.modes.size(); ++i) {
    const polefit::PortMode& mode = matrix.modes[i];
    if (mode.kind == 'C' && matrix.references[i] != single[mode.port - 1] / 2.0) {
      fail(network,
           "the references of D and C of " + polefit::mode_name(mode).substr(1) +
               ", of which one is not a quarter of the other",
           "those of two equal ports");
    }
  }
  return single;
}

/// Refuses what is not a whole matrix.
polefit::WholeMatrix matrix_of(const polefit::Network& network) {
  if (is_hybrid(network)) {
    return {2, {0, 1, 2, 3}};
  }
  if (auto found = polefit::incompleteness(network.matrix)) {
    fail(network, std::move(*found), "each element of a square matrix of S, Y or Z parameters once");
  }
  return *polefit::whole_matrix(network.matrix);
}

void check_numbers(const polefit::Network& network) {
  const auto not_finite = [](double x) { return !std::isfinite(x); };
  const std::vector<double>& f = network.frequencies;
  if (f.empty()) {
    fail(network, "no frequencies", "at least one");
  }
  if (std::any_of(f.begin(), f.end(), not_finite) || f.front() < 0.0 || !std::is_sorted(f.begin(), f.end())) {
    fail(network, "frequencies that decrease, are below 0 or not finite",
         "finite frequencies from 0 upwards that do not decrease");
  }
  if (network.values.size() != network.matrix->elements.size() * f.size()) {
    fail(network, std::to_string(network.values.size()) + " values",
         "one for each response at each frequency");
  }
  if (std::any_of(network.values.begin(), network.values.end(),
                  [&](std::complex<double> v) { return not_finite(v.real()) || not_finite(v.imag()); })) {
    fail(network, "a value that is not finite", "finite values");
  }
}

class Writer {
 public:
  Writer(const polefit::Network& network, const polefit::TouchstoneOptions& options)
      : network_(network), options_(options), matrix_(matrix_of(network)) {
    check_numbers(network);
    references_ = single_references(network);
    one_reference_ = std::all_of(references_.begin(), references_.end(),
                                 [&](double r) { return r == references_.front(); });
    const bool in_option_line = options.version == 11 || options.version == 21;
    keywords_ = options.version == 2 || options.version == 21 || !network.matrix->modes.empty() ||
                (options.version == 1 && !one_reference_);
    by_option_line_ = in_option_line && !one_reference_;
    version_ = in_option_line ? "2.1" : "2.0";
  }

  std::string text() {
    if (keywords_) {
      text_ += std::string("[Version] ") + version_ + "\n";
    }
    append_comment_on_impedances();
    append_option_line();
    if (keywords_) {
      append_keywords();
    }
    for (std::size_t k = 0; k < network_.frequencies.size(); ++k) {
      append_record(k);
      append_impedances(k);
    }
    if (keywords_) {
      text_ += "[End]\n";
    }
    return std::move(text_);
  }

 private:
  std::size_t ports() const { return matrix_.ports(); }

  void append_option_line() {
    constexpr std::array units{"Hz", "kHz", "MHz", "GHz"};
    constexpr std::array formats{"RI", "MA", "DB"};
    const char parameter = network_.matrix->parameter;
    const bool normalised = !keywords_ && parameter != 'S';
    if (normalised) {
      text_ += parameter == 'Y'   ? "! Y in siemens"
               : parameter == 'Z' ? "! Z in ohms"
                                  : std::string("! ") + parameter + " in ohms and siemens";
      text_ += ": normalised to R 1, which changes nothing\n";
    }
    text_ += std::string("# ") + units.at(static_cast<std::size_t>(options_.unit)) + ' ' + parameter + ' ' +
             formats.at(static_cast<std::size_t>(options_.format)) + " R";
    for (std::size_t i = 0; i < (by_option_line_ && !normalised ? ports() : 1); ++i) {
      append_number(text_, normalised ? 1.0 : references_[i]);
    }
    text_ += '\n';
  }

  /// Tells that S refers to impedances that nobody knows any more.
  void append_comment_on_impedances() {
    if (network_.matrix->references_vary && network_.impedances.empty()) {
      text_ +=
          "! S is not renormalized: it refers to port impedances that vary with frequency and are not "
          "known\n";
    }
  }

  void append_impedances(std::size_t sample) {
    if (!network_.matrix->references_vary || network_.impedances.empty()) {
      return;
    }
    text_ += "! Port Impedance";
    for (std::size_t i = 0; i < ports(); ++i) {
      const std::complex<double> impedance = network_.impedances[i * network_.frequencies.size() + sample];
      append_number(text_, impedance.real());
      append_number(text_, impedance.imag());
    }
    text_ += '\n';
  }

  void append_keywords() {
    text_ += "[Number of Ports] " + std::to_string(ports()) + '\n';
    if (ports() == 2) {
      text_ += "[Two-Port Data Order] 12_21\n";
    }
    text_ += "[Number of Frequencies] " + std::to_string(network_.frequencies.size()) + '\n';
    if (!one_reference_ && !by_option_line_) {
      text_ += "[Reference]";
      for (const double reference : references_) {
        append_number(text_, reference);
      }
      text_ += '\n';
    }
    if (!network_.matrix->modes.empty()) {
      text_ += "[Mixed-Mode Order]";
      for (const polefit::PortMode& mode : network_.matrix->modes) {
        text_ += ' ' + polefit::mode_name(mode);
      }
      text_ += '\n';
    }
    text_ += "[Network Data]\n";
  }

  /// All values at one frequency: those of one port and two on one line, else each row on lines of its own.
  void append_record(std::size_t sample) {
    text_ += frequency_text(network_.frequencies[sample], power_of_ten(options_.unit));
    const bool by_columns = !keywords_ && ports() == 2;
    for (std::size_t i = 0; i < ports(); ++i) {
      for (std::size_t j = 0; j < ports(); ++j) {
        if (ports() > 2 && i + j > 0 && j % most_values_on_a_line == 0) {
          text_ += '\n';
        }
        append_value(by_columns ? matrix_.response(j, i) : matrix_.response(i, j), sample);
      }
    }
    text_ += '\n';
  }

  void append_value(std::size_t response, std::size_t sample) {
    const std::complex<double> value = network_.values[response * network_.frequencies.size() + sample];
    if (options_.format == polefit::ComplexFormat::ri) {
      append_number(text_, value.real());
      append_number(text_, value.imag());
      return;
    }
    const double magnitude = std::abs(value);
    if (!std::isfinite(magnitude)) {
      fail(network_, "a magnitude beyond a double's range", "values with a finite magnitude");
    }
    if (options_.format == polefit::ComplexFormat::ma) {
      append_number(text_, magnitude);
    } else {
      append_number(text_, magnitude == 0.0 ? decibels_of_zero : 20.0 * std::log10(magnitude));
    }
    append_number(text_, std::arg(value) * (180.0 / std::numbers::pi));
  }

  const polefit::Network& network_;
  const polefit::TouchstoneOptions& options_;
  polefit::WholeMatrix matrix_;
  std::vector<double> references_;  // of the single ports
  bool one_reference_ = true;
  bool keywords_ = false;        // of versions 2.x
  bool by_option_line_ = false;  // the references that differ
  const char* version_ = "2.0";
  std::string text_;
};

}  // namespace

std::string touchstone_of(const polefit::Network& network, const polefit::TouchstoneOptions& options) {
  return Writer(network, options).text();
}

}  // namespace polefit_io
