/// Fits of random networks with random requests, judged by what must hold whatever the data are.
///
///   differential FIRST COUNT
///
/// prints the seed of each network of which something does not hold, and what. The exit status is 1 then.

#include <signal.h>  // NOLINT(modernize-deprecated-headers): sigaction is none of <csignal>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fit_cases.hpp"
#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/weights.hpp"

namespace {

using polefit::fit_cases::FitCase;
using polefit::fit_cases::Request;
using testing_support::Complex;
using testing_support::RandomNumbers;

/// Of processor time for one network, which takes hundredths of a second. Those that cannot be made passive
/// without losing most of what they are take ten seconds, and more under the sanitizers.
constexpr int most_seconds = 300;

// Every draw is a statement of its own: the order in which arguments are evaluated is the compiler's.

bool chance(RandomNumbers& numbers, double probability) { return numbers.between(0.0, 1.0) < probability; }

/// Evenly over the decades.
double spread(RandomNumbers& numbers, double low, double high) {
  return std::pow(10.0, numbers.between(std::log10(low), std::log10(high)));
}

std::size_t counted(RandomNumbers& numbers, std::size_t low, std::size_t high) {
  return low + static_cast<std::size_t>(numbers.below(static_cast<int>(high - low + 1)));
}

/// Up to about 1, in units of the highest one.
std::vector<double> frequencies(RandomNumbers& numbers, std::size_t samples) {
  std::vector<double> result;
  const int kind = numbers.below(3);
  const bool zero = chance(numbers, 0.3);
  for (std::size_t k = 0; k < samples; ++k) {
    const double part = static_cast<double>(k + 1) / static_cast<double>(samples);
    const double random = numbers.between(0.001, 1.0);
    result.push_back(kind == 0 ? part : kind == 1 ? std::pow(10.0, 4.0 * (part - 1.0)) : random);
  }
  if (kind == 2 && chance(numbers, 0.5)) {
    std::sort(result.begin(), result.end());
  }
  if (zero) {
    result[kind == 2 ? counted(numbers, 0, samples - 1) : 0] = 0.0;
  }
  if (chance(numbers, 0.15)) {  // the same frequency twice, and twice more
    for (int i = 0; i < 3; ++i) {
      const std::size_t from = counted(numbers, 0, samples - 1);
      const std::size_t to = counted(numbers, 0, samples - 1);
      result[to] = result[from];
    }
  }
  if (chance(numbers, 0.15)) {
    for (std::size_t k = samples; k > 1; --k) {
      const std::size_t with = counted(numbers, 0, k - 1);
      std::swap(result[k - 1], result[with]);
    }
  }
  return result;
}

/// Upper poles of pairs, and real ones, for frequencies up to 1 hertz.
std::vector<Complex> upper_poles(RandomNumbers& numbers) {
  std::vector<Complex> poles;
  const std::size_t groups = counted(numbers, 0, 8);
  const bool sharp = chance(numbers, 0.3);
  for (std::size_t i = 0; i < groups; ++i) {
    const double omega = numerics::two_pi * numbers.between(0.01, 1.4);
    const double quality = sharp ? spread(numbers, 10.0, 1e7) : spread(numbers, 0.6, 50.0);
    const double real_size = numerics::two_pi * spread(numbers, 1e-3, 10.0);
    const bool real = chance(numbers, 0.25);
    poles.emplace_back(real ? -real_size : -omega / quality, real ? 0.0 : omega);
  }
  return poles;
}

/// A response at frequencies up to 1 hertz, about 1.
class Response {
 public:
  Response(RandomNumbers& numbers, const std::vector<Complex>& poles) : poles_(poles) {
    for (const Complex pole : poles_) {
      const Complex part = numbers.complex();
      residues_.push_back(-pole.real() * (pole.imag() == 0.0 ? Complex(part.real()) : part));
    }
    constant_ = numbers();
  }
  Complex operator()(double frequency) const {
    const Complex s(0.0, numerics::two_pi * frequency);
    Complex sum = constant_;
    for (std::size_t i = 0; i < poles_.size(); ++i) {
      sum += residues_[i] / (s - poles_[i]);
      if (poles_[i].imag() > 0.0) {
        sum += std::conj(residues_[i]) / (s - std::conj(poles_[i]));
      }
    }
    return sum;
  }

 private:
  std::vector<Complex> poles_;
  std::vector<Complex> residues_;
  double constant_ = 0.0;
};

/// Values of a matrix of so many ports, row by row, about 1 or smaller; noise, delay and all that is odd
/// included.
std::vector<Complex> values(RandomNumbers& numbers, const std::vector<double>& frequencies,
                            std::size_t ports) {
  const std::size_t samples = frequencies.size();
  const std::vector<Complex> poles = upper_poles(numbers);
  const bool reciprocal = chance(numbers, 0.6);
  const double turns = chance(numbers, 0.3) ? numbers.between(-3.0, 12.0) : 0.0;
  const bool conjugate = chance(numbers, 0.07);
  const bool rough = chance(numbers, 0.07);  // nothing but noise
  const double noise = chance(numbers, 0.5) ? spread(numbers, 1e-9, 0.3) : 0.0;
  const bool constant = chance(numbers, 0.05);
  const bool passive = chance(numbers, 0.5);
  std::vector<Complex> result(ports * ports * samples);
  double largest = 0.0;
  for (std::size_t i = 0; i < ports; ++i) {
    for (std::size_t j = 0; j < ports; ++j) {
      Complex* const values = &result[(i * ports + j) * samples];
      if (reciprocal && j < i) {
        std::copy_n(&result[(j * ports + i) * samples], samples, values);
        continue;
      }
      const Response response(numbers, poles);
      const bool zero = chance(numbers, 0.07);
      const bool own_size = chance(numbers, 0.1);
      const double size = own_size ? spread(numbers, 1e-7, 1.0) : 1.0;
      const double level = numbers();
      for (std::size_t k = 0; k < samples; ++k) {
        Complex value = response(frequencies[k]);
        value *= std::polar(1.0, -numerics::two_pi * turns * frequencies[k]);
        value = conjugate ? std::conj(value) : value;
        const Complex random = numbers.complex();
        value = rough ? random : value + noise * random;
        value = constant ? Complex(level) : value;
        values[k] = zero ? Complex() : size * value;
        largest = std::max(largest, std::abs(values[k]));
      }
    }
  }
  if (passive && largest > 0.0) {
    for (Complex& value : result) {
      value /= 1.1 * static_cast<double>(ports) * largest;
    }
  }
  return result;
}

polefit::Options options_of(RandomNumbers& numbers, std::size_t samples, double highest) {
  polefit::Options options;
  const std::size_t most_pairs = std::min<std::size_t>(samples + 1, 12);
  options.complex_pairs = counted(numbers, 0, most_pairs);
  options.real_poles = chance(numbers, 0.3) ? counted(numbers, 0, 4) : 0;
  options.placement = static_cast<polefit::Placement>(numbers.below(3));
  options.constant = chance(numbers, 0.85);
  options.proportional = chance(numbers, 0.2);
  options.stable = chance(numbers, 0.9);
  options.orthogonal = chance(numbers, 0.2);
  const int iterations = numbers.below(8);
  options.iterations = iterations < 4 ? iterations : 30;
  const int tolerance = numbers.below(4);
  options.pole_tolerance = tolerance == 0 ? 0.0 : tolerance == 1 ? 1.0 : 1e-8;
  options.polish = chance(numbers, 0.7);
  if (chance(numbers, 0.2)) {
    const std::size_t sample = counted(numbers, 0, samples - 1);
    options.exact_sample = chance(numbers, 0.05) ? samples : sample;  // of which there is none
  }
  if (chance(numbers, 0.1)) {
    const std::size_t groups = counted(numbers, 1, 5);
    for (std::size_t i = 0; i < groups; ++i) {
      const double real = highest * spread(numbers, 1e-6, 10.0) * (chance(numbers, 0.2) ? 1.0 : -1.0);
      const double imaginary = chance(numbers, 0.3) ? 0.0 : highest * numbers.between(0.01, 10.0);
      options.starting_poles.emplace_back(real, imaginary);
      if (imaginary != 0.0) {
        options.starting_poles.emplace_back(real, -imaginary);
      }
    }
  }
  return options;
}

void add_weights(RandomNumbers& numbers, FitCase& asked) {
  const polefit::NetworkData data{.frequencies = asked.frequencies,
                                  .responses = polefit::Responses::by_response(asked.values, asked.responses),
                                  .names = {},
                                  .weights = {}};
  const int kind = numbers.below(8);
  if (kind < 4) {
    asked.weights = polefit::weights(data, static_cast<polefit::Weighting>(kind));
  } else if (kind < 6) {
    const std::size_t count = kind == 4 ? asked.frequencies.size() : asked.values.size();
    for (std::size_t i = 0; i < count; ++i) {
      asked.weights.push_back(spread(numbers, 1e-3, 1e3));
    }
  }
}

FitCase made(std::uint64_t seed) {
  RandomNumbers numbers(seed);
  FitCase asked;
  const int request = numbers.below(10);
  asked.request = request < 5   ? Request::fit
                  : request < 8 ? Request::search
                  : request < 9 ? Request::passive_fit
                                : Request::passive_search;
  const bool passive = asked.request == Request::passive_fit || asked.request == Request::passive_search;
  const bool many_ports = chance(numbers, 0.15);
  const std::size_t ports = counted(numbers, 1, passive ? (many_ports ? 3 : 2) : (many_ports ? 6 : 3));
  const bool many_samples = chance(numbers, 0.4);
  const std::size_t samples = counted(numbers, 2, many_samples ? (ports > 3 || passive ? 60 : 120) : 20);
  asked.frequencies = frequencies(numbers, samples);
  asked.values = values(numbers, asked.frequencies, ports);
  asked.responses = ports * ports;
  const int parameter = numbers.below(4);
  asked.matrix = {parameter < 2    ? 'S'
                  : parameter == 2 ? 'Y'
                                   : 'Z',
                  std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  // Those of S are about 1 where they are to be passive.
  const double size = passive && asked.matrix.parameter == 'S' ? 1.0 : spread(numbers, 1e-12, 1e12);
  const double highest = spread(numbers, 1e-3, 1e12);
  for (Complex& value : asked.values) {
    value *= size;
  }
  for (double& frequency : asked.frequencies) {
    frequency *= highest;
  }
  asked.options = options_of(numbers, samples, highest);
  if (passive && chance(numbers, 0.9)) {
    asked.options.stable = true;
  }
  if (chance(numbers, 0.4)) {
    add_weights(numbers, asked);
  }
  asked.target.error = spread(numbers, 1e-8, 0.5);
  asked.target.measure = static_cast<polefit::Measure>(numbers.below(3));
  if (asked.target.measure == polefit::Measure::largest_error) {
    asked.target.error *= size;
  }
  if (chance(numbers, 0.3)) {
    asked.target.most_poles = counted(numbers, 0, 20);
  }
  return asked;
}

volatile std::uint64_t current_seed = 0;

[[noreturn]] void hangs(int) {
  char text[80];
  const int length =
      std::snprintf(text, sizeof text, "%llu: hangs\n", static_cast<unsigned long long>(current_seed));
  static_cast<void>(write(STDOUT_FILENO, text, static_cast<std::size_t>(length)));
  _exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    static_cast<void>(std::fputs("usage: differential FIRST COUNT\n", stderr));
    return 2;
  }
  struct sigaction action {};
  action.sa_handler = hangs;
  static_cast<void>(sigaction(SIGPROF, &action, nullptr));
  const std::uint64_t first = std::strtoull(argv[1], nullptr, 10);
  const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
  std::uint64_t failed = 0;
  std::uint64_t slowest = first;
  double most = 0.0;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    current_seed = seed;
    const itimerval most_time{{0, 0}, {most_seconds, 0}};
    static_cast<void>(setitimer(ITIMER_PROF, &most_time, nullptr));
    const auto start = std::chrono::steady_clock::now();
    const std::vector<std::string> faults =
        polefit::fit_cases::faults_of(made(seed), polefit::fit_cases::Effort::again_dense);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    if (taken.count() > most) {
      most = taken.count();
      slowest = seed;
    }
    failed += faults.empty() ? 0 : 1;
    if (!faults.empty()) {
      std::printf("%llu: does not hold: %s%s\n", static_cast<unsigned long long>(seed),
                  faults.front().c_str(), faults.size() > 1 ? " (and more)" : "");
      static_cast<void>(std::fflush(stdout));
    }
  }
  std::printf("%llu networks, of %llu something does not hold; slowest %llu with %.2f s\n",
              static_cast<unsigned long long>(count), static_cast<unsigned long long>(failed),
              static_cast<unsigned long long>(slowest), most);
  return failed == 0 ? 0 : 1;
}
