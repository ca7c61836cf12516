/// What several test programs need: captured records, expected plain stops, a directory of their own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "s_solver/console/plain_stop.hpp"

namespace testing_support {

/// Whether a test may limit the address space of a process: the address sanitizer needs nearly all of it.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool address_space_is_ours = false;
#elif defined(__has_feature)
inline constexpr bool address_space_is_ours = !__has_feature(address_sanitizer);
#else
inline constexpr bool address_space_is_ours = true;
#endif

/// Whether the system shows its processes and memory as files, which a root of its own may lack.
inline bool system_has_process_files() { return std::filesystem::exists("/proc/self/mem"); }

/// The lines of `text`, without their ends.
inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// The blank-separated words of `line`.
inline std::vector<std::string> words_of(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

/// The records that `action` writes to standard output.
inline std::vector<std::string> records_of(const std::function<void()>& action) {
  ::testing::internal::CaptureStdout();
  try {
    action();
  } catch (...) {
    ::testing::internal::GetCapturedStdout();
    throw;
  }
  return lines_of(::testing::internal::GetCapturedStdout());
}

/// The records that `action` writes to standard output before its plain stop; fails without one.
inline std::vector<std::string> records_before_plain_stop(const std::function<void()>& action) {
  bool stopped = false;
  auto records = records_of([&] {
    try {
      action();
    } catch (const s_solver::PlainStop&) {
      stopped = true;
    }
  });
  EXPECT_TRUE(stopped) << "the program went on";
  return records;
}

/// The whole content of a file.
inline std::string content_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  EXPECT_TRUE(stream.is_open()) << file;
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// A test that runs in an empty directory of its own, with the program's data directory beside it:
/// "..\tmp_S_Par\NAME" is data(NAME).
class InOwnDirectory : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "s_solver_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    before_ = std::filesystem::current_path();
    std::filesystem::create_directory(root_ / "tmp_S_Par");
    std::filesystem::create_directory(root_ / "run");
    std::filesystem::current_path(root_ / "run");
  }
  void TearDown() override {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(root_);
  }

  std::filesystem::path data(const std::string& name) const { return root_ / "tmp_S_Par" / name; }
  void write_data(const std::string& name, std::string_view content) const {
    std::ofstream(data(name), std::ios::binary) << content;
  }

 private:
  std::filesystem::path root_;
  std::filesystem::path before_;
};

}  // namespace testing_support
