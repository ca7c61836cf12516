#include "polefit/relocation/cauchy_products.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "networks.hpp"

namespace polefit {
namespace {

using namespace test_networks;

using Long = long double;
using LongComplex = std::complex<Long>;

/// The basis functions, 1 and s at j omega.
std::vector<LongComplex> functions_at(const Poles& poles, double omega) {
  const LongComplex s(0, omega);
  std::vector<LongComplex> functions(poles.size());
  for_each_group(
      poles, [&](std::size_t i) { functions[i] = Long(1) / (s - LongComplex(poles[i])); },
      [&](std::size_t i) {
        const LongComplex u = Long(1) / (s - LongComplex(poles[i]));
        const LongComplex v = Long(1) / (s - LongComplex(poles[i + 1]));
        functions[i] = u + v;
        functions[i + 1] = LongComplex(0, 1) * (u - v);
      });
  functions.emplace_back(1);
  functions.push_back(s);
  return functions;
}

/// The weight of a lane at sample k.
LongComplex weight_of(const Problem& problem, std::size_t lane, std::size_t k) {
  if (lane < problem.responses) {
    return -Long(problem.response_scale[lane]) * Long(problem.sample_weight(lane, k)) *
           Long(problem.sample_weight(lane, k)) * LongComplex(problem.value(lane, k));
  }
  if (lane < first_shared_lane(problem)) {
    const Long weight = problem.sample_weight(lane - problem.responses, k);
    return weight * weight;
  }
  switch (lane - first_shared_lane(problem)) {
    case squared_weights:
      return Long(problem.weight[k]) * Long(problem.weight[k]);
    case powers:
      return problem.power[k];
    default:
      return 1;
  }
}

TEST(CauchyProducts, equal_directly_summed_products) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 16; ++seed) {
    // Among the numbers of poles are multiples of the kernel's group of eight.
    const NetworkKind kind{.pairs = seed % 9,
                           .real_poles = seed % 2 + (seed % 9 == 0 ? 1 : 0),
                           .responses = 1 + (seed * 5) % 40,
                           .samples = 30 + 100 * (seed % 4),
                           .noise = 0.1};
    SCOPED_TRACE(seed);
    const Network network = random_network(kind, seed);
    std::vector<double> weights;
    RandomNumbers numbers(seed);
    // None, one a sample, or one a sample and response.
    const std::size_t sets = seed % 3 == 2 ? kind.responses : seed % 3;
    for (std::size_t k = 0; k < sets * network.frequencies.size(); ++k) {
      weights.push_back(numbers.between(0.5, 2.0));
    }
    NetworkData data = network.data();
    data.weights = weights;
    const Problem problem = make_problem(data, {});
    Poles poles;
    for (const Complex pole : network.model.poles) {
      poles.push_back(pole / problem.scale);
    }

    std::vector<std::vector<double>> raw(all_chunks(problem));
    SumMemory memory;
    add_sums(problem, poles, 0, raw.size(), memory, raw);
    Sums sums;
    sums.resize(poles.size());
    const auto q = reciprocal_sums(poles);
    const ProductTable table(poles, q, true, true);
    std::vector<double> products(table.rows() * table.columns() * lanes);
    std::vector<std::vector<LongComplex>> functions;
    for (const double omega : problem.omega) {
      functions.push_back(functions_at(poles, omega));
    }
    for (std::size_t lane = 0; lane < all_lanes(problem); ++lane) {
      if (lane % lanes == 0) {
        take_sums(raw[lane / lanes].data(), poles.size(), sums);
        table.fill(sums, lanes, products.data());
      }
      if (lane < first_shared_lane(problem) && lane % 5 != seed % 5) {
        continue;  // a fifth of the responses, and all that is shared
      }
      for (std::size_t j = 0; j < table.columns(); ++j) {
        for (std::size_t i = 0; i < table.rows(); ++i) {
          Long sum = 0;
          Long size = 0;
          for (std::size_t k = 0; k < problem.samples; ++k) {
            const LongComplex term =
                std::conj(functions[k][i]) * weight_of(problem, lane, k) * functions[k][j];
            sum += term.real();
            size += std::abs(term);
          }
          const double found = products[(j * table.rows() + i) * lanes + lane % lanes];
          worst = std::max(worst, static_cast<double>(std::abs(Long(found) - sum) / (Long(eps) * size)));
        }
      }
    }
  }
  // In eps times the sum of the moduli: up to 330 terms are summed one after the other, and where the sum of
  // two poles is small, as small as the damping beside the distances, that much is lost again.
  std::cout << "worst: " << worst << " eps\n";
  EXPECT_LE(worst, 330.0 * 10.0);
}

}  // namespace
}  // namespace polefit
