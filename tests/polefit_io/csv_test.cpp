#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "numerics.hpp"
#include "polefit/network.hpp"
#include "polefit_io/network/csv_header.hpp"
#include "polefit_io/network/csv_reader.hpp"
#include "polefit_io/network/csv_writer.hpp"
#include "polefit_io/network/header_cell.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_io;
using polefit::named_element;
using polefit::Network;
using testing_support::Complex;
using testing_support::eps;
using testing_support::infinity;
using testing_support::io_error_of;
using testing_support::quiet_nan;
using testing_support::RandomNumbers;
using Names = std::vector<std::string>;
using Numbers = std::vector<double>;
using Values = std::vector<Complex>;

Network network_of(std::string_view text) {
  text::StreamedLines lines(text);
  return read_csv(lines, "table.csv");
}

text::IoErrorDetails error_of(const std::string& text) {
  return io_error_of([&] { network_of(text); });
}

/// The details of a refusal, in the order in which the message shows them.
void expect_refusal(const std::string& text, std::int64_t line, int column, std::string_view found,
                    std::string_view expected) {
  SCOPED_TRACE(text);
  const text::IoErrorDetails details = error_of(text);
  EXPECT_EQ(details.file, "table.csv");
  EXPECT_EQ(details.record, line);
  EXPECT_EQ(details.item, column);
  EXPECT_NE(details.found.find(found), std::string::npos) << details.found;
  EXPECT_NE(details.expected.find(expected), std::string::npos) << details.expected;
}

bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool same_network(const Network& a, const Network& b) {
  bool same = a.names == b.names && a.frequencies.size() == b.frequencies.size() &&
              a.values.size() == b.values.size() && a.matrix.has_value() == b.matrix.has_value();
  for (std::size_t k = 0; same && k < a.frequencies.size(); ++k) {
    same = same_bits(a.frequencies[k], b.frequencies[k]);
  }
  for (std::size_t i = 0; same && i < a.values.size(); ++i) {
    same = same_bits(a.values[i].real(), b.values[i].real()) &&
           same_bits(a.values[i].imag(), b.values[i].imag());
  }
  return same && (!a.matrix ||
                  (a.matrix->parameter == b.matrix->parameter &&
                   a.matrix->references == b.matrix->references && a.matrix->elements == b.matrix->elements));
}

TEST(Csv, a_table_is_read_response_by_response) {
  const Network network = network_of("frequency,a re,a im,b re,b im\n1,2,3,4,5\n10,20,30,40,50\n");
  EXPECT_EQ(network.file, "table.csv");
  EXPECT_EQ(network.frequencies, (Numbers{1, 10}));
  EXPECT_EQ(network.names, (Names{"a", "b"}));
  EXPECT_EQ(network.values, (Values{{2, 3}, {20, 30}, {4, 5}, {40, 50}}));
  EXPECT_FALSE(network.matrix.has_value());
}

TEST(Csv, values_of_many_lines_stand_where_they_belong) {
  // Several times what is read before it is put in its place.
  constexpr std::size_t responses = 300;
  constexpr std::size_t samples = 700;
  std::string text = "frequency";
  for (std::size_t r = 0; r < responses; ++r) {
    text += ",r" + std::to_string(r) + " re,r" + std::to_string(r) + " im";
  }
  for (std::size_t k = 0; k < samples; ++k) {
    text += "\n" + std::to_string(k);
    for (std::size_t r = 0; r < responses; ++r) {
      text += "," + std::to_string(k) + "," + std::to_string(r);
    }
  }
  const Network network = network_of(text);
  ASSERT_EQ(network.frequencies.size(), samples);
  ASSERT_EQ(network.values.size(), responses * samples);
  for (std::size_t i = 0; i < network.values.size(); ++i) {
    ASSERT_EQ(network.values[i], Complex(static_cast<double>(i % samples), static_cast<double>(i / samples)));
  }
}

TEST(Csv, semicolons_come_before_commas_and_commas_before_tabs) {
  for (const std::string text : {"f;a re;a im\n1;2;3\n", "f,a re,a im\n1,2,3\n", "f\ta re\ta im\n1\t2\t3\n",
                                 "f;a, b re;a, b im\n1;2;3\n", "f,\ta re,\ta im\n1,\t2,\t3\n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(network_of(text).values, (Values{{2, 3}}));
  }
}

TEST(Csv, separators_within_quotes_or_brackets_do_not_separate) {
  EXPECT_EQ(network_of("f,re(S(2,1)),im(S(2,1))\n1,2,3\n").names, Names{"S21"});
  EXPECT_EQ(network_of("f,|V[a;b]|,arg{V[a;b]}\n1,2,0\n").names, Names{"V[a;b]"});
  EXPECT_EQ(network_of("\"f\",\"a;b re\",\"a;b im\"\n1,2,3\n").names, Names{"a;b"});
  EXPECT_EQ(network_of("f;\"say \"\"a\"\" re\";\"say \"\"a\"\" im\"\n1;2;3\n").names, Names{"say \"a\""});
}

TEST(Csv, blanks_byte_order_marks_and_line_ends_of_all_kinds_do_not_matter) {
  const Network plain = network_of("f,a re,a im\n1,2,3\n4,5,6\n");
  for (const std::string text :
       {"\xEF\xBB\xBF f,a re,a im\n1,2,3\n4,5,6\n", "f,a re,a im\r\n1,2,3\r\n4,5,6\r\n",
        "f,a re,a im\n1,2,3\n4,5,6", "f,a re,a im\r\n1,2,3\r\n4,5,6\r",
        "  f ,  a   re ,\ta im \n 1 ,\t2 , 3 \n4,  5,6\t\n", "\n \nf,a re,a im\n\n1,2,3\n  \n4,5,6\n\n"}) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(same_network(network_of(text), plain));
  }
}

TEST(Csv, comments_may_stand_before_the_header_and_nowhere_else) {
  EXPECT_EQ(network_of("# f,re\n! measured\n\n  # again\nf,re,im\n1,2,3\n").values, (Values{{2, 3}}));
  expect_refusal("f,re,im\n# 1\n1,2,3\n", 2, 2, "1 cells", "3");
  expect_refusal("f,re,im\n#1,2,3\n", 2, 1, "\"#1\"", "a real number");
}

TEST(Csv, the_unit_of_the_frequency_stands_in_its_heading) {
  const struct {
    std::string_view heading;
    double hertz;
  } headings[] = {{"frequency", 1},         {"f", 1},           {"FREQ", 1},           {"freq (GHz)", 1e9},
                  {"f_MHz", 1e6},           {"Freq[kHz]", 1e3}, {"frequency {hz}", 1}, {"F_thz", 1e12},
                  {"Frequency / GHz", 1e9}, {"freq. MHz", 1e6}};
  for (const auto& [heading, hertz] : headings) {
    SCOPED_TRACE(heading);
    EXPECT_EQ(network_of(std::string(heading) + ",re,im\n1,2,3\n").frequencies, Numbers{hertz});
  }
  for (const std::string bad :
       {"time", "GHz", "f2", "f (m)", "f (GHz) (MHz)", "frequenc", "freqGHz", "", "1"}) {
    expect_refusal(bad + ",re,im\n1,2,3\n", 1, 1, "\"" + bad + "\"", "\"frequency\"");
  }
}

TEST(Csv, scaled_frequencies_are_rounded_once) {
  ASSERT_NE(1.001 * 1e9, 1.001e9);
  EXPECT_EQ(network_of("f (GHz),re,im\n1.001,2,3\n").frequencies, Numbers{1.001e9});
}

TEST(Csv, a_word_for_the_part_stands_on_either_side_of_the_name) {
  const struct {
    Part part;
    std::vector<std::string_view> cells;
  } parts[] = {
      {Part::real,
       {"S11 re", "S11_real", "S11 (re)", "S11[Real]", "re S11", "RE_S11", "re(S11)", "Re{S11}",
        "re ( S11 )"}},
      {Part::imaginary, {"S11 im", "S11_imag", "imaginary S11", "Im[S11]"}},
      {Part::magnitude, {"|S11|", "| S11 |", "mag(S11)", "S11 mag", "abs S11", "S11_magnitude"}},
      {Part::decibels,
       {"S11 dB", "dB(S11)", "S11 (dB)", "|S11| (dB)", "mag(S11) [dB]", "S11_mag_dB", "dB(S11) dB"}},
      {Part::degrees,
       {"S11 deg", "S11 phase", "arg(S11)", "ang_S11", "angle S11", "phase(S11) (deg)", "S11 phase degrees"}},
      {Part::radians, {"S11 rad", "S11 phase (rad)", "arg(S11) [radians]", "rad(S11)"}},
  };
  for (const auto& [part, cells] : parts) {
    for (const std::string_view cell : cells) {
      SCOPED_TRACE(cell);
      const auto found = part_of_response(cell);
      ASSERT_TRUE(found.has_value());
      EXPECT_EQ(found->part, part);
      EXPECT_EQ(found->name, "S11");
    }
  }
}

TEST(Csv, a_name_keeps_what_is_not_the_word_of_its_part) {
  const struct {
    std::string_view cell;
    std::string_view name;
  } cells[] = {{"S2_1 re", "S2_1"},
               {"re_S2_1", "S2_1"},
               {"S(2,1) re", "S(2,1)"},
               {"re S(2,1)", "S(2,1)"},
               {"mag(V(a)-V(b))", "V(a)-V(b)"},
               {"re (a)(b)", "(a)(b)"},
               {"phase re", "phase"},
               {"re re", "re"},
               {"a re im", "a re"},
               {"|a| re", "|a|"},
               {"mag(|a|)", "|a|"},
               {"dB(re a)", "re a"},
               {"re", ""},
               {"phase (deg)", ""},
               {"a (b) re", "a (b)"},
               {"\xC3\xA4 re", "\xC3\xA4"}};
  for (const auto& [cell, name] : cells) {
    SCOPED_TRACE(cell);
    const auto found = part_of_response(cell);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->name, name);
  }
  for (const std::string_view bad : {"", "S11", "S11re", "reS11", "_re", "re(a)(b)", "re(a", "re()", "||",
                                     "|a", "(re)", "re(a]", "S11 (re", "real-part"}) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(part_of_response(bad).has_value());
  }
}

TEST(Csv, magnitudes_and_decibels_with_phases_become_complex_values) {
  const Network network = network_of("f,a mag,a deg,b dB,b rad,c phase,c abs\n1,2,60,-20,-1.5,180,4\n");
  EXPECT_EQ(network.names, (Names{"a", "b", "c"}));
  const Values expected{{1, std::sqrt(3.0)}, std::polar(0.1, -1.5), {-4, 0}};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    // The angle is off by half a unit in the last place of one of at most 4, pow and the products by another
    // two.
    EXPECT_LE(std::abs(network.values[i] - expected[i]), 4 * eps * std::abs(expected[i])) << i;
  }
}

TEST(Csv, the_parts_of_a_response_may_stand_in_either_order) {
  EXPECT_EQ(network_of("f,a im,a re\n1,2,3\n").values, (Values{{3, 2}}));
  EXPECT_EQ(network_of("f,a deg,a mag\n1,0,3\n").values, (Values{{3, 0}}));
}

TEST(Csv, a_single_response_needs_no_name) {
  EXPECT_EQ(network_of("f,re,im\n1,2,3\n").names, Names{"f"});
  EXPECT_EQ(network_of("f,dB,phase (deg)\n1,2,3\n").names, Names{"f"});
  expect_refusal("f,re,im,a re,a im\n1,2,3,4,5\n", 1, 2, "without a name", "names for all");
}

TEST(Csv, columns_that_make_no_response_are_refused_with_how_they_should_look) {
  const std::string_view expected = "\"S11 re,S11 im\"";
  expect_refusal("f,S11,S21\n1,2,3\n", 1, 2, "\"S11\"", expected);
  expect_refusal("f,a re,b im\n1,2,3\n", 1, 3, "\"b im\" behind \"a re\"", expected);
  expect_refusal("f,a re,a deg\n1,2,3\n", 1, 3, "\"a deg\" behind \"a re\"", expected);
  expect_refusal("f,a mag,a im\n1,2,3\n", 1, 3, "\"a im\" behind \"a mag\"", expected);
  expect_refusal("f,a mag,a dB\n1,2,3\n", 1, 3, "\"a dB\" behind \"a mag\"", expected);
  expect_refusal("f,a re,a re\n1,2,3\n", 1, 3, "\"a re\" behind \"a re\"", expected);
  expect_refusal("f,a re,\n1,2,3\n", 1, 3, "\"\" behind", expected);
  expect_refusal("f,a re,a im,b re\n1,2,3,4\n", 1, 4, "\"b re\" by itself", expected);
  expect_refusal("f\n1\n", 1, 1, "\"f\" alone", "\"frequency,S11 re,S11 im\"");
}

TEST(Csv, quotes_stand_around_a_whole_name) {
  for (const std::string bad : {"\"a\" re", "\"a re", "a\" re", "\"a\"\"", "\"a \"b\" re\"", "\""}) {
    expect_refusal("f," + bad + ",a im\n1,2,3\n", 1, 2, "\"", "double quotes around the whole name");
  }
}

TEST(Csv, names_that_stand_twice_are_refused) {
  expect_refusal("f,b re,b im,a re,a im,b mag,b deg\n1,2,3,4,5,6,7\n", 1, 6, "\"b\" twice", "each");
  expect_refusal("f,S21 re,S21 im,S2_1 re,S2_1 im\n1,2,3,4,5\n", 1, 4, "\"S21\" twice", "each");
}

TEST(Csv, names_are_text_that_can_be_shown) {
  for (const std::string& bad :
       {std::string("\x01"), std::string("a\0b", 3), std::string("\x7F"), std::string("\xFF"),
        std::string("\xC0\x80"), std::string("\xC3"), std::string("\xED\xA0\x80"),
        std::string("\xE0\x80\x80"), std::string("\xF0\x80\x80\x80"), std::string("\xF4\x90\x80\x80"),
        std::string("\x80"), std::string("\xC2\x9B"), std::string("\"a\tb\"").substr(1, 3)}) {
    const std::string cells = "\"" + bad + " re\";\"" + bad + " im\"";
    expect_refusal("f;" + cells + "\n1;2;3\n", 1, 2, "the name", "UTF-8");
  }
  for (const std::string good :
       {"\xC3\xA4", "\xE2\x84\xA6", "\xF0\x9D\x91\x86", "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF", "~"}) {
    EXPECT_EQ(network_of("f," + good + " re," + good + " im\n1,2,3\n").names, Names{good});
  }
}

TEST(Csv, names_of_elements_make_a_matrix) {
  const Network network = network_of(
      "f,S11 re,S11 im,s21 re,s21 im,re(S(1,2)),im(S(1,2)),S2_2 mag,S2_2 deg\n1,2,3,4,5,6,7,8,9\n");
  ASSERT_TRUE(network.matrix.has_value());
  EXPECT_EQ(network.matrix->parameter, 'S');
  EXPECT_EQ(network.matrix->references, (Numbers{50, 50}));
  EXPECT_EQ(network.matrix->elements, (std::vector<polefit::MatrixElement>{{1, 1}, {2, 1}, {1, 2}, {2, 2}}));
  EXPECT_EQ(network.names, (Names{"S11", "S21", "S12", "S22"}));
}

TEST(Csv, a_matrix_need_not_be_whole) {
  const Network network = network_of("f,z21 re,z21 im,Z10_2 re,Z10_2 im\n1,2,3,4,5\n");
  ASSERT_TRUE(network.matrix.has_value());
  EXPECT_EQ(network.matrix->parameter, 'Z');
  EXPECT_EQ(network.matrix->references, Numbers(10, 50.0));
  EXPECT_EQ(network.names, (Names{"Z2_1", "Z10_2"}));
}

TEST(Csv, names_that_are_not_all_elements_of_one_matrix_make_none) {
  for (const std::string other : {"Z21", "a", "S211", "S20000_1", "S01", "f21"}) {
    SCOPED_TRACE(other);
    const Network network = network_of("f,s11 re,s11 im," + other + " re," + other + " im\n1,2,3,4,5\n");
    EXPECT_FALSE(network.matrix.has_value());
    EXPECT_EQ(network.names, (Names{"s11", other}));
  }
}

TEST(Csv, elements_have_two_digits_or_a_mark_between_their_numbers) {
  const struct {
    std::string_view name;
    char parameter;
    polefit::MatrixElement element;
  } elements[] = {{"S21", 'S', {2, 1}},       {"y12", 'Y', {1, 2}},       {"S2_1", 'S', {2, 1}},
                  {"S(2,1)", 'S', {2, 1}},    {"Z[10, 2]", 'Z', {10, 2}}, {"z( 3 ,14)", 'Z', {3, 14}},
                  {"S9999_1", 'S', {9999, 1}}};
  for (const auto& [name, parameter, element] : elements) {
    SCOPED_TRACE(name);
    const auto meant = named_element(name);
    ASSERT_TRUE(meant.has_value());
    EXPECT_EQ(meant->parameter, parameter);
    EXPECT_EQ(meant->element, element);
  }
  for (const std::string_view bad : {"",
                                     "S",
                                     "S1",
                                     "S211",
                                     "S01",
                                     "S10",
                                     "S0_1",
                                     "S02_1",
                                     "S2_",
                                     "S_1",
                                     "S2_1_1",
                                     "S(2,1",
                                     "S(21)",
                                     "S(2,1]",
                                     "S()",
                                     "S(,)",
                                     "S(2_1)",
                                     "S10000_1",
                                     "S18446744073709551617_1",
                                     "A21",
                                     "S2,1",
                                     "S-1_1",
                                     "S21 "}) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(named_element(bad).has_value());
  }
}

TEST(Csv, lines_with_more_or_fewer_cells_than_the_header_are_refused) {
  expect_refusal("f,re,im\n1,2,3\n1,2\n", 3, 3, "2 cells", "3");
  expect_refusal("f,re,im\n\n1,2,3,4\n", 3, 4, "4 cells", "3");
  expect_refusal("f,re,im\n1,2,3,\n", 2, 4, "4 cells", "3");
  expect_refusal("f;re;im\n1,2,3\n", 2, 2, "1 cells", "3");
}

TEST(Csv, cells_that_are_no_finite_numbers_are_refused) {
  expect_refusal("f,re,im\n1,,3\n", 2, 2, "an empty cell", "a real number");
  expect_refusal("f\tre\tim\n1\t2\t\n", 2, 3, "an empty cell", "a real number");
  expect_refusal("f\tre\tim\n\t\t\n", 2, 1, "an empty cell", "a real number");
  expect_refusal("f;re;im\n1;2,5;3\n", 2, 2, "\"2,5\"", "a real number");
  expect_refusal("f,re,im\n1,2,\"3\"\n", 2, 3, "3", "a real number");
  expect_refusal("f,re,im\n1,2 2,3\n", 2, 2, "\"2 2\"", "a real number");
  expect_refusal("f,re,im\n1,2,3\n" + std::string("1,2,3\0\n", 7), 3, 3, "\"3\\x00\"", "a real number");
  expect_refusal("f,re,im\n1,nan,3\n", 2, 2, "\"nan\"", "a finite number");
  expect_refusal("f,re,im\n1,2,-inf\n", 2, 3, "\"-inf\"", "a finite number");
  expect_refusal("f,re,im\n1,2,1e999\n", 2, 3, "\"1e999\"", "a finite number");
  expect_refusal("f (GHz),re,im\n1e308,2,3\n", 2, 1, "\"1e308\"", "a finite number");
}

TEST(Csv, a_second_header_is_refused) {
  expect_refusal("f,re,im\n1,2,3\nf,re,im\n1,2,3\n", 3, 1, "\"f\"", "a real number");
}

TEST(Csv, negative_frequencies_and_magnitudes_are_refused) {
  expect_refusal("f,re,im\n0,2,3\n-1,2,3\n", 3, 1, "below 0", "at least 0");
  expect_refusal("f,mag,deg\n1,-2,3\n", 2, 2, "below 0", "at least 0");
  expect_refusal("f,deg,mag\n1,-2,-3\n", 2, 3, "below 0", "at least 0");
  expect_refusal("f,dB,deg\n1,7000,3\n", 2, 2, "beyond the range", "finite");
}

TEST(Csv, a_table_without_header_or_samples_is_refused) {
  expect_refusal("", 0, 0, "no header", "\"frequency,S11 re,S11 im\"");
  expect_refusal("\xEF\xBB\xBF# only\n\n", 0, 0, "no header", "\"frequency,S11 re,S11 im\"");
  expect_refusal("\n1,2,3\n", 2, 1, "\"1\"", "a header line whose first column is \"frequency\"");
  expect_refusal("#\nf,re,im\n\n", 2, 0, "no line", "one line for each sample");
}

TEST(Csv, a_header_of_many_columns_and_many_short_lines_take_no_more_memory_than_the_file) {
  std::string text = "f";
  for (int i = 0; i < 20000; ++i) {
    text += ",a" + std::to_string(i) + " re,a" + std::to_string(i) + " im";
  }
  for (int i = 0; i < 100000; ++i) {  // twenty thousand responses of as many samples would be 32 gigabytes
    text += "\n1";
  }
  expect_refusal(text, 2, 2, "1 cells", "40001");
}

TEST(Csv, a_network_is_written_with_the_fewest_digits_that_tell_its_numbers) {
  const Network network{.file = "",
                        .matrix = {},
                        .frequencies = {0, 1.5e9},
                        .names = {"S11", "V(a,b)", "a \"b\""},
                        .values = {0.1, {-0.0, 1e-320}, 3, {4, 5}, 6, 7}};
  EXPECT_EQ(csv_of(network),
            "frequency,S11 re,S11 im,\"V(a,b) re\",\"V(a,b) im\",\"a \"\"b\"\" re\",\"a \"\"b\"\" im\"\n"
            "0,0.1,0,3,0,6,0\n"
            "1.5e+09,-0,1e-320,4,5,7,0\n");
}

TEST(Csv, what_was_written_is_read_back_to_the_bit) {
  RandomNumbers numbers(6);
  for (int trial = 0; trial < 20; ++trial) {
    Network network;
    network.names = {"S(x)", "re", "a;b", "a, b", "\"", "phase (deg)", "a_", "[", "\xCE\xA9"};
    for (int k = 0; k < 50; ++k) {
      network.frequencies.push_back(std::ldexp(std::abs(numbers()), numbers.below(60)));
    }
    for (int i = 0; i < 9 * 50; ++i) {
      network.values.emplace_back(std::ldexp(numbers(), numbers.below(2100) - 1075),
                                  std::ldexp(numbers(), -numbers.below(60)));
    }
    EXPECT_TRUE(same_network(network_of(csv_of(network)), network));
  }
  using Limits = std::numeric_limits<double>;
  const Network extremes{.file = "table.csv",
                         .matrix = {},
                         .frequencies = {Limits::max(), 0},
                         .names = {"f"},
                         .values = {{Limits::denorm_min(), -Limits::max()}, {-0.0, -Limits::min()}}};
  EXPECT_TRUE(same_network(network_of(csv_of(extremes)), extremes));
}

TEST(Csv, a_matrix_is_read_back_as_a_matrix) {
  const Network network = network_of("f (GHz),s11 re,s11 im,S(12,1) dB,S(12,1) deg\n1,2,3,4,5\n");
  EXPECT_TRUE(same_network(network_of(csv_of(network)), network));
}

TEST(Csv, what_a_terminal_would_obey_in_a_name_is_replaced_and_the_table_read_back) {
  Network network = network_of("frequency,a re,a im,b re,b im\n1,2,3,4,5\n");
  // Not one literal, which would turn this line where it is shown.
  const std::string turning = std::string("\xE2\x80") + '\xAE';
  network.names = {"a\033[31m\n", turning + "b\xFC"};
  const std::string text = csv_of(network);
  EXPECT_EQ(network_of(text).names, (Names{"a?[31m?", "???b?"}));
  network.names = {"a\033", "a\007"};
  EXPECT_EQ(io_error_of([&] { csv_of(network); }).found, "the response \"a?\" twice");
}

TEST(Csv, a_name_of_a_thousand_bytes_is_the_longest) {
  const std::string longest(longest_name, 'a');
  EXPECT_EQ(network_of("f," + longest + " re," + longest + " im\n1,2,3\n").names, Names{longest});
  expect_refusal("f," + longest + "b re," + longest + "b im\n1,2,3\n", 1, 2, "a name of 1001 bytes", "1000");
}

TEST(Csv, what_would_not_be_read_back_is_not_written) {
  Network network = network_of("frequency,a re,a im,b re,b im\n1,2,3,4,5\n");
  const auto found = [](Network other, const auto& spoil) {
    spoil(other);
    return io_error_of([&] { csv_of(other); }).found;
  };
  for (const std::string& name : {std::string(), std::string("  "), std::string(longest_name + 1, 'a')}) {
    EXPECT_EQ(found(network, [&](Network& n) { n.names[1] = name; }),
              "the name " + text::excerpt(name) + " of a response");
  }
  EXPECT_EQ(found(network, [](Network& n) { n.names[1] = "a "; }), "the response \"a\" twice");
  for (const double frequency : {-1.0, infinity, quiet_nan}) {
    EXPECT_EQ(found(network, [&](Network& n) { n.frequencies[0] = frequency; }),
              "a frequency that is below 0 or not finite");
  }
  EXPECT_EQ(found(network, [](Network& n) { n.values[1] = {0, quiet_nan}; }), "a value that is not finite");
  EXPECT_EQ(found(network, [](Network& n) { n.frequencies.clear(); }), "no frequencies");
  EXPECT_EQ(found(network, [](Network& n) { n.names.clear(); }), "no responses");
}

}  // namespace
