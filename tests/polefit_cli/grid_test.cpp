#include "polefit_cli/commands/grid.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/decimal.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_cli;

TEST(Grid, frequencies_may_have_a_prefix_and_a_unit) {
  EXPECT_EQ(read_frequency("2.4e9"), 2.4e9);
  EXPECT_EQ(read_frequency("2.4G"), 2.4e9);
  EXPECT_EQ(read_frequency("2.4GHz"), 2.4e9);
  EXPECT_EQ(read_frequency(" 2.4 GHz "), 2.4e9);
  EXPECT_EQ(read_frequency("10k"), 1e4);
  EXPECT_EQ(read_frequency("10 khz"), 1e4);
  EXPECT_EQ(read_frequency("1.1M"), 1.1e6);
  EXPECT_EQ(read_frequency("3T"), 3e12);
  EXPECT_EQ(read_frequency("50Hz"), 50.0);
  EXPECT_EQ(read_frequency("0"), 0.0);
  EXPECT_EQ(read_frequency("1e3k"), 1e6);
}

TEST(Grid, what_is_no_frequency_is_refused) {
  for (const char* const text :
       {"", " ", "G", "Hz", "abc", "2.4X", "-1", "inf", "nan", "1e400", "1 2", "2.4m"}) {
    EXPECT_THROW(read_frequency(text), text::IoError) << text;
  }
}

TEST(Grid, an_even_grid_has_both_its_ends) {
  EXPECT_EQ(read_grid("1k:3k:5"), (std::vector<double>{1000, 1500, 2000, 2500, 3000}));
  EXPECT_EQ(read_grid("1k:3k:1"), (std::vector<double>{1000}));
  EXPECT_EQ(read_grid("0.1:0.7:3").back(), 0.7);
}

TEST(Grid, a_grid_over_decades_has_both_its_ends_and_equal_ratios) {
  const std::vector<double> grid = read_grid("1:1000:4:log");
  ASSERT_EQ(grid.size(), 4U);
  EXPECT_EQ(grid.front(), 1.0);
  EXPECT_EQ(grid.back(), 1000.0);
  // A logarithm and a power, each right to a few units in the last place.
  EXPECT_NEAR(grid[1], 10.0, 1e-13);
  EXPECT_NEAR(grid[2], 100.0, 1e-12);
}

TEST(Grid, the_ends_of_a_grid_over_decades_are_what_was_asked_for_to_the_bit) {
  for (int k = 0; k < 50; ++k) {
    const double from = 1e3 * (1.0 + 0.137 * k);
    const double to = 1e9 * (1.0 + 0.137 * k);
    std::string text;
    text::append_shortest(text, from);
    text += ':';
    text::append_shortest(text, to);
    const std::vector<double> grid = read_grid(text + ":9:log");
    EXPECT_EQ(grid.front(), from);
    EXPECT_EQ(grid.back(), to);
  }
}

TEST(Grid, a_list_has_its_frequencies_in_their_order) {
  EXPECT_EQ(read_grid("2k,1k,3"), (std::vector<double>{2000, 1000, 3}));
  EXPECT_EQ(read_grid("2.4GHz"), (std::vector<double>{2.4e9}));
}

TEST(Grid, what_is_no_grid_is_refused_with_what_was_found) {
  for (const char* const text : {"1:2", "1:2:0", "1:2:-3", "1:2:x", "1:2:3:lin", "0:1:3:log", "1:2:3:log:4",
                                 "1,,2", "1:2:20000000", "1:2:1.5"}) {
    try {
      read_grid(text);
      ADD_FAILURE() << text << " was accepted";
    } catch (const text::IoError& error) {
      EXPECT_EQ(error.details().file, "frequencies");
      EXPECT_FALSE(error.details().found.empty());
    }
  }
}

}  // namespace
