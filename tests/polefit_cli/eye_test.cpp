#include "polefit_cli/commands/eye.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numeric>
#include <set>
#include <vector>

namespace {

using namespace polefit_cli;

const std::vector<int> orders{7, 9, 11, 15};

TEST(PseudoRandomBits, a_sequence_repeats_after_all_states_but_one_and_holds_each_once) {
  for (const int order : orders) {
    const std::size_t period = (std::size_t{1} << static_cast<unsigned>(order)) - 1;
    const std::vector<bool> bits = pseudo_random_bits(order, 2 * period);
    for (std::size_t i = 0; i < period; ++i) {
      ASSERT_EQ(bits[i], bits[i + period]) << order;
    }
    std::set<std::size_t> words;
    for (std::size_t i = 0; i < period; ++i) {
      std::size_t word = 0;
      for (std::size_t k = 0; k < static_cast<std::size_t>(order); ++k) {
        word = 2 * word + (bits[i + k] ? 1 : 0);
      }
      words.insert(word);
    }
    EXPECT_EQ(words.size(), period) << order;  // all but the word of zeros
    EXPECT_EQ(words.count(0), 0U);
  }
}

TEST(PseudoRandomBits, each_bit_is_the_sum_of_those_that_its_polynomial_names) {
  struct Named {
    int order;
    std::size_t tap;
  };
  for (const Named named :
       {Named{7, 6}, Named{9, 5}, Named{11, 9}, Named{15, 14}, Named{23, 18}, Named{31, 28}}) {
    const std::vector<bool> bits = pseudo_random_bits(named.order, 3000);
    std::size_t ones = 0;
    for (auto i = static_cast<std::size_t>(named.order); i < bits.size(); ++i) {
      ASSERT_EQ(bits[i], bits[i - static_cast<std::size_t>(named.order)] != bits[i - named.tap])
          << named.order;
      ones += bits[i] ? 1 : 0;
    }
    EXPECT_GT(ones, 1300U);
    EXPECT_LT(ones, 1700U);
  }
}

TEST(BitWaveform, it_turns_at_the_begin_of_bits_that_differ) {
  const polefit::Waveform found = bit_waveform({false, true, true, false}, 2.0, 0.5);
  EXPECT_EQ(found.times, (std::vector<double>{2.0, 2.5, 6.0, 6.5}));
  EXPECT_EQ(found.values, (std::vector<double>{0.0, 1.0, 1.0, 0.0}));
}

TEST(BitWaveform, ramps_may_take_whole_bits_and_no_time) {
  EXPECT_EQ(bit_waveform({true, false}, 2.0, 2.0).times, (std::vector<double>{0.0, 2.0, 4.0}));
  const polefit::Waveform jumps = bit_waveform({true, false}, 2.0, 0.0);
  EXPECT_EQ(jumps.times, (std::vector<double>{0.0, 0.0, 2.0, 2.0}));
  EXPECT_EQ(jumps.values, (std::vector<double>{0.0, 1.0, 1.0, 0.0}));
}

/// Voltages of a channel that delays by so many samples, answers a bit with ramps of `rise` samples, keeps a
/// part of the bit before, and scales.
std::vector<double> through_channel(const std::vector<bool>& bits, std::size_t delay, double rise,
                                    double rest, double scale) {
  std::vector<double> voltages(bits.size() * eye_samples);
  const auto level = [&](std::ptrdiff_t bit) {
    return bit < 0 ? 0.0 : (bits[static_cast<std::size_t>(bit)] ? 1.0 : 0.0);
  };
  for (std::size_t k = delay; k < voltages.size(); ++k) {
    const auto bit = static_cast<std::ptrdiff_t>((k - delay) / eye_samples);
    const double part = std::min(1.0, static_cast<double>((k - delay) % eye_samples) / rise);
    const auto ramped = [&](std::ptrdiff_t i) { return level(i - 1) + part * (level(i) - level(i - 1)); };
    voltages[k] = scale * (ramped(bit) + rest * ramped(bit - 1));
  }
  return voltages;
}

std::vector<double> single_through_channel(std::size_t delay, double rise, double rest, double scale) {
  std::vector<bool> single(20);
  single.front() = true;
  return through_channel(single, delay, rise, rest, scale);
}

Eye eye_through_channel(std::size_t delay, double rise, double rest, double scale) {
  const std::vector<bool> bits = pseudo_random_bits(7, 500);
  return eye_of(through_channel(bits, delay, rise, rest, scale),
                single_through_channel(delay, rise, rest, scale), bits);
}

TEST(Eye, it_is_open_as_far_as_one_bit_does_not_disturb_the_next) {
  const Eye eye = eye_through_channel(5 * eye_samples + 20, 16.0, 0.2, 0.5);
  ASSERT_TRUE(eye.open());
  EXPECT_FALSE(eye.inverted);
  // Ones are 1 or 1.2 of the scale, zeros 0 or 0.2.
  EXPECT_NEAR(eye.lowest_one, 0.5, 1e-12);
  EXPECT_NEAR(eye.highest_zero, 0.1, 1e-12);
  EXPECT_NEAR(eye.height, 0.4, 1e-12);
  EXPECT_NEAR(eye.threshold, 0.3, 1e-12);
  // Where the ramp is over, in the middle of what a single bit makes.
  const double sampled = eye.delay - 5.0 - 20.0 / eye_samples;
  EXPECT_GE(sampled, 16.0 / eye_samples);
  EXPECT_LE(sampled, 1.0);
  // The threshold is passed 0.5 to 0.6 of a ramp behind the begin of a bit, by what was before: p = 0.6
  // behind 00, p + 0.2 (1 - p) = 0.6 behind 10, and falling likewise.
  EXPECT_NEAR(eye.width(), 1.0 - 0.1 * 16.0 / eye_samples, 1e-12);
  EXPECT_GT(eye.judged, 400U);
}

TEST(Eye, the_width_is_that_between_the_threshold_s_crossings) {
  // Without a rest every crossing is where the ramp, of half a bit, is at its middle.
  const Eye eye = eye_through_channel(3 * eye_samples, 32.0, 0.0, 1.0);
  EXPECT_NEAR(eye.height, 1.0, 1e-12);
  EXPECT_NEAR(eye.delay + eye.left, 3.0 + 0.25, 1e-12);
  EXPECT_NEAR(eye.delay + eye.right, 3.0 + 1.25, 1e-12);
}

TEST(Eye, one_that_every_bit_spoils_is_closed) {
  const Eye eye = eye_through_channel(2 * eye_samples, 16.0, 1.0, 0.5);
  EXPECT_FALSE(eye.open());  // a 0 behind a 1 is as high as a 1 behind a 0
  EXPECT_EQ(eye.height, 0.0);
  EXPECT_EQ(eye.width(), 0.0);
}

TEST(Eye, a_channel_that_turns_the_sign_has_the_same_eye_upside_down) {
  const Eye plain = eye_through_channel(5 * eye_samples, 16.0, 0.2, 0.5);
  const Eye turned = eye_through_channel(5 * eye_samples, 16.0, 0.2, -0.5);
  EXPECT_TRUE(turned.inverted);
  EXPECT_EQ(turned.height, plain.height);
  EXPECT_EQ(turned.delay, plain.delay);
  EXPECT_EQ(turned.width(), plain.width());
  EXPECT_EQ(turned.lowest_one, -plain.highest_zero);
  EXPECT_EQ(turned.highest_zero, -plain.lowest_one);
  EXPECT_EQ(turned.threshold, -plain.threshold);
}

TEST(Eye, a_channel_without_delay_is_judged_too) {
  const Eye eye = eye_through_channel(0, 1.0, 0.0, 1.0);
  EXPECT_NEAR(eye.height, 1.0, 1e-12);
  EXPECT_GT(eye.width(), 0.9);
}

TEST(Eye, too_few_bits_behind_the_delay_are_not_judged) {
  const std::vector<bool> bits = pseudo_random_bits(7, 20);
  const Eye eye = eye_of(through_channel(bits, 8 * eye_samples, 16.0, 0.0, 1.0),
                         single_through_channel(8 * eye_samples, 16.0, 0.0, 1.0), bits);
  EXPECT_EQ(eye.judged, 0U);
  EXPECT_FALSE(eye.open());
}

TEST(EyeDensity, every_sample_counts_once_and_the_edges_are_beyond_all) {
  const std::vector<bool> bits = pseudo_random_bits(7, 500);
  const std::vector<double> voltages = through_channel(bits, 100, 16.0, 0.2, 0.5);
  const Eye eye = eye_through_channel(100, 16.0, 0.2, 0.5);
  const EyeDensity density = eye_density(voltages, eye, 50);
  EXPECT_EQ(density.hits.size(), 100 * eye_samples);
  const double all = std::accumulate(density.hits.begin(), density.hits.end(), 0.0);
  const double first = (static_cast<double>(eye.skipped) + eye.delay) * eye_samples;
  EXPECT_NEAR(all, static_cast<double>(voltages.size()) - first - 1.0, 1e-6);
  EXPECT_LT(density.low, 0.0);
  EXPECT_GT(density.high, 0.6);
  // Nothing is in the open middle, at the sampling moment.
  const auto row = static_cast<std::size_t>((0.3 - density.low) / (density.high - density.low) * 50.0);
  EXPECT_EQ(density.hits[row * density.columns + eye_samples], 0.0);
}

}  // namespace
