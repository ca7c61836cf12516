#include "text/counted.hpp"

#include <gtest/gtest.h>

namespace {

TEST(Counted, all_but_one_take_the_plural) {
  EXPECT_EQ(text::counted(0, "pole"), "0 poles");
  EXPECT_EQ(text::counted(1, "pole"), "1 pole");
  EXPECT_EQ(text::counted(21, "pole"), "21 poles");
}

}  // namespace
