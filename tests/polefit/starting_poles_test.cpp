#include "polefit/fitting/starting_poles.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {
namespace {

using testing_support::eps;

/// The starting poles in hertz, so that an imaginary part is a frequency.
std::vector<Complex> poles_in_hertz(const std::vector<double>& frequencies,
                                    const std::vector<Complex>& values, const Options& options) {
  const Problem problem = make_problem(
      {frequencies, Responses::by_response(values, values.size() / frequencies.size()), {}, {}}, options);
  std::vector<Complex> result;
  for (const Complex pole : starting_poles(problem, options)) {
    result.push_back(pole * problem.scale / numerics::two_pi);
  }
  return result;
}

/// The frequencies of the pairs, which are what a starting pair has to be.
std::vector<double> pair_frequencies(const std::vector<double>& frequencies,
                                     const std::vector<Complex>& values, const Options& options) {
  const std::vector<Complex> poles = poles_in_hertz(frequencies, values, options);
  std::vector<double> result;
  for (std::size_t i = 0; i + 1 < poles.size(); i += 2) {
    EXPECT_GT(poles[i].imag(), 0.0) << i;
    EXPECT_EQ(poles[i + 1], std::conj(poles[i])) << i;
    // Weakly damped, by a hundredth.
    EXPECT_NEAR(poles[i].real(), -0.01 * poles[i].imag(), 8 * eps * poles[i].imag()) << i;
    result.push_back(poles[i].imag());
  }
  return result;
}

/// A few roundings: places, units and back.
void expect_near(const std::vector<double>& found, const std::vector<double>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_NEAR(found[i], expected[i], 16 * eps * expected[i]) << i;
  }
}

Options pairs(std::size_t count, Placement placement = Placement::linear) {
  Options options;
  options.complex_pairs = count;
  options.placement = placement;
  return options;
}

const std::vector<double> band{100.0, 500.0, 300.0, 900.0};
const std::vector<Complex> ones(4, 1.0);

TEST(StartingPoles, pairs_are_spread_evenly_from_end_to_end_of_the_band) {
  expect_near(pair_frequencies(band, ones, pairs(5)), {100.0, 300.0, 500.0, 700.0, 900.0});
  expect_near(pair_frequencies(band, ones, pairs(2)), {100.0, 900.0});
}

TEST(StartingPoles, a_pair_alone_is_in_the_middle_of_the_band) {
  expect_near(pair_frequencies(band, ones, pairs(1)), {500.0});
  expect_near(pair_frequencies(band, ones, pairs(1, Placement::logarithmic)), {300.0});
}

TEST(StartingPoles, pairs_are_spread_evenly_over_the_decades) {
  const std::vector<double> decades{1.0, 1e3, 2.0, 5.0};
  expect_near(pair_frequencies(decades, ones, pairs(4, Placement::logarithmic)), {1.0, 10.0, 100.0, 1000.0});
}

TEST(StartingPoles, decades_are_counted_from_the_lowest_frequency_above_zero) {
  expect_near(pair_frequencies({0.0, 1000.0, 10.0, 500.0}, ones, pairs(3, Placement::logarithmic)),
              {10.0, 100.0, 1000.0});
}

TEST(StartingPoles, without_a_second_frequency_above_zero_there_are_three_decades) {
  expect_near(pair_frequencies({0.0, 1000.0, 0.0, 1000.0}, ones, pairs(4, Placement::logarithmic)),
              {1.0, 10.0, 100.0, 1000.0});
}

TEST(StartingPoles, a_pair_at_zero_stands_a_little_above_it) {
  expect_near(pair_frequencies({0.0, 1000.0, 10.0, 500.0}, ones, pairs(3)), {1.0, 500.0, 1000.0});
}

TEST(StartingPoles, pairs_of_one_place_move_apart) {
  const std::vector<double> found = pair_frequencies({7.0, 7.0, 7.0, 7.0}, ones, pairs(3));
  expect_near(found, {7.0, 7.0 * 1.01, 7.0 * 1.01 * 1.01});
}

TEST(StartingPoles, pairs_stand_on_the_largest_peaks_of_the_data_and_the_others_over_the_band) {
  // Peaks at 3, 6 and 8 Hz; not at the ends, where the band may cut a slope, and not on the slopes.
  const std::vector<double> frequencies{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0};
  const std::vector<Complex> values{9.0, 2.0, 4.0, 1.0, 5.0, 7.0, 2.0, 3.0, 1.0};
  expect_near(pair_frequencies(frequencies, values, pairs(1, Placement::peaks)), {6.0});
  expect_near(pair_frequencies(frequencies, values, pairs(2, Placement::peaks)), {3.0, 6.0});
  expect_near(pair_frequencies(frequencies, values, pairs(5, Placement::peaks)), {1.0, 3.0, 6.0, 8.0, 9.0});
}

TEST(StartingPoles, a_flat_top_is_one_peak) {
  const std::vector<double> frequencies{1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
  const std::vector<Complex> values{1.0, 2.0, 2.0, 1.0, 1.5, 1.0};
  expect_near(pair_frequencies(frequencies, values, pairs(2, Placement::peaks)), {2.0, 5.0});
}

TEST(StartingPoles, the_order_of_the_samples_does_not_make_peaks) {
  const std::vector<double> frequencies{3.0, 1.0, 5.0, 2.0, 4.0};
  const std::vector<Complex> values{3.0, 1.0, 1.0, 2.0, 2.0};
  expect_near(pair_frequencies(frequencies, values, pairs(2, Placement::peaks)), {3.0, 3.0 * 1.01});
}

TEST(StartingPoles, real_poles_are_spread_like_pairs_and_follow_them) {
  Options options = pairs(1);
  options.real_poles = 3;
  const std::vector<Complex> poles = poles_in_hertz(band, ones, options);
  ASSERT_EQ(poles.size(), 5U);
  for (const auto& [i, place] : {std::pair(2U, 100.0), std::pair(3U, 500.0), std::pair(4U, 900.0)}) {
    EXPECT_NEAR(poles[i].real(), -place, 16 * eps * place);
    EXPECT_EQ(poles[i].imag(), 0.0);
  }
}

}  // namespace
}  // namespace polefit
