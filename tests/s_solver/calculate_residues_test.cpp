#include "s_solver/fit/calculate_residues.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

struct Residues {
  std::vector<Complex> c;
  double d = 7.0;
  double h = 7.0;
};

struct Options {
  int use_const = 0;
  int use_sterm = 0;
  bool use_svd_invert = false;
  bool verbose = false;
};

/// Identifies the residues of poles a; outputs hold other values before.
Residues residues_of(const std::vector<Complex>& a, const std::vector<Complex>& s,
                     const std::vector<Complex>& f, const Options& options) {
  Residues result;
  result.c.assign(a.size(), Complex(7.0, 7.0));
  calculate_residues(static_cast<int>(a.size()), a.data(), nullptr, result.c.data(), nullptr, result.d,
                     result.h, static_cast<int>(s.size()), f.data(), s.data(), options.use_const,
                     options.use_sterm, options.use_svd_invert, options.verbose);
  return result;
}

const std::vector<Complex> pair{{-1, 2}, {-1, -2}};

TEST(CalculateResidues, one_real_pole_and_one_sample_fit_both_parts_together) {
  // The column is 1 / (1 + j) = (0.5, -0.5), hence c = Re f - Im f, without rounding.
  const auto [c, d, h] = residues_of({-1.0}, {{0, 1}}, {{3, 4}}, {});
  EXPECT_EQ(c[0], Complex(-1, 0));
  EXPECT_EQ(d, 0.0);
  EXPECT_EQ(h, 0.0);
}

TEST(CalculateResidues, recovers_the_model_behind_exact_samples) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers numbers(seed);
    RationalFunction model;
    for (int i = 0; i < static_cast<int>(seed % 4); ++i) {
      const double omega = 2.0 + 3.0 * i;
      const Complex c = numbers.complex();
      if (numbers.below(3) == 0) {
        model.a.emplace_back(-omega, 0.0);
        model.c.emplace_back(c.real(), 0.0);
      } else {
        const Complex a{-numbers.between(0.2, 1.0), numbers.below(2) == 0 ? omega : -omega};
        model.a.insert(model.a.end(), {a, std::conj(a)});
        model.c.insert(model.c.end(), {c, std::conj(c)});
      }
    }
    const Options options{numbers.below(2), numbers.below(2), numbers.below(2) == 1, false};
    model.d = options.use_const * numbers();
    model.h = options.use_sterm * numbers();
    const auto s = imaginary_points(40, 0.1, 12.0);
    const auto [c, d, h] = residues_of(model.a, s, model.at(s), options);
    worst = std::max({worst, std::abs(d - model.d), std::abs(h - model.h)});
    for (std::size_t i = 0; i < c.size(); ++i) {
      worst = std::max(worst, std::abs(c[i] - model.c[i]));
      if (model.a[i].imag() == 0.0) {
        ASSERT_EQ(c[i].imag(), 0.0);
      } else if (i + 1 < c.size() && model.a[i + 1] == std::conj(model.a[i])) {
        ASSERT_EQ(c[i + 1], std::conj(c[i]));
        ++i;
      }
    }
  }
  // eps m cond^2 with 80 rows and columns that, scaled to equal norms, have condition numbers up to 24.
  // Worst of these seeds: 1700 eps.
  EXPECT_LE(worst, 80.0 * 24.0 * 24.0 * eps);
}

TEST(CalculateResidues, a_pair_comes_back_exactly_conjugate) {
  const auto s = imaginary_points(10, 0.5, 5.0);
  const auto f = RationalFunction{pair, {{3, 4}, {3, -4}}}.at(s);
  for (const bool svd : {false, true}) {
    const auto c = residues_of(pair, s, f, {0, 0, svd}).c;
    EXPECT_LE(std::abs(c[0] - Complex(3, 4)), 1e3 * eps);  // twenty equations, condition number below 2
    EXPECT_EQ(c[1], std::conj(c[0]));
  }
}

TEST(CalculateResidues, the_real_unknowns_of_a_pair_are_the_parts_of_its_residue) {
  const auto s = imaginary_points(10, 0.5, 5.0);
  const auto f = RationalFunction{pair, {{3, 4}, {3, -4}}}.at(s);
  std::vector<Complex> c(2);
  double d = 0.0;
  double h = 0.0;
  const auto records = records_of([&] {
    calculate_residues(2, pair.data(), nullptr, c.data(), nullptr, d, h, 10, f.data(), s.data(), 0, 0, false,
                       true);
  });
  const auto caption = std::find(records.begin(), records.end(), " Solution vector xr:");
  ASSERT_GE(records.end() - caption, 6);
  EXPECT_EQ(words_of(caption[1]).at(0), "1");
  EXPECT_EQ(words_of(caption[2]).at(0), "2");
  const double x = std::stod(words_of(caption[1]).at(1));
  const double y = std::stod(words_of(caption[2]).at(1));
  EXPECT_LE(std::abs(x - 3.0), 1e3 * eps);  // as above
  EXPECT_LE(std::abs(y - 4.0), 1e3 * eps);
  EXPECT_EQ(caption[3], " Solution vector x:");
  EXPECT_EQ(caption[4], text::free_format_record(1, Complex(x, y)));
  EXPECT_EQ(caption[5], text::free_format_record(2, Complex(x, -y)));
}

TEST(CalculateResidues, constant_and_proportional_term_come_from_their_own_unknowns) {
  const auto s = imaginary_points(10, 0.5, 5.0);
  for (const int use_const : {0, 1, 2}) {
    for (const int use_sterm : {0, 1, -1}) {
      SCOPED_TRACE(testing::Message() << use_const << " " << use_sterm);
      const double d = use_const != 0 ? 5.0 : 0.0;
      const double h = use_sterm != 0 ? 0.5 : 0.0;
      const auto fit =
          residues_of(pair, s, RationalFunction{pair, {{3, 4}, {3, -4}}, d, h}.at(s), {use_const, use_sterm});
      EXPECT_NEAR(fit.d, d, 1e4 * eps);  // twenty equations, condition number below 10
      EXPECT_NEAR(fit.h, h, 1e4 * eps);
      EXPECT_EQ(fit.d == 0.0, use_const == 0);
      EXPECT_EQ(fit.h == 0.0, use_sterm == 0);
      EXPECT_LE(std::abs(fit.c[0] - Complex(3, 4)), 1e4 * eps);
    }
  }
}

TEST(CalculateResidues, without_poles_only_the_line_is_fitted) {
  const auto s = imaginary_points(5, 1.0, 5.0);
  const auto f = RationalFunction{{}, {}, 5.0, 0.5}.at(s);
  for (const int order : {0, -3}) {
    double d = 7.0;
    double h = 7.0;
    calculate_residues(order, nullptr, nullptr, nullptr, nullptr, d, h, 5, f.data(), s.data(), 1, 1, false,
                       false);
    EXPECT_NEAR(d, 5.0, 40 * eps);  // a few roundings, the columns being orthogonal
    EXPECT_NEAR(h, 0.5, 4 * eps);
  }
}

TEST(CalculateResidues, the_solution_satisfies_the_normal_equations_for_data_no_model_fits) {
  // The basis is written once more, from the model's formula.
  RandomNumbers numbers(1);
  const std::vector<Complex> a{{-1, 2}, {-1, -2}, -3.0};
  const auto s = imaginary_points(12, 0.3, 6.0);
  std::vector<Complex> f;
  Matrix system(24, 5);
  std::vector<double> b(24);
  for (int k = 0; k < 12; ++k) {
    const Complex point = s[static_cast<std::size_t>(k)];
    const Complex u = 1.0 / (point - a[0]);
    const Complex v = 1.0 / (point - a[1]);
    const Complex columns[] = {u + v, Complex(0, 1) * (u - v), 1.0 / (point - a[2]), 1.0, point};
    for (int q = 0; q < 5; ++q) {
      system(k, q) = columns[q].real();
      system(12 + k, q) = columns[q].imag();
    }
    f.push_back(numbers.complex());
    b[static_cast<std::size_t>(k)] = f.back().real();
    b[static_cast<std::size_t>(12 + k)] = f.back().imag();
  }
  for (const bool svd : {false, true}) {
    const auto [c, d, h] = residues_of(a, s, f, {1, 1, svd});
    // In eps max(m, n) |A| (|A| |x| + |b|); worst: 0.0016
    EXPECT_LE(normal_equation_residual(system, {c[0].real(), c[0].imag(), c[2].real(), d, h}, b), 1.0) << svd;
  }
}

TEST(CalculateResidues, an_imaginary_part_of_exactly_the_tolerance_counts_as_real) {
  EXPECT_EQ(residues_of({{-1, 1e-8}}, {{0, 1}}, {1.0}, {}).c[0].imag(), 0.0);
  EXPECT_EQ(residues_of({{-1, -1e-8}}, {{0, 1}}, {1.0}, {}).c[0].imag(), 0.0);
  records_before_plain_stop([] { residues_of({{-1, 1.0000001e-8}}, {{0, 1}}, {1.0}, {}); });
}

TEST(CalculateResidues, bad_poles_stop_the_program_in_the_name_of_update_poles) {
  const Complex lone(-1, 2);
  EXPECT_EQ(records_before_plain_stop([&] {
              residues_of({-3.0, lone}, {{0, 1}}, {1.0}, {});
            }),
            (std::vector<std::string>{" Error in update_poles: no second pole of conjugate pair",
                                      text::free_format_record("pole i  :", lone)}));
  const Complex leader(-1, 2);
  const Complex next(-1, -2.1);
  const double test2 = next.imag() + leader.imag();
  EXPECT_EQ(records_before_plain_stop([&] {
              residues_of({leader, next}, {{0, 1}}, {1.0}, {});
            }),
            (std::vector<std::string>{
                " Error in update_poles: poles do not form a conjugate pair",
                text::free_format_record("pole i  :", leader), text::free_format_record("pole i+1:", next),
                text::free_format_record("test1 value=", 0.0, " should be <", 1e-8),
                text::free_format_record("test2 value=", test2, " should be <", 1e-8)}));
}

TEST(CalculateResidues, fewer_equations_than_unknowns_stop_the_program_with_nothing_handed_out) {
  const std::vector<Complex> a{-1.0, -2.0, -3.0};
  const Complex s(0, 1);
  for (const bool svd : {false, true}) {
    std::vector<Complex> c(3, 7.0);
    double d = 7.0;
    double h = 7.0;
    const auto call = [&] {
      calculate_residues(3, a.data(), nullptr, c.data(), nullptr, d, h, 1, &s, &s, 0, 0, svd, false);
    };
    EXPECT_EQ(records_before_plain_stop(call),
              std::vector<std::string>{svd ? " Error in svd_solve, nr < nc"
                                           : " Error in morse_penrose_solve, nr < nc"});
    EXPECT_EQ(c, std::vector<Complex>(3, 7.0));
    EXPECT_EQ(d, 7.0);
    EXPECT_EQ(h, 7.0);
  }
}

TEST(CalculateResidues, a_repeated_pole_is_a_singular_system) {
  const auto records = records_before_plain_stop([] {
    residues_of({-1.0, -1.0}, {{0, 1}, {0, 2}}, {1.0, 1.0}, {});
  });
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0], " Singular matrix found in dinvert_Gauss_Jordan");
  EXPECT_EQ(words_of(records[1]), (std::vector<std::string>{"Reduction", "col=", "2"}));
}

TEST(CalculateResidues, a_pole_on_a_sample_point_goes_into_the_solve) {
  const std::vector<Complex> a{{0, 2}, {0, -2}};
  EXPECT_TRUE(std::isnan(residues_of(a, {{0, 1}, {0, 2}}, {1.0, 1.0}, {0, 0, true}).c[0].real()));
}

TEST(CalculateResidues, sizes_beyond_32_bits_are_memory_errors) {
  constexpr int largest = std::numeric_limits<int>::max();
  double d = 0.0;
  double h = 0.0;
  const auto call = [&](int order, int nf) {
    calculate_residues(order, nullptr, nullptr, nullptr, nullptr, d, h, nf, nullptr, nullptr, 1, 1, false,
                       false);
  };
  EXPECT_THROW(call(1, largest), MemoryError);
  EXPECT_THROW(call(largest, 1), MemoryError);
}

TEST(CalculateResidues, the_trace_shows_every_step) {
  const std::vector<Complex> a{-1.0};
  const std::vector<Complex> s{{0, 1}, {0, 3}};
  const std::vector<Complex> f{{1, 0}, {2, 1}};
  for (const bool svd : {false, true}) {
    const std::string solver = svd ? "svd_solve" : "morse_penrose_solve";
    Residues fit;
    const auto records = records_of([&] { fit = residues_of(a, s, f, {1, 1, svd, true}); });
    const double x = fit.c[0].real();
    EXPECT_EQ(records, (std::vector<std::string>{
                           " CALLED calculate_residues",
                           text::free_format_record("order=", 1),
                           text::free_format_record("nf=", 2),
                           text::free_format_record("Allocating memory: nr=", 2, " nc=", 3, " order=", 1),
                           " Pole types:",
                           text::free_format_record("pole", 1, " type ", 0),
                           " A matrix, nrows=nf, ncols=order+2",
                           "     1    5.00E-01    1.00E+00    0.00E+00",
                           "     2    1.00E-01    1.00E+00    0.00E+00",
                           "     3   -5.00E-01    0.00E+00    1.00E+00",
                           "     4   -3.00E-01    0.00E+00    3.00E+00",
                           " CALLING " + solver,
                           " CALLED " + solver,
                           " Solution vector xr:",
                           text::free_format_record(1, x),
                           text::free_format_record(2, fit.d),
                           text::free_format_record(3, fit.h),
                           " Solution vector x:",
                           text::free_format_record(1, Complex(x)),
                           text::free_format_record(2, Complex(fit.d)),
                           text::free_format_record(3, Complex(fit.h)),
                           " c vector",
                           text::free_format_record(1, fit.c[0]),
                           text::free_format_record("d=", fit.d),
                           text::free_format_record("h=", fit.h),
                       }));
    EXPECT_TRUE(records_of([&] { residues_of(a, s, f, {1, 1, svd, false}); }).empty());
  }
}

TEST(CalculateResidues, the_caption_of_the_system_is_the_same_without_the_last_columns) {
  const auto records = records_of([] { residues_of({-1.0}, {{0, 1}}, {1.0}, {0, 0, false, true}); });
  EXPECT_EQ(std::count(records.begin(), records.end(), " A matrix, nrows=nf, ncols=order+2"), 1);
  EXPECT_EQ(std::count(records.begin(), records.end(), "     1    5.00E-01"), 1);
}

TEST(CalculateResidues, a_negative_order_is_traced_as_it_stands) {
  double d = 0.0;
  double h = 0.0;
  const std::vector<Complex> s{{0, 1}};
  const auto records = records_of([&] {
    calculate_residues(-3, nullptr, nullptr, nullptr, nullptr, d, h, 1, s.data(), s.data(), 1, 1, false,
                       true);
  });
  ASSERT_GE(records.size(), 4U);
  EXPECT_EQ(records[1], text::free_format_record("order=", -3));
  EXPECT_EQ(records[3], text::free_format_record("Allocating memory: nr=", 1, " nc=", 2, " order=", -3));
}

}  // namespace
}  // namespace s_solver
