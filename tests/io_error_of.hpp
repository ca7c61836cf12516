/// The input or output error that an action ends with.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "text/io_error.hpp"

namespace testing_support {

/// The details of the IoError that `action` throws; fails without one.
inline text::IoErrorDetails io_error_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const text::IoError& error) {
    return error.details();
  }
  ADD_FAILURE() << "no IoError";
  return {};
}

}  // namespace testing_support
