#include "polefit_cli/commands/quantities.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "numerics.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_cli;

TEST(Quantities, times_have_prefixes_and_a_unit_or_none) {
  for (const char* const text : {"3.5e-11", "35p", "35ps", " 35 ps ", "0.035n", "0.035 ns", "35000f",
                                 "0.000035u", "0.000035\xC2\xB5s", "0.000035\xCE\xBCs", "0.000000035m"}) {
    EXPECT_DOUBLE_EQ(read_time(text), 3.5e-11) << text;
  }
  EXPECT_EQ(read_time("0"), 0.0);
  EXPECT_EQ(read_time("2s"), 2.0);
  EXPECT_EQ(read_time("35p"), 35e-12);  // rounded once
}

TEST(Quantities, what_is_no_time_is_refused) {
  for (const char* const text : {"", "p", "s", "35x", "35pp", "35 p s x", "ps35", "35G", "1e3k"}) {
    try {
      read_time(text);
      ADD_FAILURE() << text;
    } catch (const text::IoError& error) {
      EXPECT_EQ(error.details().expected, "a time such as 3.5e-11, 35p or 35ps") << text;
    }
  }
  for (const char* const text : {"-1p", "1e999", "nan"}) {
    EXPECT_THROW(read_time(text), text::IoError) << text;
  }
  EXPECT_THROW(read_time("inf"), text::IoError);
}

TEST(Quantities, resistances_are_lists_with_prefixes_and_open_ends) {
  EXPECT_EQ(read_resistances("50"), (std::vector<double>{50.0}));
  EXPECT_EQ(read_resistances("50, 1k,2.5M,inf,0"),
            (std::vector<double>{50.0, 1e3, 2.5e6, testing_support::infinity, 0.0}));
  for (const char* const text : {"", "50,", "-1", "nan", "50 60", "1m", "ohm"}) {
    EXPECT_THROW(read_resistances(text), text::IoError) << text;
  }
}

}  // namespace
