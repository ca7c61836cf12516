/// What a test program asks the system's memory for; linked into it with requests.cpp.
#pragma once

#include <cstddef>

namespace testing_support {

/// Bytes asked for since the test set these to 0: at most at once, and in all.
extern std::size_t largest_request;
extern std::size_t all_requests;

}  // namespace testing_support
