#include "polefit_io/network/touchstone_reader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "numerics.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_io;
using polefit::all_elements;
using polefit::Network;
using polefit::ports_of_extension;
using testing_support::eps;
using testing_support::io_error_of;
using Complex = std::complex<double>;
using Ports = std::optional<std::size_t>;

Network read_as_it_stands(std::string_view text, Ports ports = {}) {
  return read_touchstone(text, "test.snp", ports);
}

/// Whether a text begins with data: those of the tests then mean what an empty option line stands for.
bool begins_with_data(std::string_view text) {
  return text.find('#') == std::string_view::npos && text.find("[Version]") == std::string_view::npos &&
         text.find_first_of("0123456789") != std::string_view::npos;
}

Network read(std::string_view text, Ports ports = {}) {
  return read_as_it_stands(begins_with_data(text) ? "#\n" + std::string(text) : std::string(text), ports);
}

/// Lines are counted without the option line that `read` adds.
text::IoErrorDetails refusal(std::string_view text, Ports ports = {}) {
  text::IoErrorDetails details = io_error_of([&] { read(text, ports); });
  EXPECT_EQ(details.file, "test.snp");
  if (begins_with_data(text)) {
    --details.record;
    const std::string_view mark = "since line ";
    if (const std::size_t at = details.found.find(mark); at != std::string::npos) {
      const std::size_t begin = at + mark.size();
      const std::int64_t line = std::stoll(details.found.substr(begin)) - 1;
      details.found = details.found.substr(0, begin) + std::to_string(line);
    }
  }
  return details;
}

/// Line, what was found and what was expected; the text in one piece, for a comparison that shows all.
std::string message(std::string_view text, Ports ports = {}) {
  const text::IoErrorDetails details = refusal(text, ports);
  std::string result = std::to_string(details.record);
  if (details.item > 0) {
    result += "/" + std::to_string(details.item);
  }
  return result + ": " + details.found + " | " + details.expected;
}

/// A text of version 2.0 with a header of `keywords`, whose last is the data.
std::string version_2(const std::string& keywords) { return "[Version] 2.0\n# Hz S RI R 50\n" + keywords; }

TEST(TouchstoneReader, an_empty_option_line_stands_for_gigahertz_s_magnitude_angle_and_50_ohms) {
  const Network network = read("#\n1.5 0.5 90\n");
  EXPECT_EQ(network.file, "test.snp");
  EXPECT_EQ(network.frequencies, std::vector<double>{1.5e9});
  EXPECT_EQ(network.values, (std::vector<Complex>{{0.0, 0.5}}));
  ASSERT_TRUE(network.matrix);
  EXPECT_EQ(network.matrix->parameter, 'S');
  EXPECT_EQ(network.matrix->references, std::vector<double>{50.0});
  EXPECT_EQ(network.matrix->elements, (std::vector<polefit::MatrixElement>{{1, 1}}));
  EXPECT_EQ(network.names, std::vector<std::string>{"S11"});
}

TEST(TouchstoneReader, a_text_without_an_option_line_is_refused_with_what_it_should_say) {
  const auto details = io_error_of([] { read_as_it_stands("! no options\n1.5 0.5 90\n"); });
  EXPECT_EQ(details.record, 2);
  EXPECT_EQ(details.found, "\"1.5 0.5 90\" without an option line before it");
  EXPECT_EQ(details.expected,
            "a line such as # GHz S MA R 50, which says unit, parameter, format and reference of the data");
}

TEST(TouchstoneReader, options_stand_in_any_order_and_case) {
  for (const char* line : {"# MHz S RI R 75", "#mhz s ri r 75", "# r 75 RI s MHZ", "#\tRi\tR\t75 mHz S"}) {
    SCOPED_TRACE(line);
    const Network network = read(std::string(line) + "\n2 1 -1\n");
    EXPECT_EQ(network.frequencies, std::vector<double>{2e6});
    EXPECT_EQ(network.values, (std::vector<Complex>{{1.0, -1.0}}));
    EXPECT_EQ(network.matrix->references, std::vector<double>{75.0});
  }
}

TEST(TouchstoneReader, the_first_option_line_counts_and_further_ones_do_not_even_matter) {
  const Network network = read("# Hz S RI R 75\n# GHz Z MA nonsense\n2 1 -1\n# kHz\n3 1 -1\n");
  EXPECT_EQ(network.frequencies, (std::vector<double>{2.0, 3.0}));
  EXPECT_EQ(network.matrix->references, std::vector<double>{75.0});
}

TEST(TouchstoneReader, each_unit_has_its_power_of_ten) {
  EXPECT_EQ(read("# Hz\n7 1 0\n").frequencies, std::vector<double>{7.0});
  EXPECT_EQ(read("# kHz\n7 1 0\n").frequencies, std::vector<double>{7e3});
  EXPECT_EQ(read("# MHz\n7 1 0\n").frequencies, std::vector<double>{7e6});
  EXPECT_EQ(read("# GHz\n7 1 0\n").frequencies, std::vector<double>{7e9});
}

TEST(TouchstoneReader, a_frequency_is_the_double_next_to_the_decimal_in_hertz) {
  // Products of the double of the text and 1e9 would be off for several of these.
  const Network network = read(
      "# GHz RI\n"
      "0.0011 0 0\n.0023 0 0\n0.57 0 0\n1.1 0 0\n2.3 0 0\n+4.35 0 0\n46.0e-1 0 0\n0.49E+1 0 0\n5.1d0 0 0\n"
      "8.2000000001 0 0\n");
  EXPECT_EQ(network.frequencies, (std::vector<double>{1.1e6, 2.3e6, 0.57e9, 1.1e9, 2.3e9, 4.35e9, 4.6e9,
                                                      4.9e9, 5.1e9, 8.2000000001e9}));
}

TEST(TouchstoneReader, an_option_that_is_none_is_refused) {
  EXPECT_EQ(message("# THz S RI R 50\n1 0 0\n"),
            "1: \"THz\" | Hz, kHz, MHz or GHz, S, Y, Z, G or H, MA, DB or RI, or R and a resistance");
}

TEST(TouchstoneReader, contradictory_options_are_refused) {
  EXPECT_EQ(message("# Hz S Z\n1 0 0\n"), "1: \"Z\" beside another option of its kind | each option once");
  EXPECT_EQ(message("# Hz GHz\n1 0 0\n"), "1: \"GHz\" beside another option of its kind | each option once");
  EXPECT_EQ(message("# MA RI\n1 0 0\n"), "1: \"RI\" beside another option of its kind | each option once");
  EXPECT_EQ(message("# R 50 S R 50\n1 0 0\n"),
            "1: \"R\" beside another option of its kind | each option once");
}

TEST(TouchstoneReader, g_and_h_parameters_of_anything_but_two_ports_are_refused) {
  EXPECT_EQ(message("\n# Hz H RI\n1 0 0\n"), "3: H parameters of 1 port | those of two single ports");
  EXPECT_EQ(message("[Version] 2.0\n# Hz G RI\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
                    "[Mixed-Mode Order] D1,2 C1,2\n[Network Data]\n"),
            "6: G parameters of mixed modes | those of two single ports");
}

TEST(TouchstoneReader, a_reference_that_is_no_positive_resistance_is_refused) {
  const std::string expected = " | a reference resistance in ohms, above 0 (complex ones are not supported)";
  EXPECT_EQ(message("# R 0\n1 0 0\n"), "1: \"0\"" + expected);
  EXPECT_EQ(message("# R -50\n1 0 0\n"), "1: \"-50\"" + expected);
  EXPECT_EQ(message("# R 1e999\n1 0 0\n"), "1: \"1e999\"" + expected);
  EXPECT_EQ(message("# R 50+j10\n1 0 0\n"), "1: \"50+j10\"" + expected);
  EXPECT_EQ(message("# R (50,10)\n1 0 0\n"), "1: \"(50,10)\"" + expected);
}

TEST(TouchstoneReader, an_r_without_a_resistance_is_refused) {
  const std::string expected = "1: R without a resistance | R and a reference resistance in ohms";
  EXPECT_EQ(message("# Hz R\n1 0 0\n"), expected);
  EXPECT_EQ(message("# Hz R RI\n1 0 0\n"), expected);
}

TEST(TouchstoneReader, each_port_may_have_its_reference_in_the_option_line) {
  const Network network = read("# R 50 75 RI\n1 0 0 0 0 0 0 0 0\n", 2);
  EXPECT_EQ(network.matrix->references, (std::vector<double>{50.0, 75.0}));
}

TEST(TouchstoneReader, references_for_another_number_of_ports_are_refused) {
  EXPECT_EQ(message("# R 50 10\n1 0 0\n", 1),
            "2: 2 reference resistances for 1 port | one, or one for each port (complex ones are not "
            "supported)");
}

TEST(TouchstoneReader, comments_blank_lines_tabs_and_all_line_ends_are_taken) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    const Network network = read("! 1 2 3" + end + end + "# Hz RI ! 4" + end + "  \t" + end +
                                 "\t1\t2 3 !4 5" + end + "!" + end + " 2 4 5");
    EXPECT_EQ(network.frequencies, (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(network.values, (std::vector<Complex>{{2.0, 3.0}, {4.0, 5.0}}));
  }
}

TEST(TouchstoneReader, lines_are_counted_alike_for_all_line_ends) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    EXPECT_EQ(refusal("# Hz RI" + end + end + "! text" + end + "1 2 3" + end + "2 x 3" + end).record, 5);
  }
}

TEST(TouchstoneReader, a_comment_ends_with_a_line_end_of_any_kind) {
  EXPECT_EQ(read("# Hz RI\r! no data\r1 2 3\r\n2 4 5\n").frequencies, (std::vector<double>{1.0, 2.0}));
}

TEST(TouchstoneReader, a_byte_order_mark_is_skipped) {
  EXPECT_EQ(read("\xEF\xBB\xBF# Hz RI\n1 2 3\n").frequencies, std::vector<double>{1.0});
}

TEST(TouchstoneReader, a_text_without_data_is_refused) {
  EXPECT_EQ(message(""), "0: the end of the file | the values of a frequency");
  EXPECT_EQ(message("! nothing\n# Hz\n"), "2: the end of the file | the values of a frequency");
}

TEST(TouchstoneReader, two_ports_stand_column_by_column) {
  const Network network = read("# Hz RI\n1 11 0 21 0 12 0 22 0\n2 11 1 21 1 12 1 22 1\n", 2);
  EXPECT_EQ(network.names, (std::vector<std::string>{"S11", "S12", "S21", "S22"}));
  EXPECT_EQ(network.matrix->elements, all_elements(2));
  EXPECT_EQ(network.values,
            (std::vector<Complex>{{11, 0}, {11, 1}, {12, 0}, {12, 1}, {21, 0}, {21, 1}, {22, 0}, {22, 1}}));
  EXPECT_EQ(network.matrix->references, (std::vector<double>{50.0, 50.0}));
}

TEST(TouchstoneReader, more_ports_stand_row_by_row) {
  const Network network = read(
      "# Hz RI\n1 11 0 12 0 13 0\n 21 0 22 0 23 0\n 31 0 32 0 33 0\n"
      "2 11 1 12 1 13 1\n 21 1 22 1 23 1\n 31 1 32 1 33 1\n",
      3);
  ASSERT_EQ(network.values.size(), 18U);
  for (std::size_t r = 0; r < 9; ++r) {
    const double number = std::stod(network.names[r].substr(1));
    EXPECT_EQ(network.values[2 * r], Complex(number, 0));
    EXPECT_EQ(network.values[2 * r + 1], Complex(number, 1));
  }
}

TEST(TouchstoneReader, more_than_two_ports_are_wrapped_at_will) {
  const std::string values = "1 11 0 12 0 13 0 21 0 22 0 23 0 31 0 32 0 33 0";
  const Network one_line = read("# Hz RI\n" + values, 3);
  std::string one_value_a_line = values;
  for (char& c : one_value_a_line) {
    c = c == ' ' ? '\n' : c;
  }
  EXPECT_EQ(read("# Hz RI\n" + one_value_a_line, 3).values, one_line.values);
  EXPECT_EQ(read("# Hz RI\n1 11 0 12 0 13 0 21 ! split\n\n0 22 0 23 0 31 0 32 0 33 0", 3).values,
            one_line.values);
}

TEST(TouchstoneReader, names_of_ten_ports_and_more_have_a_mark_between_row_and_column) {
  std::string text = "# Hz Z RI R 1\n1";
  for (int i = 0; i < 2 * 144; ++i) {
    text += " " + std::to_string(i);
  }
  const Network network = read(text, 12);
  EXPECT_EQ(network.names[0], "Z1_1");
  EXPECT_EQ(network.names[143], "Z12_12");
  EXPECT_EQ(network.values[13], Complex(26, 27));
}

TEST(TouchstoneReader, the_number_of_ports_is_seen_from_the_first_frequency_without_a_name_that_says_it) {
  EXPECT_EQ(read("1 0 0\n").names.size(), 1U);
  EXPECT_EQ(read("1 0 0 0 0 0 0 0 0\n").names.size(), 4U);
  const std::string three_ports = " 0 0 0 0 0 0\n! row\n\n0 0 0 0 0 0\n0 0 0 0 0 0 ! row\n";
  EXPECT_EQ(read("1" + three_ports + "2" + three_ports).names.size(), 9U);
  EXPECT_EQ(read("1" + three_ports).names.size(), 9U);
  const std::string pairs = " 0 0 0 0 0 0 0 0\n";  // the first line is like one of two ports
  const std::string four_ports = pairs + pairs + pairs + pairs;
  EXPECT_EQ(read("1" + four_ports + "2" + four_ports).names.size(), 16U);
  EXPECT_EQ(message("1 0 0\n2 0\n"),
            "2: 2 values | 3 values for a frequency of 1 port, and the next frequency on a new line");
  EXPECT_EQ(message("1 0 0 0 0 0 0 0 0\n2 0 0 0 0 0 0 0\n"),
            "2: 8 values | 9 values for a frequency of 2 ports, and the next frequency on a new line");
  EXPECT_EQ(message("\n1 0 0 0 0 0 0\n"),
            "2: 7 values on the first line of data | 3 of one port or 9 of two, or the number of ports in "
            "the file's name, such as .s4p");
}

TEST(TouchstoneReader, a_missing_value_is_refused) {
  EXPECT_EQ(message("1 0 0\n2 0\n3 0 0\n", 1),
            "2: 2 values | 3 values for a frequency of 1 port, and the next frequency on a new line");
  EXPECT_EQ(message("1 0 0 0 0 0 0 0\n", 2),
            "1: 8 values | 9 values for a frequency of 2 ports, and the next frequency on a new line");
  EXPECT_EQ(message("1 0 0 0 0 0 0\n0 0 0 0 0\n0 0 0 0 0 0\n2 0 0 0 0 0 0\n0 0 0 0 0 0\n0 0 0 0 0 0\n", 3),
            "4: 25 values with those since line 1 | 19 values for a frequency of 3 ports, and the next "
            "frequency on a new line");
}

TEST(TouchstoneReader, a_value_too_many_is_refused) {
  EXPECT_EQ(message("1 0 0 0\n", 1),
            "1: 4 values | 3 values for a frequency of 1 port, and the next frequency on a new line");
  EXPECT_EQ(message("1 0 0\n1 0\n2 0 0\n", 1),
            "2: 2 values | 3 values for a frequency of 1 port, and the next frequency on a new line");
  EXPECT_EQ(message("1 0 0 0 0 0 0\n0 0 0 0 0 0\n0 0 0 0 0 0 0\n", 3),
            "3: 20 values with those since line 1 | 19 values for a frequency of 3 ports, and the next "
            "frequency on a new line");
}

TEST(TouchstoneReader, a_text_that_ends_within_a_frequency_is_refused) {
  EXPECT_EQ(message("1 0 0 0 0 0 0\n0 0 0 0 0 0\n! end\n", 3),
            "3: the end of the file after 13 values since line 1 | 19 values for a frequency of 3 ports");
}

TEST(TouchstoneReader, frequencies_of_fewer_ports_are_not_taken_for_the_lines_of_one) {
  std::string text;
  for (int k = 0; k < 11; ++k) {
    text += std::to_string(k) + " 0 0\n";
  }
  EXPECT_EQ(message(text, 4),
            "11: 11 lines of 3 values each, which seem to be as many frequencies | 33 values for a frequency "
            "of 4 ports");
}

TEST(TouchstoneReader, what_is_not_a_number_is_refused) {
  EXPECT_EQ(message("1 0 zero\n"), "1/3: \"zero\" | a number");
  EXPECT_EQ(message("# Hz\n1 0 0\n2 0 0x1\n"), "3/3: \"0x1\" | a number");
  EXPECT_EQ(message("1 0,5 0\n"), "1/2: \"0,5\" | a number");
  EXPECT_EQ(message("1 1.5e 0\n"), "1/2: \"1.5e\" | a number");
  EXPECT_EQ(message("1.1.1 0 0\n"), "1/1: \"1.1.1\" | a frequency");
  EXPECT_EQ(message(std::string_view("1 0\0 0\n", 7)), "1/2: \"0\\x00\" | a number");
  EXPECT_EQ(message("1 0 0 0 0 0 0\n0 0 0 - 0 0\n", 3), "2/4: \"-\" | a number");
}

TEST(TouchstoneReader, numbers_of_all_usual_forms_are_taken) {
  const Network network = read("# Hz RI\n1 +1.5 -.5\n2 1.5D+01 15.\n3 1e-400 4.9e-324\n");
  EXPECT_EQ(network.values, (std::vector<Complex>{{1.5, -0.5}, {15.0, 15.0}, {0.0, 4.9e-324}}));
}

TEST(TouchstoneReader, values_that_are_not_finite_are_refused) {
  EXPECT_EQ(message("1 nan 0\n"), "1/2: \"nan\" | a finite number");
  EXPECT_EQ(message("1 0 -inf\n"), "1/3: \"-inf\" | a finite number");
  EXPECT_EQ(message("1 1e999 0\n"), "1/2: \"1e999\" | a finite number");
}

TEST(TouchstoneReader, frequencies_below_zero_or_not_finite_are_refused) {
  EXPECT_EQ(message("-1 0 0\n"), "1/1: \"-1\" | a finite frequency not below 0");
  EXPECT_EQ(message("1 0 0\n2 0 0\n1e999999999999 0 0\n"),
            "3/1: \"1e999999999999\" | a finite frequency not below 0");
  EXPECT_EQ(read("# GHz\n1e299 0 0\n").frequencies, std::vector<double>{1e308});
  EXPECT_EQ(message("# GHz\n1e300 0 0\n"), "2/1: \"1e300\" | a finite frequency not below 0");
  EXPECT_EQ(message("inf 0 0\n"), "1/1: \"inf\" | a finite frequency not below 0");
  EXPECT_EQ(message("nan 0 0\n"), "1/1: \"nan\" | a finite frequency not below 0");
}

TEST(TouchstoneReader, a_negative_zero_is_the_frequency_zero) {
  EXPECT_FALSE(std::signbit(read("-0 0 0\n").frequencies[0]));
}

TEST(TouchstoneReader, frequencies_may_repeat_but_not_decrease) {
  EXPECT_EQ(read("0 0 0\n1 0 0\n1 0 0\n").frequencies.size(), 3U);
  EXPECT_EQ(message("2 0 0\n1 0 0\n", 1),
            "2/1: a frequency below the one before it | frequencies that do not decrease");
  EXPECT_EQ(message("2 0 0 0 0 0 0 0 0\n1 0 0 0 0 0 0 0 0\n"),
            "2/1: a frequency below the one before it | frequencies that do not decrease, or noise data of 5 "
            "values a line");
}

TEST(TouchstoneReader, angles_are_in_degrees_and_exact_at_right_angles) {
  const Network network = read("# Hz MA\n1 2 0\n2 2 90\n3 2 180\n4 2 -90\n5 2 -180\n6 2 450\n7 2 270\n");
  EXPECT_EQ(network.values,
            (std::vector<Complex>{{2, 0}, {0, 2}, {-2, 0}, {0, -2}, {-2, 0}, {0, 2}, {0, -2}}));
}

TEST(TouchstoneReader, magnitude_and_angle_become_a_value_to_rounding) {
  for (int degrees = -720; degrees <= 720; degrees += 7) {
    const Network network = read("# Hz MA\n1 3 " + std::to_string(degrees) + "\n");
    const long double angle = degrees * std::numbers::pi_v<long double> / 180.0L;
    const Complex exact(static_cast<double>(3.0L * std::cos(angle)),
                        static_cast<double>(3.0L * std::sin(angle)));
    // The angle within 45 degrees of an axis is rounded twice (0.8 eps at most), sine or cosine once or so,
    // the product once, and the reference once: below 3 eps of the magnitude in all.
    EXPECT_LE(std::abs(network.values[0] - exact), 3.0 * 3.0 * eps) << degrees;
  }
}

TEST(TouchstoneReader, decibels_are_20_for_a_factor_of_ten) {
  const Network network = read("# Hz DB\n1 0 90\n2 20 180\n3 -40 0\n4 6 0\n");
  EXPECT_EQ(network.values[0], Complex(0, 1));
  EXPECT_EQ(network.values[1], Complex(-10, 0));
  // A power is rounded about once, its exponent by half an eps of it, which the logarithm of ten enlarges.
  EXPECT_NEAR(network.values[2].real(), 0.01, 0.01 * 6.0 * eps);
  EXPECT_NEAR(network.values[3].real(), 1.9952623149688796, 2.0 * 2.0 * eps);
}

TEST(TouchstoneReader, a_magnitude_beyond_the_range_of_doubles_is_refused) {
  EXPECT_EQ(message("# Hz DB\n1 0 0\n2 7000 0\n"),
            "3: a value of S11 beyond a double's range | finite values");
}

TEST(TouchstoneReader, z_of_version_1_is_multiplied_with_its_reference) {
  const Network network = read("# Hz Z RI R 50\n1 0.5 -2\n");
  EXPECT_EQ(network.matrix->parameter, 'Z');
  EXPECT_EQ(network.names, std::vector<std::string>{"Z11"});
  EXPECT_EQ(network.values, (std::vector<Complex>{{25, -100}}));
}

TEST(TouchstoneReader, y_of_version_1_is_divided_by_its_reference) {
  const Network network = read("# Hz Y RI R 50\n1 0.5 -2\n");
  EXPECT_EQ(network.matrix->parameter, 'Y');
  EXPECT_EQ(network.values, (std::vector<Complex>{{0.01, -0.04}}));
}

TEST(TouchstoneReader, z_and_y_between_ports_of_unequal_references_go_by_their_geometric_mean) {
  EXPECT_EQ(read("# Hz Z RI R 4 9\n1 1 0 1 0 1 0 1 0\n").values,
            (std::vector<Complex>{{4, 0}, {6, 0}, {6, 0}, {9, 0}}));
  EXPECT_EQ(read("# Hz Y RI R 4 16\n1 1 0 1 0 1 0 1 0\n").values,
            (std::vector<Complex>{{0.25, 0}, {0.125, 0}, {0.125, 0}, {0.0625, 0}}));
}

TEST(TouchstoneReader, z_and_y_of_version_2_stand_in_ohms_and_siemens) {
  for (const std::string parameter : {"Z", "Y"}) {
    const Network network = read("[Version] 2.0\n# Hz " + parameter +
                                 " RI R 50\n[Number of Ports] 1\n[Network Data]\n1 0.5 -2\n[End]\n");
    EXPECT_EQ(network.values, (std::vector<Complex>{{0.5, -2}}));
    EXPECT_EQ(network.matrix->references, std::vector<double>{50.0});
  }
}

TEST(TouchstoneReader, an_impedance_that_overflows_is_refused) {
  EXPECT_EQ(message("# Hz Z RI R 50\n1 1e308 0\n"),
            "2: a value of Z11 beyond a double's range | finite values");
}

const std::string two_port = "# Hz RI\n1 11 0 21 0 12 0 22 0\n4 11 0 21 0 12 0 22 0\n";

TEST(TouchstoneReader, noise_data_are_skipped) {
  const Network network =
      read(two_port + "! noise\n2 0.5 0.3 90 0.2\n3 0.6 0.3 91 0.2\n9 0.7 0.3 92 0.2\n", 2);
  EXPECT_EQ(network.frequencies, (std::vector<double>{1.0, 4.0}));
  EXPECT_EQ(network.values.size(), 8U);
}

TEST(TouchstoneReader, noise_data_may_begin_at_the_last_frequency) {
  EXPECT_EQ(read(two_port + "4 0.5 0.3 90 0.2\n5 0.5 0.3 90 0.2\n", 2).frequencies,
            (std::vector<double>{1.0, 4.0}));
}

TEST(TouchstoneReader, noise_data_without_their_shape_are_refused) {
  EXPECT_EQ(message(two_port + "2 0.5 0.3 90 0.2\n3 0.5 0.3 90\n", 2), "5: 4 values in noise data | 5");
  EXPECT_EQ(message(two_port + "2 0.5 0.3 90\n", 2),
            "4/1: a frequency below the one before it | frequencies that do not decrease, or noise data of 5 "
            "values a line");
  EXPECT_EQ(message(two_port + "2 0.5 0.3 90 0.2\n3 0.5 x 90 0.2\n", 2), "5/3: \"x\" | a number");
  EXPECT_EQ(message(two_port + "2 0.5 0.3 90 0.2\n1 0.5 0.3 90 0.2\n", 2),
            "5/1: a noise frequency below the one before it | frequencies that do not decrease");
}

TEST(TouchstoneReader, noise_data_above_the_last_frequency_are_refused) {
  EXPECT_EQ(message(two_port + "5 0.5 0.3 90 0.2\n", 2),
            "4: 5 values | 9 values for a frequency of 2 ports, and the next frequency on a new line");
}

TEST(TouchstoneReader, other_than_two_ports_have_no_noise_data) {
  EXPECT_EQ(message("# Hz RI\n4 1 1\n2 0.5 0.3 90 0.2\n", 1),
            "3/1: a frequency below the one before it | frequencies that do not decrease");
}

TEST(TouchstoneReader, a_text_of_version_2_is_read) {
  const Network network = read(
      "! comment\n[Version] 2.0\n# kHz S RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 2\n[Reference] 50 75\n[Matrix Format] Full\n[Network Data]\n"
      "1 11 0 12 0 21 0 22 0\n2 11 1 12 1\n 21 1 22 1\n[End]\nafterwards\n");
  EXPECT_EQ(network.frequencies, (std::vector<double>{1e3, 2e3}));
  EXPECT_EQ(network.matrix->references, (std::vector<double>{50.0, 75.0}));
  EXPECT_EQ(network.values,
            (std::vector<Complex>{{11, 0}, {11, 1}, {12, 0}, {12, 1}, {21, 0}, {21, 1}, {22, 0}, {22, 1}}));
}

TEST(TouchstoneReader, the_order_of_two_ports_is_what_the_keyword_says) {
  for (const std::string order : {"12_21", "21_12"}) {
    const Network network = read(version_2("[Number of Ports] 2\n[Two-Port Data Order] " + order +
                                           "\n[Network Data]\n1 1 0 2 0 3 0 4 0\n[End]\n"));
    EXPECT_EQ(network.values[1], Complex(order == "12_21" ? 2 : 3, 0)) << order;
    EXPECT_EQ(network.values[2], Complex(order == "12_21" ? 3 : 2, 0)) << order;
  }
}

TEST(TouchstoneReader, keywords_are_taken_in_any_case_and_with_any_blanks) {
  const Network network =
      read("[VERSION]2.0\n# Hz RI\n[ number  of\tports ]  1 ! one\n[NETWORK DATA]\n1 2 3\n [end] \n");
  EXPECT_EQ(network.values, (std::vector<Complex>{{2, 3}}));
}

TEST(TouchstoneReader, references_stand_on_the_line_of_their_keyword_or_on_the_following_ones) {
  for (const std::string values : {" 50 60 70", "\n50 60 70", " 50\n60\n70", "\n50 60 ! two\n\n 70"}) {
    const Network network =
        read(version_2("[Number of Ports] 3\n[Reference]" + values +
                       "\n[Matrix Format] Lower\n[Network Data]\n1 1 0 2 0 3 0 4 0 5 0 6 0\n[End]\n"));
    EXPECT_EQ(network.matrix->references, (std::vector<double>{50, 60, 70}));
  }
}

TEST(TouchstoneReader, lower_and_upper_matrices_are_symmetric) {
  const std::string lower = "1 11 0\n 21 0 22 0\n 31 0 32 0 33 0\n 41 0 42 0 43 0 44 0\n";
  const std::string upper = "1 11 0 21 0 31 0 41 0\n 22 0 32 0 42 0\n 33 0 43 0\n 44 0\n";
  for (const bool is_lower : {true, false}) {
    const Network network =
        read(version_2("[Number of Ports] 4\n[Matrix Format] " + std::string(is_lower ? "LOWER" : "upper") +
                       "\n[Network Data]\n" + (is_lower ? lower : upper) + "[End]\n"));
    for (std::size_t i = 1; i <= 4; ++i) {
      for (std::size_t j = 1; j <= 4; ++j) {
        const auto number = static_cast<double>(10 * std::max(i, j) + std::min(i, j));
        EXPECT_EQ(network.values[(i - 1) * 4 + j - 1], Complex(number, 0)) << i << j;
      }
    }
  }
}

TEST(TouchstoneReader, half_a_two_port_is_the_same_in_either_order) {
  for (const std::string order : {"12_21", "21_12"}) {
    const Network network = read(version_2("[Number of Ports] 2\n[Two-Port Data Order] " + order +
                                           "\n[Matrix Format] Upper\n[Network Data]\n1 11 0 12 0 22 0\n"));
    EXPECT_EQ(network.values, (std::vector<Complex>{{11, 0}, {12, 0}, {12, 0}, {22, 0}}));
  }
}

TEST(TouchstoneReader, information_is_skipped) {
  const Network network = read(
      version_2("[Number of Ports] 1\n[Begin Information]\n[Manufacturer] x\n# no option\n[ open\n1 2 3\n"
                "[End Information]\n[Network Data]\n1 2 3\n[End]\n"));
  EXPECT_EQ(network.frequencies.size(), 1U);
  EXPECT_EQ(message(version_2("[Begin Information]\n[End]\n")), "4: the end of the file | [End Information]");
  EXPECT_EQ(message(version_2("[End Information]\n")),
            "3: [End Information] | [Begin Information] before it");
}

TEST(TouchstoneReader, noise_data_of_version_2_are_skipped_and_counted) {
  const std::string head = "[Number of Ports] 2\n[Two-Port Data Order] 12_21\n";
  const std::string data =
      "[Network Data]\n1 0 0 0 0 0 0 0 0\n[Noise Data]\n5 0.5 0.3 90 0.2\n6 0.5 0.3 90 0.2\n[End]\n";
  EXPECT_EQ(read(version_2(head + data)).frequencies, std::vector<double>{1.0});
  EXPECT_EQ(read(version_2(head + "[Number of Noise Frequencies] 2\n" + data)).frequencies.size(), 1U);
  EXPECT_EQ(message(version_2(head + "[Number of Noise Frequencies] 3\n" + data)),
            "11: 2 noise frequencies | 3, as [Number of Noise Frequencies] says");
  EXPECT_EQ(message(version_2(head + "[Noise Data]\n")), "5: [Noise Data] | [Network Data] before it");
}

TEST(TouchstoneReader, a_number_of_frequencies_other_than_declared_is_refused) {
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[Number of Frequencies] 3\n[Network Data]\n1 0 0\n2 0 "
                              "0\n[End]\n")),
            "8: 2 frequencies of network data | 3, as [Number of Frequencies] says");
}

TEST(TouchstoneReader, version_2_without_a_necessary_line_is_refused) {
  EXPECT_EQ(message("[Version] 2.0\n[Number of Ports] 1\n[Network Data]\n1 0 0\n"),
            "3: [Network Data] | the option line before it");
  EXPECT_EQ(message(version_2("[Network Data]\n1 0 0\n")), "3: [Network Data] | [Number of Ports] before it");
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n")), "3: the end of the file | [Network Data]");
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[End]\n")), "4: [End] | [Network Data] before it");
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[Network Data]\n[End]\n")),
            "5: no frequencies | at least one");
}

TEST(TouchstoneReader, sections_that_end_within_a_frequency_are_refused) {
  const std::string head =
      "[Number of Ports] 2\n[Two-Port Data Order] 12_21\n[Network Data]\n1 0 0 0 0 0\n0 0\n";
  const std::string expected = " after 8 values since line 6 | 9 values for a frequency of 2 ports";
  EXPECT_EQ(message(version_2(head + "[End]\n")), "8: [End]" + expected);
  EXPECT_EQ(message(version_2(head + "[Noise Data]\n")), "8: [Noise Data]" + expected);
}

TEST(TouchstoneReader, a_keyword_that_is_none_is_refused) {
  const std::string expected = " | a keyword of Touchstone 2.0 or 2.1 in brackets";
  EXPECT_EQ(message(version_2("[Number of Parts] 1\n")), "3: \"[Number of Parts]\"" + expected);
  EXPECT_EQ(message(version_2("[Number of Ports 1\n")), "3: \"[Number of Ports 1\"" + expected);
}

TEST(TouchstoneReader, keywords_without_a_version_are_refused) {
  EXPECT_EQ(message("# Hz\n[Number of Ports] 1\n"),
            "2: [Number of Ports] | [Version] 2.0 before any other keyword");
}

TEST(TouchstoneReader, versions_other_than_2_0_and_2_1_are_refused_where_they_are_named) {
  EXPECT_EQ(message("[Version] 3.0\n"),
            "1: [Version] \"3.0\" | 2.0 or 2.1, or no such line for versions 1.x");
}

TEST(TouchstoneReader, a_keyword_given_twice_is_refused) {
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[Number of Ports] 1\n")),
            "4: a second [Number of Ports] | each keyword once");
}

TEST(TouchstoneReader, keywords_of_the_header_behind_data_are_refused) {
  EXPECT_EQ(message("#\n1 0 0\n[Version] 2.0\n"), "3: [Version] behind data | it before the data");
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[Network Data]\n1 0 0\n[Reference] 50\n")),
            "6: [Reference] behind data | it before the data");
}

TEST(TouchstoneReader, values_before_the_network_data_are_refused) {
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n1 0 0\n")),
            "4: \"1 0 0\" | a keyword, as values begin behind [Network Data]");
}

TEST(TouchstoneReader, references_end_with_the_next_keyword) {
  EXPECT_EQ(message(version_2("[Reference] 50\n[Matrix Format] Full\n75\n")),
            "5: \"75\" | a keyword, as values begin behind [Network Data]");
}

TEST(TouchstoneReader, keywords_with_a_value_that_is_not_theirs_are_refused) {
  const std::string count = " | an integer from 1 to 2147483647";
  EXPECT_EQ(message(version_2("[Number of Ports]\n")), "3: no number" + count);
  EXPECT_EQ(message(version_2("[Number of Ports] 0\n")), "3: \"0\"" + count);
  EXPECT_EQ(message(version_2("[Number of Ports] -1\n")), "3: \"-1\"" + count);
  EXPECT_EQ(message(version_2("[Number of Ports] 4294967298\n")), "3: \"4294967298\"" + count);
  EXPECT_EQ(message(version_2("[Number of Frequencies] 1.5\n")), "3: \"1.5\"" + count);
  EXPECT_EQ(message(version_2("[Two-Port Data Order] 11_22\n")),
            "3: [Two-Port Data Order] \"11_22\" | 12_21 or 21_12");
  EXPECT_EQ(message(version_2("[Matrix Format] Half\n")),
            "3: [Matrix Format] \"Half\" | Full, Lower or Upper");
  EXPECT_EQ(message(version_2("[Number of Ports] 1\n[Network Data] 1 0 0\n")),
            "4: \"1 0 0\" behind [Network Data] | nothing there");
  EXPECT_EQ(message(version_2("[Reference] 50 -1\n")),
            "3: \"-1\" | a reference resistance in ohms, above 0 (complex ones are not supported)");
}

TEST(TouchstoneReader, references_that_are_not_one_for_each_port_are_refused) {
  EXPECT_EQ(message(version_2("[Number of Ports] 3\n[Reference] 50 75\n[Network Data]\n")),
            "5: 2 resistances of [Reference] | 3, one for each port");
}

TEST(TouchstoneReader, a_number_of_ports_against_the_files_name_is_refused) {
  EXPECT_EQ(message(version_2("[Number of Ports] 2\n"), 4),
            "3: [Number of Ports] 2 | 4, which the file's name says");
  EXPECT_EQ(read(version_2("[Number of Ports] 1\n[Network Data]\n1 0 0\n"), 1).names.size(), 1U);
}

TEST(TouchstoneReader, absurd_numbers_of_ports_take_no_memory) {
  EXPECT_EQ(refusal(version_2("[Number of Ports] 2147483647\n[Network Data]\n1 0 0\n[End]\n")).record, 6);
  EXPECT_EQ(refusal("1 0 0\n", 9999).expected, "199960003 values for a frequency of 9999 ports");
}

TEST(TouchstoneReader, many_frequencies_keep_their_order) {
  std::string text = "# Hz RI\n";
  for (int k = 0; k < 1000; ++k) {
    const std::string number = std::to_string(k);
    text += number + " " + number + " 11 " + number + " 21 " + number + " 12 " + number + " 22\n";
  }
  const Network network = read(text);
  ASSERT_EQ(network.values.size(), 4000U);
  for (std::size_t k = 0; k < 1000; ++k) {
    const auto number = static_cast<double>(k);
    ASSERT_EQ(network.frequencies[k], number);
    ASSERT_EQ(network.values[k], Complex(number, 11));
    ASSERT_EQ(network.values[1000 + k], Complex(number, 12));
    ASSERT_EQ(network.values[2000 + k], Complex(number, 21));
    ASSERT_EQ(network.values[3000 + k], Complex(number, 22));
  }
}

TEST(PortsOfExtension, the_number_stands_between_s_and_p) {
  EXPECT_EQ(ports_of_extension("a.s1p"), Ports(1));
  EXPECT_EQ(ports_of_extension("dir.s3p/b.c.S12P"), Ports(12));
  EXPECT_EQ(ports_of_extension("a.s9999p"), Ports(9999));
}

TEST(PortsOfExtension, other_names_say_nothing) {
  for (const char* name : {"", "-", "s2p", "a.ts", "a.snp", "a.sp", "a.s0p", "a.s10000p", "a.s-1p", "a.s2px",
                           "a.s2p/b", "a.s2", "a.s+2p", "a.s2p.csv"}) {
    EXPECT_EQ(ports_of_extension(name), std::nullopt) << name;
  }
}

}  // namespace
