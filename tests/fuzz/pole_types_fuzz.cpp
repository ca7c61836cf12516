/// The classification of any doubles as poles agrees with its rules, one pole after the other.

#include <complex>
#include <optional>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/fit/pole_types.hpp"

namespace {

/// Whether a difference is beyond the tolerance; a NaN is not.
bool beyond(double difference) { return difference > 1.0e-8 || difference < -1.0e-8; }

std::optional<std::vector<int>> expected_types(const std::vector<std::complex<double>>& a) {
  std::vector<int> types;
  while (types.size() < a.size()) {
    const std::size_t i = types.size();
    if (!beyond(a[i].imag())) {
      types.push_back(0);
      continue;
    }
    if (i + 1 == a.size() || beyond(a[i].real() - a[i + 1].real()) || beyond(a[i].imag() + a[i + 1].imag())) {
      return std::nullopt;
    }
    types.push_back(1);
    types.push_back(2);
  }
  return types;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::own_directory();  // silences the messages
  s_solver::fuzz::Bytes bytes(data, size);
  std::vector<std::complex<double>> a;
  while (bytes.left() > 0) {
    // Often the conjugate of the pole before, or nearly so: random bits would hardly ever make a pair.
    const int kind = bytes.take_up_to(3);
    if (kind == 0 && !a.empty()) {
      a.push_back(std::conj(a.back()));
    } else if (kind == 1 && !a.empty()) {
      const double offset = 1.0e-10 * bytes.take<std::uint8_t>();
      a.emplace_back(a.back().real() + offset, -a.back().imag() - offset);
    } else {
      const auto re = bytes.take<double>();
      a.emplace_back(re, kind == 2 ? 0.0 : bytes.take<double>());
    }
  }
  std::vector<int> types(a.size(), -1);
  bool accepted = true;
  try {
    s_solver::classify_poles(static_cast<int>(a.size()), a.data(), types.data(), bytes.left() % 2 == 1);
  } catch (const s_solver::PlainStop&) {
    accepted = false;
  }
  const auto expected = expected_types(a);
  s_solver::fuzz::check(accepted == expected.has_value(), "pairs that are none are refused");
  s_solver::fuzz::check(!accepted || types == *expected, "the types agree");
  return 0;
}
