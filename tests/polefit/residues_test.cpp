#include "polefit/fitting/residues.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "networks.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// What a model is at a frequency, and the sum of the moduli of its terms.
struct Value {
  Complex value;
  double size = 0.0;
};

Value value_at(const Model& model, double frequency) {
  const Complex s(0.0, 6.283185307179586 * frequency);
  Value result{model.constants[0] + s * model.proportionals[0],
               std::abs(model.constants[0]) + std::abs(s * model.proportionals[0])};
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    const Complex term = model.residues[i] / (s - model.poles[i]);
    result.value += term;
    result.size += std::abs(term);
  }
  return result;
}

TEST(Residues, the_exact_sample_is_exact_however_few_samples_there_are) {
  double worst = 0.0;
  RandomNumbers numbers(1);
  for (std::size_t samples = 1; samples <= 4; ++samples) {
    std::vector<double> frequencies;
    std::vector<Complex> values;
    for (std::size_t k = 0; k < samples; ++k) {
      frequencies.push_back(1e9 * (1.0 + static_cast<double>(k) + 0.3 * numbers()));
      values.push_back(numbers.complex());
    }
    const NetworkData data{frequencies, Responses::by_response(values, 1), {}, {}};
    for (std::size_t choice = 0; choice < 48; ++choice) {
      Options options;
      options.real_poles = choice % 4;
      options.complex_pairs = choice / 4 % 3;
      options.constant = choice / 12 % 2 == 1;
      options.proportional = choice / 24 == 1;
      const Problem problem = make_problem(data, options);
      const std::size_t unknowns = options.real_poles + 2 * options.complex_pairs + problem.terms();
      if (unknowns > 2 * samples || unknowns < 2) {
        continue;
      }
      Poles poles;
      for (std::size_t i = 0; i < options.complex_pairs; ++i) {
        const Complex pole(-0.1, 0.6 + 0.8 * static_cast<double>(i));
        poles.insert(poles.end(), {pole, std::conj(pole)});
      }
      for (std::size_t i = 0; i < options.real_poles; ++i) {
        poles.emplace_back(-0.5 - static_cast<double>(i));
      }
      for (std::size_t k = 0; k < samples; ++k) {
        SCOPED_TRACE(testing::Message() << samples << " samples, choice " << choice << ", exact " << k);
        const Model model = identify_residues(problem, poles, k, 1);
        const Value found = value_at(model, frequencies[k]);
        // In eps times the terms that are summed; their number is below ten.
        const double off = std::abs(found.value - values[k]) / (eps * (found.size + std::abs(values[k])));
        EXPECT_LE(off, 100.0);
        worst = std::max(worst, off);
      }
    }
  }
  std::cout << "worst: " << worst << " eps\n";
}

TEST(Residues, the_exact_sample_is_exact_also_where_no_sample_counts) {
  // The first of two responses counts; a pole far beyond the band has a tiny basis function.
  const std::vector<double> frequencies{1.0};
  const std::vector<Complex> values{{0.3, 0.7}, {1.0, 0.5}};
  const std::vector<double> weights{0.0, 1.0};
  const NetworkData data{frequencies, Responses::by_response(values, 2), {}, weights};
  const Problem problem = make_problem(data, {});
  const Model model = identify_residues(problem, {-2e8}, 0, 1);
  const Value found = value_at(model, 1.0);
  EXPECT_LE(std::abs(found.value - values[0]), 100.0 * eps * found.size);
}

TEST(Residues, where_one_part_follows_from_the_other_only_one_is_made_exact) {
  // Two poles that are one but for rounding give basis functions of one phase.
  const std::vector<double> frequencies{1.0, 2.0, 3.0, 4.0};
  const std::vector<Complex> values{{1.0, 0.5}, {0.5, 0.4}, {0.2, 0.1}, {0.1, 0.3}};
  Options options;
  options.constant = false;
  const NetworkData data{frequencies, Responses::by_response(values, 1), {}, {}};
  const Problem problem = make_problem(data, options);
  const Poles poles{-1.0, -1.0 - 4.0 * eps};
  const Model model = identify_residues(problem, poles, 3, 1);
  for (const Complex residue : model.residues) {
    EXPECT_LE(std::abs(residue), 100.0);  // of the size of a fit with one pole
  }
  EXPECT_NEAR(value_at(model, 4.0).value.real(), 0.1, 100.0 * eps);
}

}  // namespace
}  // namespace polefit
