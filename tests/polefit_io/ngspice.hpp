/// Runs ngspice on a circuit, in the current directory.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "run_program.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace testing_support {

/// The rows of the table that ngspice writes for `analysis`, such as "ac dec 5 1k 1g": the scale (frequency,
/// time), then the vectors, those of an AC analysis as real and imaginary part. Fails when ngspice is not
/// there, complains, or writes another number of columns.
inline std::vector<std::vector<double>> run_ngspice(const std::string& circuit, const std::string& analysis,
                                                    const std::vector<std::string>& vectors) {
  std::ofstream file("test.cir");
  file << "* test\n" << circuit << ".control\n";
  // So many digits that writing costs none of what was computed.
  file << "set numdgt=15\nset wr_singlescale\n" << analysis << "\nwrdata table.data";
  for (const std::string& vector : vectors) {
    file << ' ' << vector;
  }
  file << "\nquit\n.endc\n.end\n";
  file.close();

  const auto here = std::filesystem::current_path();
  // Without the user's own start-up file. A circuit that runs away makes ngspice take ever smaller steps and
  // keep them all; a sound one needs a few seconds and less than 200 MB.
  const int status = run_program("/usr/bin/env", {"ngspice", "-n", "-b", "test.cir"}, here, [] {
    const rlimit seconds = {30, 30};
    const rlimit bytes = {rlim_t{1} << 30, rlim_t{1} << 30};
    setrlimit(RLIMIT_CPU, &seconds);
    setrlimit(RLIMIT_DATA, &bytes);
  });
  EXPECT_EQ(status, 0) << "ngspice is missing, failed, or ran out of its limits";
  const std::string complaints = content_of("stderr");
  EXPECT_EQ(complaints.find("rror"), std::string::npos) << complaints;
  EXPECT_EQ(complaints.find("singular"), std::string::npos) << complaints;
  if (status != 0 || !std::filesystem::exists("table.data")) {
    ADD_FAILURE() << "no table\n" << complaints << content_of("stdout");
    return {};
  }

  const std::size_t columns = 1 + vectors.size() * (analysis.starts_with("ac") ? 2 : 1);
  std::vector<std::vector<double>> rows;
  std::ifstream table("table.data");
  for (std::string line; std::getline(table, line);) {
    std::vector<double>& row = rows.emplace_back();
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      double value = 0.0;
      EXPECT_TRUE(text::parse_real(word, value)) << word;
      row.push_back(value);
    }
    EXPECT_EQ(row.size(), columns);
  }
  EXPECT_FALSE(rows.empty());
  return rows;
}

}  // namespace testing_support
