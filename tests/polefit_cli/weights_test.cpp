#include "polefit_cli/commands/weights.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "polefit/network.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_cli;

polefit::Network two_responses() {
  polefit::Network network;
  network.file = "net.csv";
  network.frequencies = {1.0, 2.0, 3.0};
  network.names = {"a", "b"};
  network.values = {{4.0, 0.0}, {0.0, 0.25}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}};
  return network;
}

TEST(WeightsFile, a_file_has_one_a_sample_or_one_a_sample_and_response) {
  EXPECT_EQ(read_weights("# of the samples\n1, 2\r\n3", "w", two_responses()),
            (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(read_weights("1 2 3\n4 5 6\n", "w", two_responses()), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(WeightsFile, marks_line_ends_and_comments_are_those_of_every_file) {
  const std::vector<double> expected{1, 2, 3};
  EXPECT_EQ(read_weights("\xEF\xBB\xBF"
                         "1 2 3\n",
                         "w", two_responses()),
            expected);
  EXPECT_EQ(read_weights("\xEF\xBB\xBF# of the samples\n1 2 3\n", "w", two_responses()), expected);
  EXPECT_EQ(read_weights("1\n  # the second\n2\n\t! the third\n3", "w", two_responses()), expected);
  EXPECT_EQ(read_weights("# of the samples\r\n1;2\r\n \r\n3\r\n", "w", two_responses()), expected);
}

TEST(WeightsFile, a_file_with_another_number_of_them_is_refused) {
  for (const char* const text : {"", "1 2", "1 2 3 4", "1 2 3 4 5 6 7"}) {
    try {
      read_weights(text, "w", two_responses());
      ADD_FAILURE() << text << " was accepted";
    } catch (const text::IoError& error) {
      EXPECT_EQ(error.details().expected, "3, one a sample, or 6, one a sample and response");
    }
  }
}

TEST(WeightsFile, what_is_no_weight_is_refused_with_its_line) {
  for (const char* const text : {"1\n2\n-1", "1\n2\nnan", "1\n2\ninf", "1\n2\nx3"}) {
    try {
      read_weights(text, "w.txt", two_responses());
      ADD_FAILURE() << text << " was accepted";
    } catch (const text::IoError& error) {
      EXPECT_EQ(error.details().file, "w.txt");
      EXPECT_EQ(error.details().record, 3);
    }
  }
}

}  // namespace
