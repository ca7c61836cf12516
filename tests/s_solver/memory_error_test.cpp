#include "s_solver/memory/memory_error.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string>

#include "support.hpp"

namespace s_solver {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

TEST(MemoryError, names_the_array_and_what_was_expected) {
  const MemoryError error("armat", 123456789, 16);
  const std::string message = error.what();
  for (const char* const part : {"memory", "armat", "123456789 elements", "16 bytes"}) {
    EXPECT_NE(message.find(part), std::string::npos) << part << " in " << message;
  }
  EXPECT_EQ(message.find('\n'), std::string::npos);
}

TEST(MemoryError, is_caught_as_exhausted_memory) {
  EXPECT_THROW(throw MemoryError("armat", 1, 8), std::bad_alloc);
}

TEST(CheckedArrayBytes, returns_the_size_of_an_array_that_can_be_had) {
  EXPECT_EQ(checked_array_bytes("x", 0, 16), 0);
  EXPECT_EQ(checked_array_bytes("x", 1, 8), 8);
  EXPECT_EQ(checked_array_bytes("x", 1'000'000, 16), 16'000'000);
}

TEST(CheckedArrayBytes, refuses_a_size_beyond_64_bits) {
  for (const std::int64_t elements : {largest, largest / 16 + 1, largest / 2 + 1}) {
    EXPECT_THROW(checked_array_bytes("x", elements, 16), MemoryError) << elements;
  }
}

TEST(CheckedArrayBytes, refuses_what_the_system_would_grant_but_cannot_fill) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "the system does not tell its memory";
  }
  // 8 pebibytes fit into the address arithmetic, and into no machine.
  EXPECT_THROW(checked_array_bytes("x", std::int64_t{1} << 50, 8), MemoryError);
  EXPECT_THROW(checked_array_bytes("x", largest / 8, 8), MemoryError);
}

TEST(CheckedArrayBytes, its_error_carries_the_array_and_the_size) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "the system does not tell its memory";
  }
  try {
    checked_array_bytes("normal", std::int64_t{1} << 50, 8);
    FAIL() << "no error";
  } catch (const MemoryError& error) {
    EXPECT_STREQ(error.what(), MemoryError("normal", std::int64_t{1} << 50, 8).what());
  }
}

}  // namespace
}  // namespace s_solver
