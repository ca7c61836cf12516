/// Runs gnucap on a circuit, in the current directory.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "run_program.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace testing_support {

/// A number as gnucap prints it: with the letters of SPICE for powers of a thousand.
inline double gnucap_number(const std::string& word) {
  const std::map<std::string, double> units{{"", 1.0},    {"T", 1e12},  {"G", 1e9},  {"Meg", 1e6},
                                            {"K", 1e3},   {"m", 1e-3},  {"u", 1e-6}, {"n", 1e-9},
                                            {"p", 1e-12}, {"f", 1e-15}, {"a", 1e-18}};
  const std::size_t end = std::min(word.find_first_of("TGMKmunpfa"), word.size());
  std::string digits = word.substr(0, end);
  if (digits.ends_with('.')) {
    digits += '0';
  }
  double value = 0.0;
  const auto unit = units.find(word.substr(end));
  EXPECT_TRUE(unit != units.end() && text::parse_real(digits, value)) << word;
  return unit == units.end() ? 0.0 : value * unit->second;
}

/// The rows of a table: temperature, frequency or time, then what is printed. `analysis` is "op", "ac ..." or
/// "tran ...", with gnucap's arguments. Fails when gnucap is not there, complains, or prints no table.
inline std::vector<std::vector<double>> run_gnucap(const std::string& circuit, const std::string& analysis,
                                                   const std::vector<std::string>& vectors) {
  std::ofstream file("test.ckt");
  file << "* test\n" << circuit << ".options numdgt=14 outwidth=20000\n";
  file << ".print " << analysis.substr(0, analysis.find(' '));
  for (const std::string& vector : vectors) {
    file << "\n+ " << vector;
  }
  file << "\n." << analysis << "\n.end\n";
  file.close();
  const int status =
      run_program("/usr/bin/env", {"gnucap", "-b", "test.ckt"}, std::filesystem::current_path(), [] {
        const rlimit seconds = {30, 30};
        setrlimit(RLIMIT_CPU, &seconds);
      });
  EXPECT_EQ(status, 0) << "gnucap is missing or failed";
  std::vector<std::vector<double>> rows;
  bool in_table = false;
  for (const std::string& line : lines_of(content_of("stdout"))) {
    if (line.starts_with("#")) {
      in_table = true;
      continue;
    }
    if (!in_table) {
      continue;
    }
    std::vector<double>& row = rows.emplace_back();
    for (const std::string& word : words_of(line)) {
      row.push_back(gnucap_number(word));
    }
    EXPECT_EQ(row.size(), 1 + vectors.size()) << line;
  }
  EXPECT_FALSE(rows.empty()) << content_of("stdout") << content_of("stderr");
  return rows;
}

}  // namespace testing_support
