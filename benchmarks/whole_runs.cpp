/// Whole runs as processes: CPU time, memory, and the ratio to the plain version of the same algorithm.
///
/// Usage: whole_runs DIRECTORY [WHAT ...]; WHAT is yardstick, grid or large, and the first two without one.
/// Works in DIRECTORY and leaves grid.tsv there.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "sample_data.hpp"

namespace {

using namespace s_solver;
namespace fs = std::filesystem;

struct Cost {
  double cpu_seconds = 0.0;
  double wall_seconds = 0.0;
  double mebibytes = 0.0;
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// Runs a program in `directory`/run, its output beside; stops everything when it fails.
Cost run(const fs::path& directory, const std::string& program) {
  const fs::path path = fs::path(PROGRAM_FOLDER) / program;
  timespec before{};
  timespec after{};
  clock_gettime(CLOCK_MONOTONIC, &before);
  const pid_t child = fork();
  if (child == 0) {
    const int output = open((directory / (program + ".txt")).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (chdir((directory / "run").c_str()) == 0 && dup2(output, STDOUT_FILENO) >= 0) {
      execl(path.c_str(), path.c_str(), nullptr);
    }
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  clock_gettime(CLOCK_MONOTONIC, &after);
  if (status != 0) {
    std::fprintf(stderr, "%s failed\n", program.c_str());
    std::exit(1);
  }
  return {.cpu_seconds = seconds(usage.ru_utime) + seconds(usage.ru_stime),
          .wall_seconds = static_cast<double>(after.tv_sec - before.tv_sec) +
                          1e-9 * static_cast<double>(after.tv_nsec - before.tv_nsec),
          .mebibytes = static_cast<double>(usage.ru_maxrss) / 1024.0};
}

void write_input(const fs::path& directory, int nf, int order, int iterations) {
  const benchmarks::SampleData data = benchmarks::sample_data(nf, order);
  std::FILE* const file = std::fopen((directory / "tmp_S_Par" / "f_data.in").c_str(), "w");
  for (std::size_t k = 0; k < data.s.size(); ++k) {
    std::fprintf(file, "%.17g %.17g %.17g\n", data.s[k].imag() / numerics::two_pi, data.f[k].real(),
                 data.f[k].imag());
  }
  std::fclose(file);
  std::ofstream(directory / "tmp_S_Par" / "f_data.ini") << order << '\n' << iterations << '\n';
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// The error that the last iteration reported.
double last_error(const fs::path& directory, const std::string& program) {
  std::ifstream output(directory / (program + ".txt"));
  double error = 0.0;
  for (std::string word; output >> word;) {
    if (word == "error=") {
      output >> error;
    }
  }
  return error;
}

void compare_with_yardstick(const fs::path& directory) {
  constexpr int repetitions = 5;
  write_input(directory, 100000, 20, 10);
  std::vector<double> ratios;
  std::vector<double> plain_seconds;
  std::vector<double> our_seconds;
  double mebibytes = 0.0;
  double plain_mebibytes = 0.0;
  for (int i = 0; i < repetitions; ++i) {
    const Cost plain = run(directory, "plain_solver");
    const Cost ours = run(directory, "S_Solver");
    plain_seconds.push_back(plain.cpu_seconds);
    our_seconds.push_back(ours.cpu_seconds);
    ratios.push_back(plain.cpu_seconds / ours.cpu_seconds);
    plain_mebibytes = std::max(plain_mebibytes, plain.mebibytes);
    mebibytes = std::max(mebibytes, ours.mebibytes);
  }
  std::printf("Whole run, 100,000 samples, 20 poles, 10 iterations, %d pairs of runs\n", repetitions);
  std::printf("  written plainly  %6.2f s CPU (median)  %6.0f MiB  error %.12g\n", median(plain_seconds),
              plain_mebibytes, last_error(directory, "plain_solver"));
  std::printf("  S_Solver         %6.2f s CPU (median)  %6.0f MiB  error %.12g\n", median(our_seconds),
              mebibytes, last_error(directory, "S_Solver"));
  std::printf("  ratio of the pairs: median %.1f, least %.1f\n\n", median(ratios),
              *std::min_element(ratios.begin(), ratios.end()));
}

void measure_grid(const fs::path& directory) {
  std::ofstream table(directory / "grid.tsv");
  std::printf("Whole run of one iteration: CPU seconds (MiB at most)\n%12s", "samples");
  const std::vector<int> orders{4, 20, 60, 100};
  for (const int order : orders) {
    std::printf("%10d poles", order);
  }
  std::printf("\n");
  for (const int nf : {1000, 10000, 100000, 1000000}) {
    std::printf("%12d", nf);
    table << nf;
    for (const int order : orders) {
      write_input(directory, nf, order, 1);
      Cost best = run(directory, "S_Solver");
      for (int i = 0; i < (nf < 100000 ? 4 : 1); ++i) {
        const Cost again = run(directory, "S_Solver");
        best = again.cpu_seconds < best.cpu_seconds ? again : best;
      }
      std::printf("  %7.3f (%4.0f)", best.cpu_seconds, best.mebibytes);
      table << '\t' << best.cpu_seconds;
    }
    std::printf("\n");
    table << '\n';
  }
  std::printf("\n");
}

void measure_large(const fs::path& directory) {
  write_input(directory, 10000000, 2, 1);
  const Cost cost = run(directory, "S_Solver");
  const double megabytes = 1e-6 * static_cast<double>(fs::file_size(directory / "tmp_S_Par" / "f_data.in"));
  std::printf("10,000,000 samples (a file of %.0f MB), 2 poles, 1 iteration: %.1f s CPU, %.1f s, %.0f MiB\n",
              megabytes, cost.cpu_seconds, cost.wall_seconds, cost.mebibytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: whole_runs DIRECTORY [yardstick] [grid] [large]\n");
    return 2;
  }
  const fs::path directory = fs::absolute(argv[1]);
  fs::create_directories(directory / "run");
  fs::create_directories(directory / "tmp_S_Par");
  std::vector<std::string> chosen(argv + 2, argv + argc);
  if (chosen.empty()) {
    chosen = {"yardstick", "grid"};
  }
  for (const std::string& what : chosen) {
    if (what == "yardstick") {
      compare_with_yardstick(directory);
    } else if (what == "grid") {
      measure_grid(directory);
    } else if (what == "large") {
      measure_large(directory);
    } else {
      std::fprintf(stderr, "whole_runs: nothing to measure is called %s\n", what.c_str());
      return 2;
    }
  }
}
