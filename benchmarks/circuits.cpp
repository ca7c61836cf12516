/// Exported circuits in ngspice beside the plain form, in which every port has states of every pole,
/// resistors are what loses, and nothing is shared: CPU times of AC analyses of 500 points and transients of
/// 10,000 steps. Usage: circuits FOLDER, for its files. Figures are the least of several runs, in turn;
/// ngspice is in the PATH.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/exports.hpp"
#include "polefit/model.hpp"

namespace {

using Complex = std::complex<double>;

constexpr std::size_t pairs = 10;
constexpr double resistance = 50.0;
constexpr double highest = 1e9;

/// S of a reciprocal network, of 10 pairs over the band, whose residues have rank one or any.
polefit::Model model_of(std::size_t ports, bool rank_one) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  polefit::Model model;
  for (std::size_t k = 0; k < pairs; ++k) {
    const double omega = numerics::two_pi * highest * static_cast<double>(k + 1) / pairs;
    const Complex pole(-0.02 * omega, omega);
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  const std::size_t order = 2 * pairs;
  model.residues.resize(ports * ports * order);
  for (std::size_t k = 0; k < order; k += 2) {
    std::vector<Complex> column(ports);
    for (Complex& element : column) {
      const double re = uniform(generator);
      element = {re, uniform(generator)};
    }
    for (std::size_t i = 0; i < ports; ++i) {
      for (std::size_t j = 0; j <= i; ++j) {
        const double re = uniform(generator);
        const Complex any(re, uniform(generator));
        const Complex residue = 0.1 / static_cast<double>(ports) * std::abs(model.poles[k].real()) *
                                (rank_one ? column[i] * column[j] : any);
        for (const std::size_t r : {i * ports + j, j * ports + i}) {
          model.residues[r * order + k] = residue;
          model.residues[r * order + k + 1] = std::conj(residue);
        }
      }
    }
  }
  model.constants.assign(ports * ports, 0.0);
  model.proportionals.assign(ports * ports, 0.0);
  model.network =
      polefit::NetworkMatrix{'S', std::vector<double>(ports, resistance), polefit::all_elements(ports)};
  return model;
}

/// Input, pole and part of a state in the plain form.
std::string state(std::size_t input, std::size_t pole) {
  std::string name = "x";
  name += std::to_string(input);
  name += '_';
  name += std::to_string(pole);
  return name;
}

void write_plain_pair(std::ostream& circuit, const polefit::Model& model, std::size_t input, std::size_t k) {
  const std::string x1 = state(input, k);
  const std::string x2 = state(input, k + 1);
  const Complex pole = model.poles[k];
  const double rate = std::abs(pole);
  for (const std::string& x : {x1, x2}) {
    circuit << 'C' << x << ' ' << x << " 0 " << 1.0 / rate << '\n';
    circuit << 'R' << x << ' ' << x << " 0 " << rate / -pole.real() << '\n';
  }
  circuit << "Gc" << x1 << " 0 " << x1 << ' ' << x2 << " 0 " << pole.imag() / rate << '\n';
  circuit << "Gc" << x2 << ' ' << x2 << " 0 " << x1 << " 0 " << pole.imag() / rate << '\n';
  circuit << "Gu" << x1 << " 0 " << x1 << " u" << input << " 0 1\n";
  const std::size_t ports = model.network->ports();
  for (std::size_t i = 1; i <= ports; ++i) {
    const Complex weight = 2.0 / rate * model.residues_of((i - 1) * ports + input - 1)[k];
    circuit << "Gy" << x1 << '_' << i << " 0 w" << i << ' ' << x1 << " 0 " << weight.real() << '\n';
    circuit << "Gy" << x2 << '_' << i << " 0 w" << i << ' ' << x2 << " 0 " << weight.imag() << '\n';
  }
}

/// The circuit in the plain form.
std::string plain_circuit(const polefit::Model& model) {
  constexpr int digits = 17;
  const std::size_t ports = model.network->ports();
  std::ostringstream circuit;
  circuit << std::setprecision(digits) << ".subckt dut";
  for (std::size_t i = 1; i <= ports; ++i) {
    circuit << "\n+ p" << i;
  }
  circuit << " ref\n";
  for (std::size_t i = 1; i <= ports; ++i) {
    circuit << "Rp" << i << " p" << i << " ref " << resistance << '\n';
    circuit << "Gp" << i << " ref p" << i << " w" << i << " 0 " << 2.0 / resistance << '\n';
    circuit << "Gv" << i << " 0 u" << i << " p" << i << " ref 1\n";
    circuit << "Gw" << i << " u" << i << " 0 w" << i << " 0 1\n";
    circuit << "Ru" << i << " u" << i << " 0 1\n";
    circuit << "Rw" << i << " w" << i << " 0 1\n";
    for (std::size_t k = 0; k < model.poles.size(); k += 2) {
      write_plain_pair(circuit, model, i, k);
    }
  }
  circuit << ".ends dut\n";
  return circuit.str();
}

/// Lines of a circuit that begin so.
std::size_t count(const std::string& text, const std::string& beginning) {
  std::size_t found = 0;
  for (std::size_t at = text.find('\n' + beginning); at != std::string::npos;
       at = text.find('\n' + beginning, at + 1)) {
    ++found;
  }
  return found;
}

std::size_t elements(const std::string& text) {
  std::size_t found = 0;
  for (const char* kind : {"R", "C", "E", "F", "G", "H", "V"}) {
    found += count(text, kind);
  }
  return found;
}

/// A pulse through 50 ohms into port 1, all others matched, and the voltage of port 2.
void write_input(const std::filesystem::path& file, const std::string& circuit, std::size_t ports,
                 const std::string& analysis) {
  std::ofstream stream(file);
  stream << "* input\n" << circuit << "V1 s 0 dc 0 ac 1 pulse(0 1 0 1n 1n 5n 20n)\nR1 s n1 50\n";
  for (std::size_t i = 2; i <= ports; ++i) {
    stream << "R" << i << " n" << i << " 0 50\n";
  }
  stream << "X1";
  for (std::size_t i = 1; i <= ports; ++i) {
    stream << "\n+ n" << i;
  }
  stream << " 0 dut\n.control\nsave v(n2)\n" << analysis << "\nwrdata table v(n2)\nquit\n.endc\n.end\n";
  if (!stream.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

/// CPU time of ngspice with that input, in the folder that holds it.
double seconds(const std::filesystem::path& folder, const std::string& file) {
  const pid_t child = fork();
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    if (chdir(folder.c_str()) == 0) {
      execlp("ngspice", "ngspice", "-n", "-b", file.c_str(), static_cast<char*>(nullptr));
    }
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("ngspice is missing or failed");
  }
  const auto in_seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return in_seconds(usage.ru_utime) + in_seconds(usage.ru_stime);
}

/// The last value of the table that a run leaves.
double last_value(const std::filesystem::path& folder) {
  std::ifstream table(folder / "table.data");
  double value = 0.0;
  for (double next = 0.0; table >> next;) {
    value = next;
  }
  return value;
}

void run(const std::filesystem::path& folder, std::size_t ports, bool rank_one) {
  const polefit::Model model = model_of(ports, rank_one);
  const std::string plain = plain_circuit(model);
  const std::string ours = polefit::spice_subcircuit(model, "dut");
  std::printf("%5zu  %-4s  %4zu %4zu  %6zu %6zu", ports, rank_one ? "one" : "full", count(plain, "Cx"),
              count(ours, "Cx"), elements(plain), elements(ours));
  for (const std::string analysis : {"ac lin 500 2e6 1e9", "tran 0.05n 500n 0 0.05n"}) {
    const int turns = analysis.starts_with("ac") ? 15 : 3;  // a few of the former are over in a tick
    write_input(folder / "plain.cir", plain, ports, analysis);
    write_input(folder / "ours.cir", ours, ports, analysis);
    double of_plain = std::numeric_limits<double>::infinity();
    double of_ours = of_plain;
    double difference = 0.0;
    for (int turn = 0; turn < turns; ++turn) {
      of_plain = std::min(of_plain, seconds(folder, "plain.cir"));
      const double expected = last_value(folder);
      of_ours = std::min(of_ours, seconds(folder, "ours.cir"));
      difference = std::abs(last_value(folder) - expected);
    }
    if (!(difference < 1e-6)) {  // a thousandth of the simulator's own tolerance of what it computes in steps
      throw std::runtime_error("the circuits differ");
    }
    std::printf("  %7.3f %7.3f %5.2f", of_plain, of_ours, of_ours / of_plain);
  }
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 2) {
      std::fprintf(stderr, "usage: circuits FOLDER\n");
      return 2;
    }
    std::printf("20 poles; CPU seconds of ngspice, plain form, ours, ratio\n");
    std::printf("ports  rank     states       elements              500 points          10,000 steps\n");
    for (const bool rank_one : {true, false}) {
      for (const std::size_t ports : {4U, 8U, 20U}) {
        run(argv[1], ports, rank_one);
      }
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "circuits: %s\n", error.what());
    return 2;
  }
}
