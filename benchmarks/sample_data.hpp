/// The samples of the benchmarks: a network with many resonances, measured with some noise.
#pragma once

#include <complex>
#include <cstddef>
#include <random>
#include <vector>

#include "numerics/angular_frequency.hpp"

namespace s_solver::benchmarks {

struct SampleData {
  std::vector<std::complex<double>> s;  ///< rad/s, evenly from 0.1 to 10 GHz
  std::vector<std::complex<double>> f;
};

/// `nf` samples of `order` / 2 resonances spread over the band, with noise of a thousandth, the same in every
/// run.
inline SampleData sample_data(int nf, int order) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<std::complex<double>> poles;
  std::vector<std::complex<double>> residues;
  for (int i = 0; i < order / 2; ++i) {
    const double omega = numerics::two_pi * 1e10 * (i + 0.7) / (order / 2);
    poles.emplace_back(-0.02 * omega, omega);
    residues.emplace_back(0.01 * omega * (1.5 + uniform(generator)), 0.02 * omega * uniform(generator));
  }
  SampleData data;
  for (int k = 0; k < nf; ++k) {
    const std::complex<double> s(0.0, numerics::two_pi * (1e8 + 9.9e9 * k / nf));
    std::complex<double> f(0.1 + 1e-3 * uniform(generator), 1e-3 * uniform(generator));
    for (std::size_t i = 0; i < poles.size(); ++i) {
      f += residues[i] / (s - poles[i]) + std::conj(residues[i]) / (s - std::conj(poles[i]));
    }
    data.s.push_back(s);
    data.f.push_back(f);
  }
  return data;
}

}  // namespace s_solver::benchmarks
