#include "text/byte_order_mark.hpp"

#include <gtest/gtest.h>

namespace {

using text::without_byte_order_mark;

TEST(ByteOrderMark, one_at_the_start_is_skipped) {
  EXPECT_EQ(without_byte_order_mark("\xEF\xBB\xBF"
                                    "a"),
            "a");
  EXPECT_EQ(without_byte_order_mark("\xEF\xBB\xBF\xEF\xBB\xBF"), "\xEF\xBB\xBF");
}

TEST(ByteOrderMark, anything_else_stays) {
  for (const char* const text : {"", "a", "\xEF\xBB", "a\xEF\xBB\xBF", "\xFF\xFE"}) {
    EXPECT_EQ(without_byte_order_mark(text), text);
  }
}

}  // namespace
