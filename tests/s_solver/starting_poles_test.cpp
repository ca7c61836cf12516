#include "s_solver/driver/starting_poles.hpp"
#include "numerics/angular_frequency.hpp"

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "support.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using testing_support::records_of;
using Complex = std::complex<double>;
using Poles = std::vector<Complex>;

constexpr double three_half_pi = 4.71238898038469;
constexpr double eps = std::numeric_limits<double>::epsilon();

/// The poles that are placed, one guard element behind them left out after a look at it.
Poles placed(int order, double fmin, double fmax, int use_logf, int use_cmplx) {
  const Complex guard(7.0, 7.0);
  Poles a(static_cast<std::size_t>(order > 0 ? order : 0) + 1, guard);
  place_starting_poles(order, fmin, fmax, use_logf, use_cmplx, a.data());
  EXPECT_EQ(a.back(), guard);
  a.pop_back();
  return a;
}

Complex leader(double frequency) {
  return {-(frequency * numerics::two_pi / 100.0), frequency * numerics::two_pi};
}

/// A power of ten of a logarithm L that is off by at most 2 eps |L| (its own rounding and that of the
/// spacing) is off by ln(10) times that, and the power, the product and the quotient round once each.
double logarithmic_tolerance(double frequency) {
  return (2.0 * 2.31 * std::abs(std::log10(frequency)) + 3.0) * eps;
}

TEST(StartingPoles, a_single_complex_pole_is_the_extra_real_pole) {
  for (const int use_logf : {0, 1}) {
    EXPECT_EQ(placed(1, 3.0, 50.0, use_logf, 1), (Poles{-(3.0 * three_half_pi)}));
  }
}

TEST(StartingPoles, a_single_pair_lies_in_the_middle_of_the_band) {
  EXPECT_EQ(placed(2, 10.0, 30.0, 0, 1), (Poles{leader(20.0), std::conj(leader(20.0))}));
}

TEST(StartingPoles, a_single_pair_spaced_logarithmically_lies_at_the_geometric_middle) {
  const Poles a = placed(2, 10.0, 1000.0, 1, 1);
  EXPECT_NEAR(a[0].imag(), 100.0 * numerics::two_pi,
              logarithmic_tolerance(1000.0) * 100.0 * numerics::two_pi);
  EXPECT_EQ(a[1], std::conj(a[0]));
}

TEST(StartingPoles, an_odd_order_appends_a_real_pole_to_a_single_pair) {
  EXPECT_EQ(placed(3, 1.0, 3.0, 0, 1), (Poles{leader(2.0), std::conj(leader(2.0)), -three_half_pi}));
}

TEST(StartingPoles, pairs_lie_from_one_end_of_the_band_to_the_other) {
  EXPECT_EQ(placed(5, 10.0, 30.0, 0, 1), (Poles{leader(10.0), std::conj(leader(10.0)), leader(30.0),
                                                std::conj(leader(30.0)), -(10.0 * three_half_pi)}));
}

TEST(StartingPoles, linear_spacing_is_even) {
  // Steps of 0.25 have exact sums.
  const Poles a = placed(10, 1.0, 2.0, 0, 1);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(a[2 * i], leader(1.0 + 0.25 * static_cast<double>(i)));
    EXPECT_EQ(a[2 * i + 1], std::conj(a[2 * i]));
  }
}

TEST(StartingPoles, the_extra_pole_does_not_depend_on_the_spacing) {
  EXPECT_EQ(placed(7, 10.0, 1000.0, 0, 1).back(), placed(7, 10.0, 1000.0, 1, 1).back());
}

TEST(StartingPoles, pairs_spaced_logarithmically_have_one_ratio_and_one_damping) {
  const Poles a = placed(6, 1.0, 10000.0, 1, 1);
  for (std::size_t i = 0; i < 3; ++i) {
    const double frequency = std::pow(100.0, static_cast<double>(i));
    EXPECT_NEAR(a[2 * i].imag(), frequency * numerics::two_pi,
                logarithmic_tolerance(1e4) * frequency * numerics::two_pi);
    EXPECT_EQ(a[2 * i].real(), -(a[2 * i].imag() / 100.0));
    EXPECT_EQ(a[2 * i + 1], std::conj(a[2 * i]));
  }
}

TEST(StartingPoles, a_single_real_pole_lies_at_fmin) {
  EXPECT_EQ(placed(1, 10.0, 30.0, 0, 0), (Poles{-(10.0 * numerics::two_pi)}));
  const Poles a = placed(1, 10.0, 30.0, 1, 0);
  EXPECT_NEAR(a[0].real(), -10.0 * numerics::two_pi, logarithmic_tolerance(10.0) * 10.0 * numerics::two_pi);
}

TEST(StartingPoles, real_poles_spaced_linearly_are_even) {
  EXPECT_EQ(placed(3, 10.0, 30.0, 0, 0),
            (Poles{-(10.0 * numerics::two_pi), -(20.0 * numerics::two_pi), -(30.0 * numerics::two_pi)}));
}

TEST(StartingPoles, real_poles_spaced_logarithmically_have_one_ratio) {
  const Poles a = placed(4, 1.0, 1000.0, 1, 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double omega = std::pow(10.0, static_cast<double>(i)) * numerics::two_pi;
    EXPECT_NEAR(a[i].real(), -omega, logarithmic_tolerance(1000.0) * omega);
    EXPECT_EQ(a[i].imag(), 0.0);
  }
}

TEST(StartingPoles, an_order_of_zero_or_less_places_none) {
  for (const int order : {0, -1, -2, -3, std::numeric_limits<int>::min()}) {
    for (const int use_cmplx : {0, 1}) {
      SCOPED_TRACE(order);
      EXPECT_TRUE(placed(order, 1.0, 2.0, 0, use_cmplx).empty());
    }
  }
}

TEST(StartingPoles, a_band_of_one_frequency_takes_every_pole) {
  for (const int use_cmplx : {0, 1}) {
    const Complex first = use_cmplx == 1 ? leader(7.0) : -(7.0 * numerics::two_pi);
    const Poles a = placed(6, 7.0, 7.0, 0, use_cmplx);
    for (std::size_t i = 0; i < a.size(); ++i) {
      EXPECT_EQ(a[i], i % 2 == 1 ? std::conj(first) : first);
    }
    for (const Complex pole : placed(6, 7.0, 7.0, 1, use_cmplx)) {
      const double frequency =
          use_cmplx == 1 ? std::abs(pole.imag()) / numerics::two_pi : -pole.real() / numerics::two_pi;
      EXPECT_NEAR(frequency, 7.0, logarithmic_tolerance(7.0) * 7.0);
    }
  }
}

TEST(StartingPoles, a_band_from_zero_does_not_matter_to_linear_spacing) {
  EXPECT_EQ(placed(2, 0.0, 4.0, 0, 1), (Poles{leader(2.0), std::conj(leader(2.0))}));
  EXPECT_EQ(placed(2, -4.0, 0.0, 0, 0), (Poles{4.0 * numerics::two_pi, 0.0}));
}

TEST(StartingPoles, logarithmic_spacing_from_zero_or_less_is_not_checked) {
  EXPECT_TRUE(std::isnan(placed(4, 0.0, 10.0, 1, 1)[2].imag()));   // -inf + inf
  EXPECT_TRUE(std::isnan(placed(4, -1.0, 10.0, 1, 1)[0].imag()));  // the logarithm of -1
}

TEST(StartingPoles, the_table_shows_each_pole_in_single_precision_in_radians_per_second_and_in_hertz) {
  const Poles a{{-1.0 / 3.0, 1e6 / 7.0}, {-1.0 / 3.0, -1e6 / 7.0}, -numerics::two_pi};
  const auto records = records_of([&] { print_starting_poles(3, a.data()); });
  const std::string header = std::string(8, ' ') + "initial poles (w)" + std::string(13, ' ') +
                             "intitial poles (f)" + std::string(11, ' ');
  ASSERT_EQ(header.size(), 67U);
  ASSERT_EQ(records.size(), 6U);
  EXPECT_EQ(records[0], "");
  EXPECT_EQ(records[1], " " + header);
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(records[i + 2], text::free_format_record(std::complex<float>(a[i]),
                                                       std::complex<float>(a[i] / numerics::two_pi)));
  }
  EXPECT_EQ(records[5], "");
}

TEST(StartingPoles, the_table_of_no_poles_is_its_header_between_two_empty_records) {
  for (const int order : {0, -4}) {
    const auto records = records_of([&] { print_starting_poles(order, nullptr); });
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0], "");
    EXPECT_EQ(records[1].size(), 1U + 67U);
    EXPECT_EQ(records[2], "");
  }
}

TEST(StartingPoles, placing_prints_nothing) {
  EXPECT_TRUE(records_of([] { placed(3, 1.0, 2.0, 0, 1); }).empty());
}

}  // namespace
}  // namespace s_solver
