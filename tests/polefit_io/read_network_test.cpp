#include "polefit_io/network/read_network.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <utility>
#include <vector>

#include "io_error_of.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_io;
using polefit::Network;
using polefit::NetworkFormat;
using testing_support::io_error_of;
using Names = std::vector<std::string>;

// Each is a network of one response in its own format and in none of the others.
const std::string touchstone = "# Hz S RI R 50\n1 2 3\n";
const std::string table = "frequency,a re,a im\n1,2,3\n";
const std::string samples = "1 2 3\n";

/// The name of the only response, which tells the format.
std::string name_of(const std::string& text, const std::string& file,
                    NetworkFormat format = NetworkFormat::by_name) {
  const Network network = network_of(text, file, format);
  EXPECT_EQ(network.file, file);
  EXPECT_EQ(network.frequencies, std::vector<double>{1});
  EXPECT_EQ(network.values, (std::vector<std::complex<double>>{{2, 3}}));
  return network.names.size() == 1 ? network.names.front() : "not one response";
}

TEST(ReadNetwork, the_extension_chooses_the_format_in_either_case) {
  for (const std::string file : {"a.s1p", "some.where/A.S1P"}) {
    EXPECT_EQ(name_of(touchstone, file), "S11") << file;
  }
  for (const std::string file : {"a.csv", "a.s1p.csv", "A.CSV", "a.tsv", "a.Tsv"}) {
    EXPECT_EQ(name_of(table, file), "a") << file;
  }
}

TEST(ReadNetwork, the_extension_comes_before_the_content) {
  for (const std::string file : {"a.csv", "a.tsv"}) {
    EXPECT_NE(io_error_of([&] { network_of(samples, file); }).expected.find("\"frequency\""),
              std::string::npos);
  }
  for (const std::string file : {"a.s1p", "a.ts"}) {
    EXPECT_THROW(network_of(table, file), text::IoError) << file;
  }
}

TEST(ReadNetwork, content_chooses_the_format_under_any_other_name) {
  for (const std::string file : {"f_data.in", "-", "data", "a.txt", "a.csv/b", ""}) {
    SCOPED_TRACE(file);
    EXPECT_EQ(name_of(touchstone, file), "S11");
    EXPECT_EQ(name_of("! a filter\r\n\r\n" + touchstone, file), "S11");
    EXPECT_EQ(name_of(table, file), "a");
    EXPECT_EQ(name_of("\xEF\xBB\xBF# a filter\n! and more\n\n\"frequency\";\"a re\";\"a im\"\n1;2;3\n", file),
              "a");
    EXPECT_EQ(name_of(samples, file), "f");
    EXPECT_EQ(name_of("\n1*1,2 3\n", file), "f");
  }
}

TEST(ReadNetwork, a_keyword_in_square_brackets_begins_a_touchstone_file) {
  const std::string version_2 =
      "! a filter\n[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 1\n[Number of Frequencies] 1\n[Network "
      "Data]\n1 2 3\n[End]\n";
  EXPECT_EQ(name_of(version_2, "-"), "S11");
  EXPECT_EQ(name_of(version_2, "a.ts"), "S11");
}

TEST(ReadNetwork, a_format_that_is_given_is_not_guessed) {
  EXPECT_EQ(name_of(touchstone, "a.csv", NetworkFormat::touchstone), "S11");
  EXPECT_EQ(name_of(table, "a.s1p", NetworkFormat::csv), "a");
  EXPECT_EQ(name_of(samples, "a.csv", NetworkFormat::samples), "f");
  EXPECT_THROW(network_of(table, "a.csv", NetworkFormat::samples), text::IoError);
}

TEST(ReadNetwork, what_is_in_no_format_is_refused) {
  for (const std::string& text :
       {std::string(), std::string("\n\n"), std::string("# only\n"), std::string("\0\0", 2),
        std::string("%PDF-1.5\n"), std::string("{\"format\": 1}\n"), std::string("name\n")}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(io_error_of([&] { network_of(text, "data"); }).file, "data");
  }
}

TEST(ReadNetwork, a_text_without_numbers_is_refused_in_the_format_that_it_begins_in) {
  const auto refusal = [](const std::string& text, NetworkFormat format) {
    return std::string(io_error_of([&] { network_of(text, "data", format); }).found);
  };
  for (const auto& [text, format] : std::vector<std::pair<std::string, NetworkFormat>>{
           {"! a filter\n# Hz S RI R 50\n", NetworkFormat::touchstone},
           {"\n", NetworkFormat::samples},
           {"f,re,im\n", NetworkFormat::csv}}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(refusal(text, NetworkFormat::by_name), refusal(text, format));
  }
}

}  // namespace
