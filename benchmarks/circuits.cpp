/// Exported circuits in ngspice beside the plain form, in which every port has states of every pole,
/// resistors are what loses, and nothing is shared: CPU times of AC analyses of 500 points and transients of
/// 10,000 steps. Usage: circuits FOLDER, for its files. Figures are the least of three runs, in turn; ngspice
/// is in the PATH.

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/exports.hpp"
#include "polefit/model.hpp"
#include "run_program.hpp"

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

/// The circuit in the plain form.
class PlainCircuit {
 public:
  explicit PlainCircuit(const polefit::Model& model) {
    const std::size_t ports = model.network->ports();
    text_ = ".subckt dut";
    for (std::size_t i = 1; i <= ports; ++i) {
      text_ += "\n+ p" + std::to_string(i);
    }
    text_ += " ref\n";
    for (std::size_t i = 1; i <= ports; ++i) {
      const std::string n = std::to_string(i);
      add("Rp" + n + " p" + n + " ref", resistance);
      add("Gp" + n + " ref p" + n + " w" + n + " 0", 2.0 / resistance);
      add("Gv" + n + " 0 u" + n + " p" + n + " ref", 1.0);
      add("Gw" + n + " u" + n + " 0 w" + n + " 0", 1.0);
      add("Ru" + n + " u" + n + " 0", 1.0);
      add("Rw" + n + " w" + n + " 0", 1.0);
    }
    for (std::size_t j = 1; j <= ports; ++j) {
      for (std::size_t k = 0; k < model.poles.size(); k += 2) {
        add_pair(model, j, k);
      }
    }
    text_ += ".ends dut\n";
  }
  const std::string& text() const { return text_; }

 private:
  void add(const std::string& element, double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, " %.17g\n", value);
    text_ += element + digits;
  }
  void add_pair(const polefit::Model& model, std::size_t input, std::size_t k) {
    const std::string place = std::to_string(input) + "_";
    const std::string x1 = "x" + place + std::to_string(k);
    const std::string x2 = "x" + place + std::to_string(k + 1);
    const Complex pole = model.poles[k];
    const double rate = std::abs(pole);
    for (const std::string& x : {x1, x2}) {
      add("C" + x + " " + x + " 0", 1.0 / rate);
      add("R" + x + " " + x + " 0", rate / -pole.real());
    }
    add("Gc" + x1 + " 0 " + x1 + " " + x2 + " 0", pole.imag() / rate);
    add("Gc" + x2 + " " + x2 + " 0 " + x1 + " 0", pole.imag() / rate);
    add("Gu" + x1 + " 0 " + x1 + " u" + std::to_string(input) + " 0", 1.0);
    for (std::size_t i = 1; i <= model.network->ports(); ++i) {
      const std::string row = std::to_string(i);
      const Complex weight = 2.0 / rate * model.residues_of((i - 1) * model.network->ports() + input - 1)[k];
      add("Gy" + x1 + "_" + row + " 0 w" + row + " " + x1 + " 0", weight.real());
      add("Gy" + x2 + "_" + row + " 0 w" + row + " " + x2 + " 0", weight.imag());
    }
  }

  std::string text_;
};

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

double seconds_of_children() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec) + 1e-6 * static_cast<double>(usage.ru_utime.tv_usec);
}

double seconds(const std::filesystem::path& folder, const std::string& file) {
  const double before = seconds_of_children();
  if (testing_support::run_program("/usr/bin/env", {"ngspice", "-n", "-b", file}, folder) != 0) {
    throw std::runtime_error("ngspice is missing or failed");
  }
  return seconds_of_children() - before;
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
  const std::string plain = PlainCircuit(model).text();
  const std::string ours = polefit::spice_subcircuit(model, "dut");
  std::printf("%5zu  %-4s  %4zu %4zu  %6zu %6zu", ports, rank_one ? "one" : "full", count(plain, "Cx"),
              count(ours, "Cx"), elements(plain), elements(ours));
  for (const char* analysis : {"ac lin 500 2e6 1e9", "tran 0.05n 500n 0 0.05n"}) {
    write_input(folder / "plain.cir", plain, ports, analysis);
    write_input(folder / "ours.cir", ours, ports, analysis);
    double of_plain = std::numeric_limits<double>::infinity();
    double of_ours = of_plain;
    double difference = 0.0;
    for (int turn = 0; turn < 3; ++turn) {
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
