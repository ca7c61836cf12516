#include "s_solver/driver/command_line.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace s_solver {
namespace {

/// The options after `arguments`, from `options` on.
FitOptions scanned(const std::vector<std::string>& arguments, FitOptions options = {}) {
  std::vector<const char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(argument.c_str());
  }
  scan_command_line(static_cast<int>(pointers.size()), pointers.data(), options);
  return options;
}

void expect_options(const FitOptions& options, int use_const, int use_sterm, int use_logf, int use_cmplx) {
  EXPECT_EQ(options.use_const, use_const);
  EXPECT_EQ(options.use_sterm, use_sterm);
  EXPECT_EQ(options.use_logf, use_logf);
  EXPECT_EQ(options.use_cmplx, use_cmplx);
}

TEST(CommandLine, without_arguments_the_options_are_const_sterm_nologf_cmplx) {
  expect_options(scanned({}), 1, 1, 0, 1);
}

TEST(CommandLine, each_keyword_sets_its_own_option_alone) {
  const FitOptions ones{.use_const = 1, .use_sterm = 1, .use_logf = 1, .use_cmplx = 1};
  const FitOptions zeros{.use_const = 0, .use_sterm = 0, .use_logf = 0, .use_cmplx = 0};
  expect_options(scanned({"const"}, zeros), 1, 0, 0, 0);
  expect_options(scanned({"sterm"}, zeros), 0, 1, 0, 0);
  expect_options(scanned({"logf"}, zeros), 0, 0, 1, 0);
  expect_options(scanned({"cmplx"}, zeros), 0, 0, 0, 1);
  expect_options(scanned({"noconst"}, ones), 0, 1, 1, 1);
  expect_options(scanned({"nosterm"}, ones), 1, 0, 1, 1);
  expect_options(scanned({"nologf"}, ones), 1, 1, 0, 1);
  expect_options(scanned({"nocmplx"}, ones), 1, 1, 1, 0);
}

TEST(CommandLine, all_arguments_count) {
  expect_options(scanned({"noconst", "nosterm", "logf", "nocmplx"}), 0, 0, 1, 0);
}

TEST(CommandLine, the_later_of_two_contradicting_arguments_wins) {
  EXPECT_EQ(scanned({"nocmplx", "cmplx"}).use_cmplx, 1);
  EXPECT_EQ(scanned({"cmplx", "nocmplx"}).use_cmplx, 0);
}

TEST(CommandLine, upper_case_is_not_recognised) {
  const FitOptions zeros{.use_const = 0, .use_sterm = 0, .use_logf = 0, .use_cmplx = 0};
  expect_options(scanned({"CONST", "Sterm", "LOGF", "cmplX"}, zeros), 0, 0, 0, 0);
}

TEST(CommandLine, an_empty_argument_ends_the_scan) {
  EXPECT_EQ(scanned({"", "nosterm"}).use_sterm, 1);
  expect_options(scanned({"noconst", "", "nosterm"}), 0, 1, 0, 1);
}

TEST(CommandLine, an_argument_of_blanks_alone_does_not_end_the_scan) {
  EXPECT_EQ(scanned({"  ", "nosterm"}).use_sterm, 0);
}

TEST(CommandLine, unknown_arguments_are_ignored_silently) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const FitOptions options = scanned({"--help", "nosterms", "noster", "-noconst", "x", "logf"});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  expect_options(options, 1, 1, 1, 1);
}

TEST(CommandLine, trailing_blanks_of_an_argument_do_not_count_but_leading_ones_do) {
  EXPECT_EQ(scanned({"nosterm   "}).use_sterm, 0);
  EXPECT_EQ(scanned({" nosterm"}).use_sterm, 1);
  EXPECT_EQ(scanned({"nosterm\t"}).use_sterm, 1);
}

TEST(CommandLine, only_the_first_256_characters_of_an_argument_count) {
  const std::string padded = "nosterm" + std::string(256 - 7, ' ');
  EXPECT_EQ(scanned({padded + "x"}).use_sterm, 0);
  EXPECT_EQ(scanned({padded.substr(0, 255) + "x"}).use_sterm, 1);
}

}  // namespace
}  // namespace s_solver
