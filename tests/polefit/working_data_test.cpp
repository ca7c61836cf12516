#include "polefit/search/working_data.hpp"

#include <gtest/gtest.h>

#include <numeric>

#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

std::vector<std::size_t> in_order(std::size_t samples) {
  std::vector<std::size_t> order(samples);
  std::iota(order.begin(), order.end(), std::size_t{0});
  return order;
}

TEST(WorkingData, has_some_samples_at_first_and_the_problem_of_all_when_they_are_taken) {
  const Network network = random_network({.pairs = 2, .responses = 2, .samples = 2000}, 1);
  const Problem whole = make_problem(network.data(), {});
  const std::vector<std::size_t> order = in_order(whole.samples);
  const Goal goal;
  WorkingData data(whole, order, goal);
  ASSERT_FALSE(data.has_all_samples());
  EXPECT_LT(data.problem().samples, whole.samples);
  EXPECT_EQ(data.problem().samples, data.samples());
  EXPECT_EQ(data.at_all_samples().samples, whole.samples);
  data.take_all_samples();
  EXPECT_TRUE(data.has_all_samples());
  EXPECT_EQ(data.problem().samples, whole.samples);
  EXPECT_EQ(&data.at_all_samples(), &data.problem());
}

}  // namespace
}  // namespace polefit
