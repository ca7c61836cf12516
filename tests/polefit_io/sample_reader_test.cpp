#include "polefit_io/network/sample_reader.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"

namespace {

using namespace polefit_io;
using polefit::Network;
using testing_support::io_error_of;
using Values = std::vector<std::complex<double>>;

Network network_of(std::string_view text) { return read_samples(text, "f_data.in"); }

TEST(SampleReader, each_sample_is_frequency_real_and_imaginary_part) {
  const Network network = network_of("1e9 0.5 -0.25\n2d9, 0.75\n -1.5 rest of the record\n");
  EXPECT_EQ(network.file, "f_data.in");
  EXPECT_EQ(network.frequencies, (std::vector<double>{1e9, 2e9}));
  EXPECT_EQ(network.names, std::vector<std::string>{"f"});
  EXPECT_EQ(network.values, (Values{{0.5, -0.25}, {0.75, -1.5}}));
  EXPECT_FALSE(network.matrix.has_value());
}

TEST(SampleReader, a_null_value_is_that_of_the_sample_before) {
  EXPECT_EQ(network_of("1 2 3\n4,,5\n6 /\n7/8\n9 8 7/").values,
            (Values{{2, 3}, {2, 5}, {2, 5}, {2, 5}, {8, 7}}));
}

TEST(SampleReader, an_incomplete_last_sample_is_left_out) {
  EXPECT_EQ(network_of("\xEF\xBB\xBF"
                       "1 2 3\r\n4 5\r\n")
                .frequencies,
            std::vector<double>{1});
}

TEST(SampleReader, what_is_no_finite_number_is_refused_with_its_place) {
  const struct {
    std::string text;
    int record;
    int item;
    std::string_view found;
  } texts[] = {{"1 2 3\n4 x 6\n", 2, 2, "\"x\""},    {"1 2 3\n\n4 5 nan\n", 3, 3, "not a number"},
               {"1 -inf 3\n", 1, 2, "infinite"},     {"1 2 3\n1e999 5 6\n", 2, 1, "infinite"},
               {"1 2 3\n-4 5 6\n", 2, 1, "below 0"}, {"frequency,re,im\n", 1, 1, "\"frequency\""}};
  for (const auto& [text, record, item, found] : texts) {
    SCOPED_TRACE(text);
    const auto details = io_error_of([&, content = text] { network_of(content); });
    EXPECT_EQ(details.file, "f_data.in");
    EXPECT_EQ(details.record, record);
    EXPECT_EQ(details.item, item);
    EXPECT_NE(details.found.find(found), std::string::npos) << details.found;
  }
}

TEST(SampleReader, two_values_on_every_line_are_refused_and_not_read_across_lines) {
  for (const std::string_view text : {"1e9 0.5\n2e9 0.25\n3e9 0.125\n", "\n1e9,0.5\r\n\n 2e9\t0.25"}) {
    EXPECT_EQ(io_error_of([&] { network_of(text); }).found, "two values on every line") << text;
  }
  // One line with more, or with what stands for more, and the lines are no table of two columns.
  for (const std::string_view text : {"1 2 3\n4 5\n6 7\n", "1 2\n3\n", "1,,3\n4,5\n6 7\n", "1 2/\n3 4\n"}) {
    EXPECT_NO_THROW(network_of(text)) << text;
  }
}

TEST(SampleReader, a_text_without_samples_is_refused) {
  for (const std::string_view text : {"", "\n\n", "1 2", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(io_error_of([&] { network_of(text); }).found, "no sample");
  }
}

}  // namespace
