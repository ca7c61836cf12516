/// Responses over time: steps a second, and beside a circuit simulator with the exported circuit and the same
/// step. Usage: responses FOLDER, for its files. Times are CPU times, the least of several runs but of the
/// simulator.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/exports.hpp"
#include "polefit/time_response.hpp"

namespace {

using Complex = std::complex<double>;

constexpr double band = 1e10;  // hertz

/// So many poles over the band, small enough to be of a passive network.
polefit::Model network(std::size_t ports, std::size_t poles) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  const double distance = numerics::two_pi * band / static_cast<double>(poles / 2);
  polefit::Model model;
  for (std::size_t i = 0; i < poles / 2; ++i) {
    const double real = -0.2 * distance * (1.0 + 0.5 * uniform(generator));
    const Complex pole(real, distance * (static_cast<double>(i) + 0.5));
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  for (std::size_t r = 0; r < ports * ports; ++r) {
    for (std::size_t i = 0; i < poles / 2; ++i) {
      const double re = uniform(generator);
      const Complex residue = distance * 0.03 / static_cast<double>(ports) * Complex(re, uniform(generator));
      model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
    }
    model.constants.push_back(0.1 * uniform(generator));
    model.proportionals.push_back(0.0);
  }
  model.network = polefit::NetworkMatrix{'S', std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  return model;
}

template <class Work>
double least_seconds(const Work& work) {
  double least = std::numeric_limits<double>::infinity();
  for (int run = 0; run < 5; ++run) {
    const std::clock_t before = std::clock();
    work();
    least = std::min(least, static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC);
  }
  return least;
}

void measure_steps(std::size_t ports, std::size_t poles) {
  constexpr std::size_t steps = 200'000;
  const polefit::Model model = network(ports, poles);
  const std::vector<double> times = polefit::even_times(0.05 / band, steps + 1);
  const polefit::Waveform ramp{{0.0, 1.0 / band}, {0.0, 1.0}};
  const std::vector<polefit::Waveform> all(ports, ramp);
  std::vector<polefit::Waveform> one(ports);
  one.front() = ramp;
  std::vector<polefit::Termination> matched(ports, {50.0, {}});
  matched.front().source = ramp;
  std::vector<polefit::Termination> others(ports, {20.0, {}});
  others.front().source = ramp;
  const auto rate = [&](const auto& work) { return static_cast<double>(steps) / least_seconds(work) / 1e6; };
  const double driven_one = rate([&] { static_cast<void>(polefit::time_response(model, one, times)); });
  const double driven_all = rate([&] { static_cast<void>(polefit::time_response(model, all, times)); });
  const double open = rate([&] { static_cast<void>(polefit::terminated_response(model, matched, times)); });
  const double closed = rate([&] { static_cast<void>(polefit::terminated_response(model, others, times)); });
  std::printf("| %zu x %zu | %.2f | %.2f | %.2f | %.2f |\n", ports, poles, driven_one, driven_all, open,
              closed);
}

/// CPU seconds of the simulator for that circuit.
double simulated_seconds(const std::string& folder, const std::string& file) {
  rusage before{};
  getrusage(RUSAGE_CHILDREN, &before);
  const pid_t child = fork();
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0 && dup2(nowhere, STDERR_FILENO) >= 0 &&
        chdir(folder.c_str()) == 0) {
      execlp("ngspice", "ngspice", "-n", "-b", file.c_str(), static_cast<char*>(nullptr));
    }
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  rusage after{};
  getrusage(RUSAGE_CHILDREN, &after);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::printf("ngspice ended with status %d\n", status);
  }
  return seconds(after.ru_utime) + seconds(after.ru_stime) - seconds(before.ru_utime) -
         seconds(before.ru_stime);
}

void compare_with_simulator(const std::string& folder) {
  constexpr std::size_t steps = 20'000;
  const double step = 0.05 / band;
  const polefit::Model model = network(2, 40);
  const auto circuit_of = [&](std::size_t count) {
    std::string circuit = "* responses\n" + polefit::spice_subcircuit(model, "dut");
    circuit += "Va a 0 pwl(0 0 " + std::to_string(1e12 / band) + "p 1)\nRa a p 20\nRb q 0 20\nX1 p q 0 dut\n";
    std::vector<char> line(200);
    std::snprintf(
        line.data(), line.size(),
        ".control\nsave v(p) v(q)\ntran %.6e %.6e 0 %.6e\nwrdata responses.data v(q)\nquit\n.endc\n.end\n",
        step, step * static_cast<double>(count), step);
    return circuit + line.data();
  };
  std::ofstream(folder + "/few.cir") << circuit_of(steps / 10);
  std::ofstream(folder + "/many.cir") << circuit_of(steps);
  // The difference of two runs leaves out how the simulator starts.
  const double simulated = simulated_seconds(folder, "many.cir") - simulated_seconds(folder, "few.cir");
  const std::size_t more = steps - steps / 10;
  const std::vector<double> times = polefit::even_times(step, 10 * steps + 1);
  const std::vector<polefit::Termination> ends{{20.0, {{0.0, 1.0 / band}, {0.0, 1.0}}}, {20.0, {}}};
  const double ours =
      least_seconds([&] { static_cast<void>(polefit::terminated_response(model, ends, times)); }) /
      static_cast<double>(10 * steps);
  const double theirs = simulated / static_cast<double>(more);
  std::printf("\nTwo ports, 40 poles, 20 ohms at both, steps of a twentieth of the shortest period:\n");
  std::printf("ngspice %.2f us a step, terminated_response %.3f us: %.0f times as fast\n", 1e6 * theirs,
              1e6 * ours, theirs / ours);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::printf("Millions of steps a second, on one core:\n\n");
    std::printf(
        "| ports x poles | one port driven | all driven | references at the ports | 20 ohms at the ports "
        "|\n");
    std::printf("| --- | --- | --- | --- | --- |\n");
    measure_steps(1, 20);
    measure_steps(2, 40);
    measure_steps(4, 60);
    measure_steps(8, 60);
    compare_with_simulator(argc > 1 ? argv[1] : ".");
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "responses: %s\n", error.what()));
    return 1;
  }
}
