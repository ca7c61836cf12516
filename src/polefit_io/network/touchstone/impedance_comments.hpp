/// What field solvers say in comments about the port impedances to which S parameters refer.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace polefit_io {

/// Takes the comments of a text one by one. Those that count are
///
///   ! Port Impedance 48.1 0.3 52.6 -0.1
///
/// with real and imaginary part of each port, or the real parts alone, or numbers such as 48.1+j0.3, also on
/// further comment lines that hold nothing but numbers, and in ohms; once, or with each frequency; and those
/// that say that S is not renormalised. "! Gamma" and all others are passed over.
class ImpedanceComments {
 public:
  /// `comment` without its mark, on that line.
  void take(std::string_view comment, std::int64_t line);

  /// The impedances of one statement or of each frequency, port by port: that of port i at statement k is
  /// element k * ports + i.
  struct Impedances {
    std::size_t statements = 0;
    std::vector<std::complex<double>> values;
  };

  /// Whether there are any.
  bool stated() const { return !starts_.empty() || unreadable_; }
  /// Where they begin.
  std::int64_t line() const { return line_; }
  /// The line on which something says that S is not renormalised.
  std::optional<std::int64_t> not_renormalised() const { return not_renormalised_; }
  /// Nothing when there are neither one statement nor as many as frequencies, when a statement is not one of
  /// so many ports or cannot be read, or when a resistance is not above 0 or an impedance above 1e12 ohms.
  std::optional<Impedances> impedances(std::size_t ports, std::size_t frequencies) const;

 private:
  bool take_numbers(std::string_view text);

  std::vector<double> numbers_;
  std::vector<std::size_t> starts_;  // of each statement in the numbers
  std::int64_t line_ = 0;
  bool open_ = false;        // the last comment was a statement, which may go on
  bool announced_ = false;   // it had the words alone, with the numbers to come
  bool unreadable_ = false;  // a statement was no numbers
  std::optional<std::int64_t> not_renormalised_;
};

}  // namespace polefit_io
