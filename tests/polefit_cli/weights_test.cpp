#include "polefit_cli/commands/weights.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "listio/io_error.hpp"

namespace {

using namespace polefit_cli;

Network two_responses() {
  Network network;
  network.file = "net.csv";
  network.frequencies = {1.0, 2.0, 3.0};
  network.names = {"a", "b"};
  network.values = {{4.0, 0.0}, {0.0, 0.25}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}};
  return network;
}

TEST(Weights, the_library_has_its_own_for_balanced_ones) {
  EXPECT_TRUE(weights_by_rule(two_responses(), Weighting::balanced).empty());
}

TEST(Weights, uniform_ones_are_one_a_sample) {
  EXPECT_EQ(weights_by_rule(two_responses(), Weighting::uniform), (std::vector<double>{1, 1, 1}));
}

TEST(Weights, relative_ones_are_inverse_moduli_and_a_zero_counts_as_the_smallest_modulus) {
  EXPECT_EQ(weights_by_rule(two_responses(), Weighting::relative),
            (std::vector<double>{0.25, 4, 4, 0, 0, 0}));
}

TEST(Weights, root_ones_are_inverse_roots_of_moduli) {
  EXPECT_EQ(weights_by_rule(two_responses(), Weighting::root), (std::vector<double>{0.5, 2, 2, 0, 0, 0}));
}

TEST(Weights, a_file_has_one_a_sample_or_one_a_sample_and_response) {
  EXPECT_EQ(read_weights("# of the samples\n1, 2\r\n3", "w", two_responses()),
            (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(read_weights("1 2 3\n4 5 6\n", "w", two_responses()), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(Weights, a_file_with_another_number_of_them_is_refused) {
  for (const char* const text : {"", "1 2", "1 2 3 4", "1 2 3 4 5 6 7"}) {
    try {
      read_weights(text, "w", two_responses());
      ADD_FAILURE() << text << " was accepted";
    } catch (const s_solver::IoError& error) {
      EXPECT_EQ(error.details().expected, "3, one a sample, or 6, one a sample and response");
    }
  }
}

TEST(Weights, what_is_no_weight_is_refused_with_its_line) {
  for (const char* const text : {"1\n2\n-1", "1\n2\nnan", "1\n2\ninf", "1\n2\nx3"}) {
    try {
      read_weights(text, "w.txt", two_responses());
      ADD_FAILURE() << text << " was accepted";
    } catch (const s_solver::IoError& error) {
      EXPECT_EQ(error.details().file, "w.txt");
      EXPECT_EQ(error.details().record, 3);
    }
  }
}

}  // namespace
