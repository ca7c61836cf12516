/// The command polefit on a 20-port of 501 points: Touchstone read, and from file to model file. Then files
/// and tables of 20, 72 and 245 ports and some hundred megabytes, which are made, read for time and peak
/// memory, and removed. Usage: command_runs FOLDER [MEGABYTES of each large file], in which a temporary
/// folder holds the files. Figures of the 20-port are the least of several runs, on one core.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/network.hpp"
#include "process_memory.hpp"

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

/// A folder that goes with what is in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::string& parent) {
    std::string pattern = parent + "/polefit_files_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no folder can be made in " + parent);
    }
    name_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(name_, ignored);
  }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

/// What stands before the samples of a Touchstone file, or of a table.
std::string large_header(bool table, std::size_t number_of_ports) {
  if (!table) {
    return "# GHz S RI R 50\n";
  }
  std::string header = "frequency";
  for (const polefit::MatrixElement& element : polefit::all_elements(number_of_ports)) {
    const std::string name = polefit::element_name('S', element, number_of_ports);
    header.append(",").append(name).append(" re,").append(name).append(" im");
  }
  return header + "\n";
}

/// Random numbers of 17 digits as a file of so many ports and about so many bytes; the number of samples.
std::size_t write_large(const std::string& file, bool table, std::size_t number_of_ports, double bytes) {
  std::mt19937_64 generator(2);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<std::string> numbers(10'007);  // a prime, so that no row repeats soon
  for (std::string& number : numbers) {
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), " %.17g", uniform(generator)));
    number = text.data();
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(file.c_str(), "w"), &std::fclose);
  std::string text = large_header(table, number_of_ports);
  const char* const separator = table ? "," : "";
  double written = 0.0;
  std::size_t at = 0;
  std::size_t count = 0;
  for (; written < bytes; ++count) {
    text += std::to_string(count + 1);
    for (std::size_t row = 0; row < number_of_ports; ++row) {
      for (std::size_t column = 0; column < number_of_ports; ++column) {
        text += !table && column % 4 == 0 && row + column > 0 ? "\n" : "";
        text += separator + numbers[at] + separator + numbers[(at + 1) % numbers.size()];
        at = (at + 2) % numbers.size();
      }
    }
    text += "\n";
    if (out == nullptr || std::fwrite(text.data(), 1, text.size(), out.get()) != text.size()) {
      throw std::runtime_error("cannot write " + file);
    }
    written += static_cast<double>(text.size());
    text.clear();
  }
  return count;
}

/// Reads in a process of its own, whose peak of memory then is that of reading.
void read_large(const std::string& file, bool table, std::size_t number_of_ports, std::size_t count) {
  static_cast<void>(std::fflush(stdout));
  const pid_t child = fork();
  if (child == 0) {
    benchmark_support::forget_peak();
    const double before = benchmark_support::status_mebibytes("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    const polefit::Network network = polefit::read_network(file);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double processor = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                             1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    const double peak = benchmark_support::status_mebibytes("VmHWM:") - before;
    const double values = static_cast<double>(network.values.size()) * 16.0 / 0x1p20;
    const double megabytes = static_cast<double>(std::filesystem::file_size(file)) / 1e6;
    std::printf(
        "%s, %zu ports, %zu points, %.0f MB: %.2f s, %.0f MB/s of processor time, %.0f by the clock, "
        "peak %.0f MiB, %.2f of the values\n",
        table ? "table" : "Touchstone", number_of_ports, count, megabytes, processor, megabytes / processor,
        megabytes / seconds, peak, peak / values);
    static_cast<void>(std::fflush(stdout));
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::printf("the reading ended with status %d\n", status);
  }
}

void measure_large(const std::string& parent, double megabytes) {
  const TemporaryFolder folder(parent);
  for (const bool table : {false, true}) {
    for (const std::size_t number_of_ports : {20U, 72U, 245U}) {
      const std::string ending = table ? ".csv" : ".s" + std::to_string(number_of_ports) + "p";
      const std::string file = folder.name() + "/large" + ending;
      const std::size_t count = write_large(file, table, number_of_ports, 1e6 * megabytes);
      read_large(file, table, number_of_ports, count);
      std::filesystem::remove(file);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::string folder = argc > 1 ? argv[1] : ".";
    measure(folder);
    constexpr double usual_megabytes = 400.0;
    measure_large(folder, argc > 2 ? std::stod(argv[2]) : usual_megabytes);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "command_runs: %s\n", error.what());
    return 1;
  }
}
