/// The command polefit on a 20-port of 501 points: Touchstone read, and from file to model file.
/// Usage: command_runs FOLDER, for its files. Figures are the least of several runs, on one core.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/network.hpp"

namespace {

using Complex = std::complex<double>;

constexpr std::size_t ports = 20;
constexpr std::size_t samples = 501;
constexpr std::size_t pairs = 20;

/// Samples of 40 poles over the band, with noise of 1e-5.
polefit::Network twenty_port() {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  const double distance = numerics::two_pi * 1e10 / static_cast<double>(pairs);
  polefit::Model model;
  for (std::size_t i = 0; i < pairs; ++i) {
    const Complex pole(-0.1 * distance * (1.0 + 0.5 * uniform(generator)),
                       distance * (static_cast<double>(i) + 0.5 + 0.3 * uniform(generator)));
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  polefit::Network network;
  network.file = "twenty_port.s20p";
  network.matrix =
      polefit::NetworkMatrix{'S', std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  for (const polefit::MatrixElement& element : network.matrix->elements) {
    network.names.push_back(polefit::element_name('S', element, ports));
    for (std::size_t i = 0; i < pairs; ++i) {
      const double re = uniform(generator);
      const Complex residue = distance * 0.01 * Complex(re, uniform(generator));
      model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
    }
    model.constants.push_back(0.1 * uniform(generator));
    model.proportionals.push_back(0.0);
  }
  for (std::size_t k = 0; k < samples; ++k) {
    network.frequencies.push_back(1e10 * static_cast<double>(k + 1) / static_cast<double>(samples));
  }
  network.values = polefit::evaluate(model, network.frequencies);
  for (Complex& value : network.values) {
    const double re = uniform(generator);
    value += 1e-5 * Complex(re, uniform(generator));
  }
  return network;
}

double least_seconds(const std::function<void()>& work) {
  double least = std::numeric_limits<double>::infinity();
  for (int run = 0; run < 7; ++run) {
    const auto before = std::chrono::steady_clock::now();
    work();
    least = std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count());
  }
  return least;
}

void run_fit(const std::string& file, const std::string& model) {
  const pid_t child = fork();
  if (child == 0) {
    execl(POLEFIT_PROGRAM, POLEFIT_PROGRAM, "fit", file.c_str(), "--poles", "40", "--threads", "1", "-q",
          "-o", model.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::printf("the fit ended with status %d\n", status);
  }
}

void measure(const std::string& folder) {
  const std::string file = folder + "/twenty_port.s20p";
  polefit::write_touchstone(twenty_port(), file);
  const double megabytes = static_cast<double>(std::filesystem::file_size(file)) / 1e6;
  const double reading = least_seconds([&] { static_cast<void>(polefit::read_network(file)); });
  std::printf("Touchstone, %zu ports, %zu points, %.1f MB: read in %.1f ms, %.0f MB/s\n", ports, samples,
              megabytes, 1e3 * reading, megabytes / reading);
  const double whole = least_seconds([&] { run_fit(file, folder + "/twenty_port.json"); });
  std::printf("polefit fit with 40 poles, file to model file: %.0f ms, %.1f times the reading\n", 1e3 * whole,
              whole / reading);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    measure(argc > 1 ? argv[1] : ".");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "command_runs: %s\n", error.what());
    return 1;
  }
}
