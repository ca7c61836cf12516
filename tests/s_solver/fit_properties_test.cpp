/// Properties of the fit over many random problems. Each test prints the worst case that it met, in units of
/// what is permitted.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <numeric>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "s_solver/dmatrix/svd.hpp"
#include "s_solver/driver/starting_poles.hpp"
#include "s_solver/fit/calculate_residues.hpp"
#include "s_solver/fit/fit_evaluation.hpp"
#include "s_solver/fit/update_poles.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

struct Options {
  int use_const = 0;
  int use_sterm = 0;
  bool use_svd_invert = false;
};

constexpr Options all_options[] = {{0, 0, false}, {0, 1, false}, {1, 0, false}, {1, 1, false},
                                   {0, 0, true},  {0, 1, true},  {1, 0, true},  {1, 1, true}};

/// The worst of many ratios of what was found to what is permitted, printed when the test ends.
class WorstCase {
 public:
  explicit WorstCase(const char* what) : what_(what) {}
  WorstCase(const WorstCase&) = delete;
  WorstCase& operator=(const WorstCase&) = delete;
  ~WorstCase() {
    EXPECT_GT(count_, 0);
    std::cout << "worst of " << count_ << " " << what_ << ": " << worst_ << " of what is permitted, at "
              << worst_permitted_ << "; largest permitted: " << largest_permitted_ << "\n";
  }
  void note(double found, double permitted) {
    EXPECT_LE(found, permitted);
    ++count_;
    if (found / permitted >= worst_) {
      worst_ = found / permitted;
      worst_permitted_ = permitted;
    }
    largest_permitted_ = std::max(largest_permitted_, permitted);
  }

  int count() const { return count_; }

 private:
  const char* what_;
  int count_ = 0;
  double worst_ = 0.0;
  double worst_permitted_ = 0.0;
  double largest_permitted_ = 0.0;
};

/// A model, its samples, perhaps with noise, and poles to start from.
struct Problem {
  RationalFunction model;
  std::vector<Complex> a;
  std::vector<Complex> s;
  std::vector<Complex> f;
};

/// The pairs of the model resonate all over 1..10 rad/s and as widely as they are apart, which keeps the
/// system well-conditioned; one pole is real when the order is odd. The starting poles are the program's.
Problem random_problem(int order, const Options& options, RandomNumbers& numbers, double noise = 0.0) {
  Problem problem;
  RationalFunction& model = problem.model;
  const int pairs = order / 2;
  const double distance = 9.0 / pairs;
  for (int k = 0; k < pairs; ++k) {
    const Complex a{-distance * numbers.between(0.1, 0.4), 1.0 + distance * (k + 0.5 + 0.3 * numbers())};
    const Complex c = distance * Complex{numbers.between(0.3, 1.0), numbers()};
    model.a.insert(model.a.end(), {a, std::conj(a)});
    model.c.insert(model.c.end(), {c, std::conj(c)});
  }
  if (order % 2 == 1) {
    model.a.emplace_back(-numbers.between(1.0, 5.0), 0.0);
    model.c.emplace_back(numbers.between(2.0, 5.0), 0.0);
  }
  model.d = options.use_const * numbers();
  // Where the constant is left out, sigma f of a model with h s has one all the same, and no exact fit.
  model.h = 0.1 * options.use_const * options.use_sterm * numbers();
  problem.a.resize(model.a.size());
  place_starting_poles(order, 1.0 / numerics::two_pi, 10.0 / numerics::two_pi, 0, 1, problem.a.data());
  problem.s = imaginary_points(2 * order + 10, 0.9, 10.1);
  problem.f = model.at(problem.s);
  for (Complex& f : problem.f) {
    f += noise * numbers.complex();
  }
  return problem;
}

/// Calls `check` for orders 2 to 30, all options, and `seeds` seeds each.
template <class Check>
void for_many_problems(double noise, int seeds, const Check& check) {
  for (int order = 2; order <= 30; ++order) {
    for (const Options& options : all_options) {
      for (int seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE(testing::Message()
                     << "order " << order << " const " << options.use_const << " sterm " << options.use_sterm
                     << " svd " << options.use_svd_invert << " seed " << seed);
        RandomNumbers numbers(static_cast<std::uint64_t>(100 * order + seed));
        check(random_problem(order, options, numbers, noise), options, numbers);
      }
    }
  }
}

/// What an iteration leaves: a model with the relocated poles, the residues of sigma and of sigma f on the
/// poles before, and the error.
struct Fit {
  RationalFunction model;
  RationalFunction sigma_f;
  std::vector<Complex> c_hat;
  double error = 0.0;

  bool operator==(const Fit& other) const {
    return model.a == other.model.a && model.c == other.model.c && model.d == other.model.d &&
           model.h == other.model.h && c_hat == other.c_hat && error == other.error;
  }
};

/// Residues and error of the poles that `fit` has already.
void identify_residues(const Problem& problem, const Options& options, Fit& fit) {
  const auto order = static_cast<int>(problem.a.size());
  const auto nf = static_cast<int>(problem.s.size());
  auto& [a, c, d, h] = fit.model;
  c.resize(a.size());
  calculate_residues(order, a.data(), nullptr, c.data(), nullptr, d, h, nf, problem.f.data(),
                     problem.s.data(), options.use_const, options.use_sterm, options.use_svd_invert, false);
  std::vector<Complex> f_fit(problem.s.size());
  calculate_fit_function(order, a.data(), c.data(), d, h, nf, f_fit.data(), problem.s.data());
  calculate_error(nf, problem.f.data(), f_fit.data(), problem.s.data(), fit.error);
}

Fit iterate(const Problem& problem, const Options& options) {
  const auto order = static_cast<int>(problem.a.size());
  Fit fit;
  fit.model.a.resize(problem.a.size());
  fit.c_hat.resize(problem.a.size());
  fit.sigma_f.a = problem.a;
  fit.sigma_f.c.resize(problem.a.size());
  update_poles(order, problem.a.data(), fit.model.a.data(), fit.sigma_f.c.data(), fit.c_hat.data(),
               fit.sigma_f.d, fit.sigma_f.h, static_cast<int>(problem.s.size()), problem.f.data(),
               problem.s.data(), options.use_const, options.use_sterm, options.use_svd_invert, false);
  identify_residues(problem, options, fit);
  return fit;
}

/// The real system of the relocation, written once more from its formula.
Matrix relocation_system(const Problem& problem, const Options& options) {
  const auto nf = static_cast<int>(problem.s.size());
  const std::vector<Complex>& a = problem.a;
  Matrix system(2 * nf, 2 * static_cast<int>(a.size()) + options.use_const + options.use_sterm);
  for (int k = 0; k < nf; ++k) {
    const Complex s = problem.s[static_cast<std::size_t>(k)];
    std::vector<Complex> row;
    for (std::size_t i = 0; i < a.size(); ++i) {
      const Complex u = 1.0 / (s - a[i]);
      const Complex v = 1.0 / (s - std::conj(a[i]));
      const bool follows = i > 0 && a[i].imag() != 0.0 && a[i - 1] == std::conj(a[i]);
      row.push_back(a[i].imag() == 0.0 ? u : follows ? Complex(0, 1) * (v - u) : u + v);
    }
    if (options.use_const != 0) {
      row.emplace_back(1.0);
    }
    if (options.use_sterm != 0) {
      row.push_back(s);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
      row.push_back(-problem.f[static_cast<std::size_t>(k)] * row[i]);
    }
    for (int q = 0; q < system.columns; ++q) {
      system(k, q) = row[static_cast<std::size_t>(q)].real();
      system(nf + k, q) = row[static_cast<std::size_t>(q)].imag();
    }
  }
  return system;
}

double sum_of_squares(const std::vector<Complex>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0,
                         [](double sum, Complex value) { return sum + std::norm(value); });
}

/// How far rounding may move each relocated pole of `fit`, to first order.
///
/// Both solvers form an explicit inverse, so the unknowns x of A x ~ b are off by up to
/// m eps cond(A)^2 (|x| + |b| / |A|), the m rows being the length of the sums. That moves a zero z of sigma
/// by -sum dc_i / (z - a_i) / sigma'(z), c_i being the residues of sigma. The eigenvalues of the state matrix
/// H add n eps |H| |y| |x| / |y^T x| with the eigenvectors x_i = 1 / (z - a_i) and y_i = c_i / (z - a_i), for
/// which y^T x = -sigma'(z); the real form of a pair costs a factor of 2.
std::vector<double> permitted_moves(const Problem& problem, const Options& options, const Fit& fit) {
  Matrix system = relocation_system(problem, options);
  std::vector<double> w(static_cast<std::size_t>(system.columns));
  int ierr = 0;
  svd(system.rows, system.columns, system.data(), w.data(), false, nullptr, false, nullptr, ierr);
  EXPECT_EQ(ierr, 0);
  const double condition = w.front() / w.back();
  const double unknowns = std::sqrt(sum_of_squares(fit.c_hat) + sum_of_squares(fit.sigma_f.c) +
                                    fit.sigma_f.d * fit.sigma_f.d + fit.sigma_f.h * fit.sigma_f.h);
  const double move_of_unknowns = system.rows * eps * condition * condition *
                                  (unknowns + std::sqrt(sum_of_squares(problem.f)) / w.front());
  const std::vector<Complex>& a = problem.a;
  const double state_matrix = std::sqrt(sum_of_squares(a)) +
                              2.0 * std::sqrt(static_cast<double>(a.size()) * sum_of_squares(fit.c_hat));
  const double move_of_eigenvalues = static_cast<double>(a.size()) * eps * state_matrix;

  std::vector<double> moves;
  for (const Complex z : fit.model.a) {
    // x times z - a_j for the nearest a_j, and y_j from sigma(z) = 0: at convergence z is a_j.
    const auto nearest = std::min_element(a.begin(), a.end(), [z](Complex left, Complex right) {
      return std::abs(z - left) < std::abs(z - right);
    });
    const auto j = static_cast<std::size_t>(nearest - a.begin());
    Complex y_j(-1.0);
    Complex product;
    double x = 1.0;
    double y = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (i != j) {
        const Complex x_i = (z - a[j]) / (z - a[i]);
        const Complex y_i = fit.c_hat[i] / (z - a[i]);
        product += y_i * x_i;
        y_j -= y_i;
        x += std::norm(x_i);
        y += std::norm(y_i);
      }
    }
    product += y_j;
    y += std::norm(y_j);
    moves.push_back((std::sqrt(2.0 * x) * move_of_unknowns + 2.0 * std::sqrt(x * y) * move_of_eigenvalues) /
                    std::abs(product));
  }
  return moves;
}

/// The nearest of `others` is no further from each pole than their permitted moves together.
void expect_same_poles(const std::vector<Complex>& poles, const std::vector<double>& moves,
                       const std::vector<Complex>& others, const std::vector<double>& moves_of_others,
                       WorstCase& worst) {
  for (std::size_t i = 0; i < poles.size(); ++i) {
    std::size_t nearest = 0;
    for (std::size_t k = 1; k < others.size(); ++k) {
      nearest = std::abs(others[k] - poles[i]) < std::abs(others[nearest] - poles[i]) ? k : nearest;
    }
    worst.note(std::abs(others[nearest] - poles[i]), moves[i] + moves_of_others[nearest]);
  }
}

TEST(FitProperties, relocated_poles_of_exact_samples_are_the_poles_of_the_model) {
  WorstCase worst("poles");
  for_many_problems(0.0, 4, [&](const Problem& problem, const Options& options, RandomNumbers&) {
    const Fit fit = iterate(problem, options);
    const std::vector<double> moves = permitted_moves(problem, options, fit);
    expect_same_poles(fit.model.a, moves, problem.model.a, std::vector<double>(moves.size()), worst);
    // So that each has one of its own.
    const std::size_t pairs = problem.a.size() / 2;
    const double distance = 9.0 / static_cast<double>(pairs);
    EXPECT_LT(*std::max_element(moves.begin(), moves.end()), 0.1 * distance);
  });
}

/// An error is compared where it may move by less than this part of itself; elsewhere that would say nothing.
constexpr double telling = 1e-3;

/// How far the error may move when each pole moves by `moves`: by the root mean square of the sum of
/// |df / da| |da|, since fitted residues can only make it better.
double permitted_move_of_error(const Problem& problem, const Fit& fit, const std::vector<double>& moves) {
  double sum = 0.0;
  for (const Complex s : problem.s) {
    double move = 0.0;
    for (std::size_t i = 0; i < moves.size(); ++i) {
      move += moves[i] * std::abs(fit.model.c[i]) / std::norm(s - fit.model.a[i]);
    }
    sum += move * move;
  }
  return std::sqrt(sum / static_cast<double>(problem.s.size()));
}

TEST(FitProperties, both_solvers_find_the_same_poles_and_error) {
  WorstCase poles("poles");
  WorstCase errors("errors");
  for_many_problems(1e-3, 4, [&](const Problem& problem, Options options, RandomNumbers&) {
    const Fit fit = iterate(problem, options);
    options.use_svd_invert = !options.use_svd_invert;
    const Fit other = iterate(problem, options);
    const std::vector<double> moves = permitted_moves(problem, options, fit);
    const std::vector<double> moves_of_other = permitted_moves(problem, options, other);
    expect_same_poles(fit.model.a, moves, other.model.a, moves_of_other, poles);
    const double permitted = permitted_move_of_error(problem, fit, moves) +
                             permitted_move_of_error(problem, other, moves_of_other);
    if (permitted < telling * fit.error) {
      errors.note(std::abs(fit.error - other.error), permitted);
    }
  });
  EXPECT_GE(errors.count(), 464);  // half of them
}

TEST(FitProperties, the_converged_error_does_not_depend_on_the_order_of_the_samples) {
  WorstCase errors("errors");
  for_many_problems(1e-3, 1, [&](Problem problem, const Options& options, RandomNumbers& numbers) {
    const auto converge = [&options](Problem from) {
      Fit fit = iterate(from, options);
      for (int iteration = 1; iteration < 15; ++iteration) {
        from.a = fit.model.a;
        fit = iterate(from, options);
      }
      return std::pair(from, fit);
    };
    const auto [last, fit] = converge(problem);
    for (std::size_t k = problem.s.size() - 1; k > 0; --k) {
      const auto other = static_cast<std::size_t>(numbers.below(static_cast<int>(k) + 1));
      std::swap(problem.s[k], problem.s[other]);
      std::swap(problem.f[k], problem.f[other]);
    }
    const Fit shuffled = converge(problem).second;
    // Both are off by that; what one iteration moves, the next ones move again by 0.013 times as much as
    // measured.
    const std::vector<double> moves = permitted_moves(last, options, fit);
    const double permitted = 2.1 * permitted_move_of_error(last, fit, moves);
    if (permitted < telling * fit.error) {
      errors.note(std::abs(fit.error - shuffled.error), permitted);
    }
  });
  EXPECT_GE(errors.count(), 116);  // half of them
}

TEST(FitProperties, pairs_are_exactly_conjugate_whatever_the_samples) {
  int pairs = 0;
  const auto expect_pairs = [&pairs](const std::vector<Complex>& poles,
                                     const std::vector<Complex>& residues) {
    for (std::size_t i = 0; i < poles.size(); ++i) {
      if (poles[i].imag() == 0.0) {
        ASSERT_EQ(residues[i].imag(), 0.0);
        continue;
      }
      ASSERT_LT(i + 1, poles.size());
      ASSERT_EQ(poles[i + 1], std::conj(poles[i]));
      ASSERT_EQ(residues[i + 1], std::conj(residues[i]));
      ++pairs;
      ++i;
    }
  };
  for_many_problems(0.0, 4, [&](Problem problem, const Options& options, RandomNumbers& numbers) {
    for (Complex& f : problem.f) {
      f = numbers.complex();
    }
    for (int iteration = 0; iteration < 3; ++iteration) {
      const Fit fit = iterate(problem, options);
      expect_pairs(problem.a, fit.c_hat);
      expect_pairs(problem.a, fit.sigma_f.c);
      expect_pairs(fit.model.a, fit.model.c);
      problem.a = fit.model.a;
    }
  });
  std::cout << pairs << " pairs\n";
}

TEST(FitProperties, residues_and_error_of_scaled_samples_are_scaled_bit_by_bit) {
  for_many_problems(1e-3, 4, [](Problem problem, const Options& options, RandomNumbers& numbers) {
    Fit fit = iterate(problem, options);
    const double scale = std::ldexp(numbers.below(2) == 0 ? 1.0 : -1.0, numbers.below(200) - 100);
    for (Complex& f : problem.f) {
      f *= scale;
    }
    Fit scaled = fit;
    identify_residues(problem, options, scaled);
    for (Complex& c : fit.model.c) {
      c *= scale;
    }
    fit.model.d *= scale;
    fit.model.h *= scale;
    fit.error *= std::abs(scale);
    EXPECT_EQ(scaled, fit);
  });
}

TEST(FitProperties, relocated_poles_of_scaled_samples_are_the_same) {
  // Not bit by bit: the scale is that of some columns only, and may change which pivot is largest.
  WorstCase worst("poles");
  for_many_problems(1e-3, 4, [&](Problem problem, const Options& options, RandomNumbers& numbers) {
    const Fit fit = iterate(problem, options);
    const std::vector<double> moves = permitted_moves(problem, options, fit);
    const double scale = std::ldexp(1.0, numbers.below(5) - 2);
    for (Complex& f : problem.f) {
      f *= scale;
    }
    const Fit scaled = iterate(problem, options);
    const std::vector<double> scaled_moves = permitted_moves(problem, options, scaled);
    expect_same_poles(fit.model.a, moves, scaled.model.a, scaled_moves, worst);
  });
}

TEST(FitProperties, samples_of_opposite_sign_give_the_opposite_model_bit_by_bit) {
  for_many_problems(1e-3, 4, [](Problem problem, const Options& options, RandomNumbers&) {
    if (options.use_svd_invert) {
      return;  // the decomposition begins with reflections that look at signs
    }
    Fit fit = iterate(problem, options);
    for (Complex& f : problem.f) {
      f = -f;
    }
    for (Complex& c : fit.model.c) {
      c = -c;
    }
    fit.model.d = -fit.model.d;
    fit.model.h = -fit.model.h;
    EXPECT_EQ(iterate(problem, options), fit);
  });
}

TEST(FitProperties, scaled_frequencies_scale_the_model_bit_by_bit) {
  for_many_problems(1e-3, 4, [](Problem problem, const Options& options, RandomNumbers& numbers) {
    if (options.use_const != 0 || options.use_sterm != 0) {
      return;  // their columns do not scale as those of the poles do
    }
    Fit fit = iterate(problem, options);
    // Up to tens of gigahertz, and not down to where every pole counts as real.
    const double scale = std::ldexp(1.0, numbers.below(50) - 10);
    for (auto* const values : {&problem.a, &problem.s, &fit.model.a, &fit.model.c, &fit.c_hat}) {
      for (Complex& value : *values) {
        value *= scale;
      }
    }
    EXPECT_EQ(iterate(problem, options), fit);
  });
}

}  // namespace
}  // namespace s_solver
