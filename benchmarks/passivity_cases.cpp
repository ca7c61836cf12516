/// What it takes to tell whether a model is passive, and to make it so: beside the fit that made it, of many
/// ports, and in memory.
///
/// Times are the least of several runs but for those of many ports, which are of one.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/fit.hpp"
#include "polefit/passive_networks.hpp"
#include "polefit/passivity.hpp"
#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/hamiltonian.hpp"
#include "polefit/passivity_models.hpp"
#include "process_memory.hpp"

namespace {

using namespace polefit;
using benchmark_support::forget_peak;
using benchmark_support::status_mebibytes;
using passivity_models::large_model;

template <class Work>
double seconds_of(const Work& work) {
  const auto before = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
}

/// The least time of five calls, in milliseconds.
template <class Work>
double milliseconds(const Work& work) {
  double best = 1e300;
  for (int i = 0; i < 5; ++i) {
    best = std::min(best, 1e3 * seconds_of(work));
  }
  return best;
}

/// Two-ports of 200 samples with 30 poles: the check against the fit.
void compare_with_fits() {
  constexpr int networks = 21;
  struct Case {
    double fit;
    double check;
    std::size_t pieces;
    bool passive;
  };
  std::vector<Case> cases;
  for (int seed = 0; seed < networks; ++seed) {
    const Network network = passive_networks::passive_network(static_cast<std::uint64_t>(seed), 2, 200, 'S');
    Options options;
    options.complex_pairs = 15;
    Fit found;
    Case& timed = cases.emplace_back();
    timed.fit = milliseconds([&] { found = fit(network, options); });
    Passivity told;
    timed.check = milliseconds([&] { told = passivity(found.model); });
    timed.pieces = told.pieces;
    timed.passive = told.passive;
  }
  std::sort(cases.begin(), cases.end(),
            [](const Case& a, const Case& b) { return a.check / a.fit < b.check / b.fit; });
  std::printf("two ports, 30 poles, 200 samples: check and fit of %d networks, by their ratio\n", networks);
  for (const auto& [what, place] :
       {std::pair{"least", 0}, std::pair{"median", networks / 2}, std::pair{"worst", networks - 1}}) {
    const Case& shown = cases[static_cast<std::size_t>(place)];
    std::printf("%8s %8.2f ms %8.2f ms %7.3f   %zu pieces, %s\n", what, shown.check, shown.fit,
                shown.check / shown.fit, shown.pieces, shown.passive ? "passive" : "not passive");
  }
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Two-ports of 200 samples with 30 poles that are not passive: check and correction against the fit.
void measure_corrections() {
  constexpr std::uint64_t networks = 40;
  std::vector<double> times;
  std::vector<double> parts;
  std::vector<double> growths;
  std::vector<double> rounds;
  for (std::uint64_t seed = 0; seed < networks; ++seed) {
    const Network network = passive_networks::passive_network(seed, 2, 200, 'S');
    Options options;
    options.complex_pairs = 15;
    Fit found;
    const double of_fit = milliseconds([&] { found = fit(network, options); });
    if (passivity(found.model).passive) {
      continue;
    }
    Enforcement enforced;
    times.push_back(milliseconds([&] { enforced = enforce_passivity(found.model, network.data()); }));
    parts.push_back(times.back() / of_fit);
    // Errors below 1e-8 are those of rounding.
    const EnforcementReport& report = enforced.report;
    growths.push_back(std::max(report.error_after, 1e-8) / std::max(report.error_before, 1e-8));
    rounds.push_back(static_cast<double>(report.rounds));
  }
  std::printf("two ports, 30 poles: check and correction of the %zu of %d models that are not passive\n",
              times.size(), static_cast<int>(networks));
  std::printf("median %.1f ms, worst %.1f ms; %.1f times the fit; %.0f rounds; the error grows %.3f times\n",
              median(times), *std::max_element(times.begin(), times.end()), median(parts), median(rounds),
              median(growths));
}

/// Twenty ports, 40 poles: a resonance at 1.004, and samples disturbed by 3e-3 of the largest value.
void measure_large_correction() {
  const Model model = large_model(20, 40, 1.004);
  std::vector<double> frequencies;
  frequencies.reserve(200);
  for (int k = 0; k < 200; ++k) {
    frequencies.push_back(k / 199.0 / numerics::two_pi);
  }
  Network network{.file = {}, .matrix = model.network, .frequencies = frequencies, .names = {}, .values = {}};
  network.names.resize(model.responses());
  network.values = evaluate(model, frequencies);
  passive_networks::add_noise(network, 3e-3, 1);
  Enforcement enforced;
  const double time = seconds_of([&] { enforced = enforce_passivity(model, network.data()); });
  const EnforcementReport& report = enforced.report;
  std::printf("twenty ports, 40 poles: %.2f s, %zu rounds, error %.5f before and %.5f after, %s\n", time,
              report.rounds, report.error_before, report.error_after,
              report.passivity.passive ? "passive" : "not passive");
}

void measure_large(std::size_t ports, std::size_t poles) {
  const Model model = large_model(ports, poles, 0.98);
  const ScaledModel scaled = scaled_model(model);
  forget_peak();
  const double before = status_mebibytes("VmRSS:");
  Certificate certificate;
  const double certified =
      seconds_of([&] { certificate = certify(scaled, 1.0 + 1e-9, Thoroughness::yes_or_no); });
  const double peak = status_mebibytes("VmHWM:") - before;
  forget_peak();
  Passivity told;
  const double whole = seconds_of([&] { told = passivity(model); });
  const double whole_peak = status_mebibytes("VmHWM:") - before;
  std::printf("%4zu x %3zu %12.2f s %6zu pieces %8.1f MiB %12.2f s %8.1f MiB   %s, largest %.6f\n", ports,
              poles, certified, certificate.pieces, peak, whole, whole_peak,
              told.passive ? "passive" : "not passive", told.extreme);
  static_cast<void>(std::fflush(stdout));
}

void measure_hamiltonian(std::size_t ports, std::size_t poles) {
  const ScaledModel model = scaled_model(large_model(ports, poles, 0.98));
  std::vector<double> crossings;
  const double time = milliseconds([&] { crossings = hamiltonian_crossings(model, 1.0).value(); });
  std::printf("  %zu: %.2f ms", hamiltonian_order(model), time);
}

void measure_all() {
  compare_with_fits();
  std::printf("\n");
  measure_corrections();
  measure_large_correction();
  std::printf("\nHamiltonian matrices by order:");
  for (const auto& [ports, poles] : {std::pair{2U, 30U}, std::pair{5U, 20U}, std::pair{8U, 24U}}) {
    measure_hamiltonian(ports, poles);
  }
  std::printf("\n\nports x poles    certificate                  memory   passivity, whole      memory\n");
  for (const auto& [ports, poles] : {std::pair{8U, 30U}, std::pair{20U, 40U}, std::pair{40U, 60U},
                                     std::pair{83U, 40U}, std::pair{245U, 40U}}) {
    measure_large(ports, poles);
  }
}

}  // namespace

int main() {
  try {
    measure_all();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "passivity_cases: %s\n", error.what());
    return 1;
  }
}
