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

/// How a run of ngspice ended, and the rows of the table that it wrote, if it did.
struct NgspiceRun {
  int status = 0;  ///< of its process
  std::string complaints;
  std::vector<std::vector<double>> rows;  ///< the scale (frequency, time), then the vectors
};

/// Runs ngspice for `analysis`, such as "ac dec 5 1k 1g"; the vectors of an AC analysis are written as real
/// and imaginary part.
inline NgspiceRun ngspice(const std::string& circuit, const std::string& analysis,
                          const std::vector<std::string>& vectors) {
  std::filesystem::remove("table.data");
  std::ofstream file("test.cir");
  file << "* test\n" << circuit << ".control\n";
  // So many digits that writing costs none of what was computed.
  file << "set numdgt=15\nset wr_singlescale\n" << analysis << "\nwrdata table.data";
  for (const std::string& vector : vectors) {
    file << ' ' << vector;
  }
  file << "\nquit\n.endc\n.end\n";
  file.close();

  // Without the user's own start-up file. A circuit that runs away makes ngspice take ever smaller steps and
  // keep them all; a sound one needs a few seconds and less than 200 MB.
  NgspiceRun run;
  run.status =
      run_program("/usr/bin/env", {"ngspice", "-n", "-b", "test.cir"}, std::filesystem::current_path(), [] {
        const rlimit seconds = {30, 30};
        const rlimit bytes = {rlim_t{1} << 30, rlim_t{1} << 30};
        setrlimit(RLIMIT_CPU, &seconds);
        setrlimit(RLIMIT_DATA, &bytes);
      });
  run.complaints = content_of("stderr");
  std::ifstream table("table.data");
  for (std::string line; std::getline(table, line);) {
    std::vector<double>& row = run.rows.emplace_back();
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      double value = 0.0;
      EXPECT_TRUE(text::parse_real(word, value)) << word;
      row.push_back(value);
    }
  }
  return run;
}

/// The rows of a run that has to go well. Fails when ngspice is not there, complains, or writes another
/// number of columns.
inline std::vector<std::vector<double>> run_ngspice(const std::string& circuit, const std::string& analysis,
                                                    const std::vector<std::string>& vectors) {
  const NgspiceRun run = ngspice(circuit, analysis, vectors);
  EXPECT_EQ(run.status, 0) << "ngspice is missing, failed, or ran out of its limits";
  EXPECT_EQ(run.complaints.find("rror"), std::string::npos) << run.complaints;
  EXPECT_EQ(run.complaints.find("singular"), std::string::npos) << run.complaints;
  EXPECT_FALSE(run.rows.empty()) << "no table\n" << run.complaints << content_of("stdout");
  const std::size_t columns = 1 + vectors.size() * (analysis.starts_with("ac") ? 2 : 1);
  for (const std::vector<double>& row : run.rows) {
    EXPECT_EQ(row.size(), columns);
  }
  return run.rows;
}

}  // namespace testing_support
