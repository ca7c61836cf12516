#include "polefit_cli/commands/waveform_file.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/io_error.hpp"

namespace {

using namespace polefit_cli;

std::string message(const std::string& content) {
  try {
    read_waveforms(content, "w.csv");
  } catch (const text::IoError& error) {
    return text::line_message(error.details());
  }
  return "none";
}

TEST(WaveformFile, a_time_and_one_value_a_line_are_a_waveform) {
  const std::vector<polefit::Waveform> found = read_waveforms("0,0\n1e-9,1\n2e-9,0.5\n", "w.csv");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].times, (std::vector<double>{0.0, 1e-9, 2e-9}));
  EXPECT_EQ(found[0].values, (std::vector<double>{0.0, 1.0, 0.5}));
}

TEST(WaveformFile, several_values_a_line_are_several_waveforms) {
  const std::vector<polefit::Waveform> found = read_waveforms("0 1 2\n1 3 4", "w.csv");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].values, (std::vector<double>{1.0, 3.0}));
  EXPECT_EQ(found[1].values, (std::vector<double>{2.0, 4.0}));
  EXPECT_EQ(found[1].times, found[0].times);
}

TEST(WaveformFile, headers_comments_empty_lines_marks_and_separators_of_any_kind_are_taken) {
  const std::vector<polefit::Waveform> found = read_waveforms(
      "\xEF\xBB\xBFtime [s];V1 [V]\r\n# comment\r\n\r\n 0;1 \r\n\t1 ;\t2\r\n! end\r\n", "w.csv");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].times, (std::vector<double>{0.0, 1.0}));
  EXPECT_EQ(found[0].values, (std::vector<double>{1.0, 2.0}));
}

TEST(WaveformFile, a_value_that_is_missing_does_not_move_the_others_to_its_port) {
  const std::string expected = ", expected a number";
  EXPECT_EQ(message("t,V1,V2\n0,,1\n1,,2\n"), "w.csv, line 2: found nothing for value 2" + expected);
  EXPECT_EQ(message("0;1;2\n1; ;2\n"), "w.csv, line 2: found nothing for value 2" + expected);
  EXPECT_EQ(message("0,1\n,2\n"), "w.csv, line 2: found nothing for value 1" + expected);
  EXPECT_EQ(read_waveforms("0,1,\n1,2,\n", "w.csv").size(), 1U) << "as tables with an empty last column";
  EXPECT_EQ(read_waveforms("0, 1\t2\n", "w.csv").size(), 2U);
}

TEST(WaveformFile, a_first_line_that_begins_like_a_number_is_no_header) {
  EXPECT_EQ(message("0.O,1\n1,2\n"), "w.csv, line 1: found \"0.O\", expected a time in seconds");
  EXPECT_EQ(message("1n,1\n2,2\n"), "w.csv, line 1: found \"1n\", expected a time in seconds");
  EXPECT_EQ(read_waveforms(",V1\n0,1\n", "w.csv").size(), 1U);
}

TEST(WaveformFile, decimal_commas_are_refused) {
  EXPECT_EQ(
      message("t;V1\n0;0,5\n1;0,7\n"),
      "w.csv, line 2: found commas beside semicolons, expected one of them between values, and points in "
      "numbers");
}

TEST(WaveformFile, two_lines_of_a_time_are_a_jump_and_three_are_refused) {
  EXPECT_EQ(read_waveforms("0,0\n1,0\n1,1\n", "w.csv")[0].times.size(), 3U);
  EXPECT_EQ(message("0,0\n1,0\n1,1\n1,2\n"),
            "w.csv, line 4: found the time \"1\" for the third time, expected two lines of a time, a jump, "
            "at most");
}

TEST(WaveformFile, what_is_none_is_refused_with_the_line) {
  EXPECT_EQ(message(""), "w.csv: found no line with numbers, expected times and values");
  EXPECT_EQ(message("time,V1\n"), "w.csv: found no line with numbers, expected times and values");
  EXPECT_EQ(message("0\n"),
            "w.csv, line 1: found a time alone, expected a value for it, or one for each port");
  EXPECT_EQ(message("0,1\nx,2\n"), "w.csv, line 2: found \"x\", expected a time in seconds");
  EXPECT_EQ(message("t,v\nu,w\n"), "w.csv, line 2: found \"u\", expected a time in seconds");
  EXPECT_EQ(message("0,1\ninf,2\n"), "w.csv, line 2: found \"inf\", expected a time in seconds");
  EXPECT_EQ(message("0,1\n1,2,3\n"), "w.csv, line 2: found 3 values, expected 2 as on the lines before");
  EXPECT_EQ(message("0,1\n1,nan\n"), "w.csv, line 2: found \"nan\", expected a finite number of volts");
  EXPECT_EQ(message("0,1\n2,1\n1,1\n"),
            "w.csv, line 3: found the time \"1\", expected one that is not before that of the line above");
}

}  // namespace
