/// What the tests of Touchstone's parts have in common.
#pragma once

#include <functional>
#include <string>

#include "io_error_of.hpp"
#include "polefit_io/network/touchstone/place.hpp"
#include "text/io_error.hpp"

namespace testing_support {

inline const std::string touchstone_file = "test.ts";

/// A line of that file.
inline polefit_io::TouchstonePlace line(std::int64_t number) { return {touchstone_file, number}; }

/// "7/2: found | expected": line, value if one is meant, what was found and what was expected.
inline std::string refusal_of(const std::function<void()>& action) {
  const text::IoErrorDetails details = io_error_of(action);
  EXPECT_EQ(details.file, touchstone_file);
  return std::to_string(details.record) + (details.item > 0 ? "/" + std::to_string(details.item) : "") +
         ": " + details.found + " | " + details.expected;
}

}  // namespace testing_support
