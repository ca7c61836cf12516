#include "polefit_io/network/touchstone/first_frequency.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace polefit_io;

std::size_t ports_of(std::string_view text) {
  text::StreamedLines bytes(text);
  TouchstoneLines lines(bytes);
  EXPECT_TRUE(lines.next());
  return ports_of_first_frequency(lines);
}

TEST(TouchstoneFirstFrequency, one_line_of_3_or_9_values_is_one_port_or_two) {
  EXPECT_EQ(ports_of("1 0 0\n2 0 0"), 1U);
  EXPECT_EQ(ports_of("1 0 0 0 0 0 0 0 0"), 2U);
}

TEST(TouchstoneFirstFrequency, lines_of_pairs_belong_to_the_line_before_them) {
  EXPECT_EQ(ports_of("1 0 0 0 0 0 0\n0 0 0 0 0 0\n! row\n0 0 0 0 0 0\n2 0 0 0 0 0 0\n"), 3U);
  EXPECT_EQ(ports_of("1\n0 0 0 0 0 0\n0 0 0 0 0 0 0 0 0 0 0 0\n"), 3U);
}

TEST(TouchstoneFirstFrequency, it_ends_before_options_and_keywords) {
  const std::string three_ports = "1 0 0 0 0 0 0\n0 0 0 0 0 0\n0 0 0 0 0 0\n";
  EXPECT_EQ(ports_of(three_ports + "# Hz\n"), 3U);
  EXPECT_EQ(ports_of(three_ports + "[Noise Data]\n"), 3U);
}

TEST(TouchstoneFirstFrequency, the_first_line_alone_counts_where_those_behind_it_do_not_fit) {
  EXPECT_EQ(ports_of("1 0 0\n0 0\n"), 1U);
}

TEST(TouchstoneFirstFrequency, other_numbers_of_values_are_of_no_ports) {
  for (const std::string_view text : {"1 0", "1 0 0 0", "1 0 0 0 0 0 0", "1 0 0 0\n0 0 0 0"}) {
    EXPECT_EQ(ports_of(text), 0U) << text;
  }
}

}  // namespace
