#include "s_solver/driver/test_sets.hpp"
#include "numerics/angular_frequency.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <vector>

#include "numerics/complex_division.hpp"

namespace s_solver {
namespace {

using Complex = std::complex<double>;
using LongComplex = std::complex<long double>;

constexpr double eps = std::numeric_limits<double>::epsilon();

struct Term {
  double sigma, omega, re, im;
};

/// A set by its numbers; terms of an upper half plane pole stand for themselves and their conjugate.
struct TestSet {
  decltype(&set_test_set_1) fill;
  int nf;
  double fmin, fmax, d, h;
  double unit;
  std::vector<Term> terms;
};

const std::vector<TestSet>& sets() {
  static const std::vector<TestSet> all{
      {set_test_set_1, 101, 1.0, 1e4, 0.5, 0.0, 1.0, {{-5, 0, 2, 0}, {-100, 500, 30, 40}}},
      {set_test_set_2,
       100,
       1.0,
       1e5,
       0.2,
       2e-5,
       numerics::two_pi,
       {{-4500, 0, -3000, 0},
        {-41000, 0, -83000, 0},
        {-100, 5000, -5, 7000},
        {-120, 15000, -20, 18000},
        {-3000, 35000, 6000, 45000},
        {-200, 45000, 40, 60000},
        {-1500, 45000, 90, 10000},
        {-500, 70000, 50000, 80000},
        {-1000, 73000, 1000, 45000},
        {-2000, 90000, -5000, 92000}}},
      {set_test_set_3,
       100,
       1.0,
       300.0,
       0.5,
       2e-5,
       1.0,
       {{-5, 0, 2, 0}, {-100, 500, 30, 40}, {-150, 800, 20, 90}}},
      {set_test_set_4, 500, 1e3, 1e7, 10.0, 1e-6, 1.0, {{0, 0, 1e6, 0}, {-150000, 2e7, 2e7, 9e5}}},
  };
  return all;
}

/// Poles and residues of a set, each conjugate behind its pair's first.
std::vector<std::pair<Complex, Complex>> pole_terms(const TestSet& set) {
  std::vector<std::pair<Complex, Complex>> all;
  for (const auto& [sigma, omega, re, im] : set.terms) {
    all.push_back({{sigma * set.unit, omega * set.unit}, {re * set.unit, im * set.unit}});
    if (omega != 0.0) {
      all.emplace_back(std::conj(all.back().first), std::conj(all.back().second));
    }
  }
  return all;
}

struct Samples {
  double fmin = 0.0;
  double fmax = 0.0;
  std::vector<Complex> s;
  std::vector<Complex> f;
};

Samples sampled(const TestSet& set, int nf, int spacing) {
  const Complex guard(-1.0, -1.0);
  const auto size = static_cast<std::size_t>(nf);
  Samples samples{.s = std::vector<Complex>(size + 1, guard), .f = std::vector<Complex>(size + 1, guard)};
  set.fill(nf, samples.fmin, samples.fmax, samples.s.data(), samples.f.data(), spacing);
  EXPECT_EQ(samples.s.back(), guard);
  EXPECT_EQ(samples.f.back(), guard);
  samples.s.pop_back();
  samples.f.pop_back();
  return samples;
}

/// Calls `check` for every set on both its grids.
template <class Check>
void for_all_grids(const Check& check) {
  for (std::size_t i = 0; i < sets().size(); ++i) {
    for (const int spacing : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << "set " << i + 1 << (spacing == 0 ? " linear" : " logarithmic"));
      check(sets()[i], sampled(sets()[i], sets()[i].nf, spacing), spacing);
    }
  }
}

TEST(TestSets, each_set_names_its_band) {
  for_all_grids([](const TestSet& set, const Samples& samples, int) {
    EXPECT_EQ(samples.fmin, set.fmin);
    EXPECT_EQ(samples.fmax, set.fmax);
  });
}

TEST(TestSets, the_first_sample_lies_exactly_at_fmin) {
  for_all_grids([](const TestSet& set, const Samples& samples, int) {
    EXPECT_EQ(samples.s.front().imag(), set.fmin * numerics::two_pi);
  });
}

TEST(TestSets, the_last_sample_lies_at_fmax_up_to_rounding) {
  for_all_grids([](const TestSet& set, const Samples& samples, int spacing) {
    // Linear: difference, step, multiple, sum and 2 pi round once each, half an eps every time.
    // Logarithmic: 2 eps of the logarithm times ln(10), and half an eps for the power and for 2 pi.
    const double bound = spacing == 0 ? 2.5 * eps : (2.0 * 2.31 * std::log10(set.fmax) + 1.0) * eps;
    EXPECT_NEAR(samples.s.back().imag(), set.fmax * numerics::two_pi, bound * set.fmax * numerics::two_pi);
  });
}

TEST(TestSets, the_grid_is_even_on_its_scale) {
  for_all_grids([](const TestSet& set, const Samples& samples, int spacing) {
    for (std::size_t i = 0; i < samples.s.size(); ++i) {
      const double part = static_cast<double>(i) / (set.nf - 1);
      const double frequency = spacing == 0 ? set.fmin + part * (set.fmax - set.fmin)
                                            : set.fmin * std::pow(set.fmax / set.fmin, part);
      // Both sides with the bounds of the last sample.
      ASSERT_NEAR(samples.s[i].imag(), frequency * numerics::two_pi,
                  2.0 * 37.0 * eps * frequency * numerics::two_pi)
          << i;
    }
  });
}

TEST(TestSets, any_flag_but_zero_is_logarithmic) {
  for (const TestSet& set : sets()) {
    EXPECT_EQ(sampled(set, 9, 1).s, sampled(set, 9, -3).s);
    EXPECT_NE(sampled(set, 9, 1).s, sampled(set, 9, 0).s);
  }
}

TEST(TestSets, every_point_has_a_real_part_of_exactly_zero) {
  for_all_grids([](const TestSet&, const Samples& samples, int) {
    for (const Complex point : samples.s) {
      ASSERT_EQ(point.real(), 0.0);
    }
  });
}

TEST(TestSets, the_samples_are_the_sets_rational_function) {
  for_all_grids([](const TestSet& set, const Samples& samples, int) {
    const auto terms = pole_terms(set);
    for (std::size_t i = 0; i < samples.s.size(); ++i) {
      const LongComplex s(samples.s[i]);
      LongComplex sum = s * static_cast<long double>(set.h) + static_cast<long double>(set.d);
      long double size = std::abs(s) * set.h + set.d;
      for (const auto& [pole, residue] : terms) {
        const LongComplex term = LongComplex(residue) / (s - LongComplex(pole));
        sum += term;
        size += std::abs(term);
      }
      // A difference s - a loses half an eps of its larger part, at worst eps / 2 of itself in each part;
      // the scaled quotient 5 eps of its modulus; each of the up to 20 sums half an eps of all terms.
      const auto difference = static_cast<double>(std::abs(LongComplex(samples.f[i]) - sum));
      ASSERT_LE(difference, (1.0 + 5.0 + 10.0) * eps * static_cast<double>(size)) << i;
    }
  });
}

TEST(TestSets, the_terms_are_added_in_the_order_of_each_set) {
  // Another order differs in the last bits of some sample.
  for (std::size_t set_index = 0; set_index < sets().size(); ++set_index) {
    SCOPED_TRACE(set_index + 1);
    const TestSet& set = sets()[set_index];
    const Samples samples = sampled(set, set.nf, 0);
    for (std::size_t i = 0; i < samples.s.size(); ++i) {
      const Complex s = samples.s[i];
      const bool polynomial_first = set_index == 1 || set_index == 3;
      Complex sum = polynomial_first ? Complex(set.d, s.imag() * set.h) : Complex(0.0, 0.0);
      for (const auto& [pole, residue] : pole_terms(set)) {
        // The pole at the origin is written as the reciprocal of 1e-6 s.
        sum += pole == 0.0 ? numerics::smith_quotient(1.0, s * 1e-6)
                           : numerics::smith_quotient(residue, s - pole);
      }
      if (!polynomial_first) {
        sum += set.d;
        sum += Complex(0.0, s.imag() * set.h);
      }
      ASSERT_EQ(samples.f[i], sum) << i;
    }
  }
}

TEST(TestSets, set_4_has_a_pole_at_the_origin) {
  const Samples samples = sampled(sets()[3], 500, 0);
  // At 1 kHz the h term adds 0.0063 to the imaginary part and the pair less than 2 |c| w / |a|^2 = 0.0007.
  const double omega = 1000.0 * numerics::two_pi;
  EXPECT_NEAR(samples.f.front().imag(), -1e6 / omega, 0.01);
}

TEST(TestSets, set_4_resonates_near_3_megahertz) {
  const Samples samples = sampled(sets()[3], 500, 0);
  std::size_t peak = 100;  // behind the pole at the origin
  for (std::size_t i = peak; i < samples.f.size(); ++i) {
    peak = std::abs(samples.f[i]) > std::abs(samples.f[peak]) ? i : peak;
  }
  // Half a sample's distance, and a half width of the resonance, 150000 / 2 pi.
  EXPECT_NEAR(samples.s[peak].imag(), 2e7, 150000.0 + 0.5 * numerics::two_pi * 1e7 / 499.0);
}

TEST(TestSets, one_sample_has_an_infinite_step_and_no_frequency) {
  for (const TestSet& set : sets()) {
    for (const int spacing : {0, 1}) {
      EXPECT_TRUE(std::isnan(sampled(set, 1, spacing).s.front().imag()));
    }
  }
}

}  // namespace
}  // namespace s_solver
