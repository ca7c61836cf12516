/// polefit on networks of five sizes: one relocation by either path, whole fits, threads, growth and memory.
///
/// Every figure is the least of several runs; ratios are of figures of one run of this program.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "polefit/fit.hpp"
#include "polefit/fitting/residues.hpp"
#include "polefit/fitting/starting_poles.hpp"
#include "polefit/hard_networks.hpp"
#include "polefit/relocation/relocation.hpp"
#include "polefit/relocation/zeros.hpp"
#include "process_memory.hpp"

namespace {

using namespace polefit;
using benchmark_support::status_mebibytes;
using hard_networks::Size;
using hard_networks::sized_network;

/// The least time of a few calls, in milliseconds, after one to warm up.
template <class Work>
double milliseconds(const Work& work) {
  double best = 1e300;
  double total = 0.0;
  for (int i = 0; i < 50 && (i < 4 || total < 300.0); ++i) {
    const auto before = std::chrono::steady_clock::now();
    work();
    const double time =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
    best = i == 0 ? best : std::min(best, time);
    total += time;
  }
  return best;
}

struct Measured {
  double gram = 0.0;
  double orthogonal = 0.0;
  double residues = 0.0;
  double whole = 0.0;
};

Options options_for(const Size& size) {
  Options options;
  options.complex_pairs = size.poles / 2;
  return options;
}

/// A relocation by Cauchy sums, from the starting poles to the next ones.
double relocation_by_cauchy_sums(const Network& network, const Size& size, int threads) {
  const Options options = options_for(size);
  const NetworkData data = network.data();
  const Problem problem = make_problem(data, options);
  const Poles poles = starting_poles(problem, options);
  CauchyRelocation relocation(problem, threads);
  return milliseconds([&] {
    const std::optional<Sigma> sigma = relocation.solve(poles);
    if (!sigma) {
      throw Error(ErrorKind::numerical_breakdown, "a relocation by sums was not trusted");
    }
    zeros_of(sigma->unknowns, poles, true);
  });
}

Measured measure(const Network& network, const Size& size) {
  const Options options = options_for(size);
  const NetworkData data = network.data();
  const Problem problem = make_problem(data, options);
  const Poles poles = starting_poles(problem, options);
  Measured measured;
  measured.gram = relocation_by_cauchy_sums(network, size, 1);
  measured.orthogonal =
      milliseconds([&] { zeros_of(solve_sigma_orthogonally(problem, poles, 1).unknowns, poles, true); });
  measured.residues = milliseconds([&] { identify_residues(problem, poles, {}, 1); });
  measured.whole = milliseconds([&] { static_cast<void>(fit(data, options)); });
  return measured;
}

void measure_all() {
  constexpr Size largest = hard_networks::five_sizes.back();
  {
    const Network network = sized_network(largest);
    benchmark_support::forget_peak();
    const double before = status_mebibytes("VmRSS:");
    const Fit found = fit(network.data(), options_for(largest));
    const double data = static_cast<double>(network.values.size() * sizeof(Complex)) / 1048576.0;
    std::printf(
        "case e: a whole fit takes up to %.1f MiB beside %.1f MiB of data; error %.1e in %d relocations\n\n",
        status_mebibytes("VmHWM:") - before, data, found.report.relative_error, found.report.iterations);
  }

  std::printf(
      "case  responses x samples, poles   relocation: sums  orthogonal  ratio   residues   whole fit (in "
      "relocations)  error\n");
  for (const Size& size : hard_networks::five_sizes) {
    const Network network = sized_network(size);
    const Measured measured = measure(network, size);
    const Fit found = fit(network.data(), options_for(size));
    std::printf("%4s %10zu x %7zu, %3zu %17.3f ms %8.2f ms %6.1f %7.2f ms %9.2f ms %9.1f %17.1e\n", size.name,
                size.responses, size.samples, size.poles, measured.gram, measured.orthogonal,
                measured.orthogonal / measured.gram, measured.residues, measured.whole,
                measured.whole / measured.gram, found.report.relative_error);
  }

  std::printf("\nrelocation of case e with two threads: ");
  const Network network = sized_network(largest);
  const double alone = relocation_by_cauchy_sums(network, largest, 1);
  const double together = relocation_by_cauchy_sums(network, largest, 2);
  std::printf("%.2f ms, %.2f times faster than with one\n", together, alone / together);

  std::printf("\ngrowth with the samples (1 response, 20 poles):");
  for (const std::size_t samples : {10000U, 100000U, 1000000U}) {
    const Size size{"", 1, samples, 20};
    std::printf("  %zu: %.2f ms", samples, relocation_by_cauchy_sums(sized_network(size), size, 1));
  }
  std::printf("\ngrowth with the responses (501 samples, 40 poles):");
  for (const std::size_t responses : {40U, 400U, 4000U}) {
    const Size size{"", responses, 501, 40};
    std::printf("  %zu: %.2f ms", responses, relocation_by_cauchy_sums(sized_network(size), size, 1));
  }
  std::printf("\n");
}

}  // namespace

int main() {
  try {
    measure_all();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "polefit_cases: %s\n", error.what());
    return 1;
  }
}
