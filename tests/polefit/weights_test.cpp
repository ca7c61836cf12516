#include "polefit/weights.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "polefit/network.hpp"

namespace polefit {
namespace {

const Network two_responses{
    .file = "net.csv",
    .matrix = std::nullopt,
    .frequencies = {1.0, 2.0, 3.0},
    .names = {"a", "b"},
    .values = {{4.0, 0.0}, {0.0, 0.25}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}}};

TEST(Weights, balanced_ones_are_those_of_a_fit_without_any) {
  EXPECT_TRUE(weights(two_responses.data(), Weighting::balanced).empty());
}

TEST(Weights, uniform_ones_are_one_a_sample) {
  EXPECT_EQ(weights(two_responses.data(), Weighting::uniform), (std::vector<double>{1, 1, 1}));
}

TEST(Weights, relative_ones_are_inverse_moduli_and_a_zero_counts_as_the_smallest_modulus) {
  EXPECT_EQ(weights(two_responses.data(), Weighting::relative), (std::vector<double>{0.25, 4, 4, 0, 0, 0}));
}

TEST(Weights, root_ones_are_inverse_roots_of_moduli) {
  EXPECT_EQ(weights(two_responses.data(), Weighting::root), (std::vector<double>{0.5, 2, 2, 0, 0, 0}));
}

TEST(Weights, relative_ones_of_the_smallest_double_are_finite_and_as_far_from_the_others_as_their_moduli) {
  Network network = two_responses;
  network.values[0] = 0x1p-1074;
  network.values[4] = 0x1p100;
  EXPECT_EQ(weights(network.data(), Weighting::relative),
            (std::vector<double>{0x1p1023, 0x1p-49, 0x1p1023, 0x1p-151, 0x1p-151, 0x1p-151}));
}

TEST(Weights, responses_without_a_value_at_each_frequency_are_refused) {
  NetworkData data = two_responses.data();
  const std::vector<double> more(5, 1.0);
  data.frequencies = more;
  EXPECT_THROW(weights(data, Weighting::relative), Error);
  data = two_responses.data();
  data.responses.values = nullptr;
  EXPECT_THROW(weights(data, Weighting::root), Error);
}

}  // namespace
}  // namespace polefit
