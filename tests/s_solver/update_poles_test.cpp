#include "s_solver/fit/update_poles.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "s_solver/dmatrix/deig.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "support.hpp"
#include "text/edit_format.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

struct Relocation {
  std::vector<Complex> new_a;
  std::vector<Complex> c;
  std::vector<Complex> c_hat;
  double d = 7.0;
  double h = 7.0;
};

struct Options {
  int use_const = 0;
  int use_sterm = 0;
  bool use_svd_invert = false;
  bool verbose = false;
};

Relocation relocation_of(const std::vector<Complex>& a, const std::vector<Complex>& s,
                         const std::vector<Complex>& f, const Options& options) {
  const std::vector<Complex> other(a.size(), Complex(7.0, 7.0));
  Relocation result{other, other, other};
  update_poles(static_cast<int>(a.size()), a.data(), result.new_a.data(), result.c.data(),
               result.c_hat.data(), result.d, result.h, static_cast<int>(s.size()), f.data(), s.data(),
               options.use_const, options.use_sterm, options.use_svd_invert, options.verbose);
  return result;
}

/// H = A - b c^T of the real state-space form; complex poles of a are pairs.
Matrix state_matrix(const std::vector<Complex>& a, const std::vector<Complex>& c_hat) {
  const int order = static_cast<int>(a.size());
  Matrix state(order, order);
  std::vector<double> input(a.size());
  std::vector<double> output(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    const int m = static_cast<int>(i);
    state(m, m) = a[i].real();
    input[i] = 1.0;
    output[i] = c_hat[i].real();
    if (a[i].imag() != 0.0) {
      state(m, m + 1) = a[i].imag();
      state(m + 1, m) = -a[i].imag();
      state(m + 1, m + 1) = a[i].real();
      input[i] = 2.0;
      input[i + 1] = 0.0;
      output[i + 1] = c_hat[i].imag();
      ++i;
    }
  }
  for (int r = 0; r < order; ++r) {
    for (int q = 0; q < order; ++q) {
      state(r, q) -= output[static_cast<std::size_t>(q)] * input[static_cast<std::size_t>(r)];
    }
  }
  return state;
}

/// Poles of the left half-plane, pairs with a member of either sign first, real ones between them.
RationalFunction random_model(RandomNumbers& numbers, int terms) {
  RationalFunction model;
  for (int i = 0; i < terms; ++i) {
    const double omega = 1.0 + 2.0 * i;
    const Complex c{numbers.between(0.5, 1.0), numbers()};
    if (numbers.below(3) == 0) {
      model.a.emplace_back(-omega, 0.0);
      model.c.emplace_back(c.real(), 0.0);
    } else {
      const Complex a{-numbers.between(0.2, 0.6), numbers.below(2) == 0 ? omega : -omega};
      model.a.insert(model.a.end(), {a, std::conj(a)});
      model.c.insert(model.c.end(), {c, std::conj(c)});
    }
  }
  return model;
}

/// Other poles of the same kinds in the same places.
std::vector<Complex> displaced(std::vector<Complex> a) {
  for (Complex& pole : a) {
    pole = {1.2 * pole.real() - 0.05, 1.1 * pole.imag()};
  }
  return a;
}

/// How far each of `poles` is from the nearest of `found`, at most.
double distance(const std::vector<Complex>& poles, const std::vector<Complex>& found) {
  double worst = 0.0;
  for (const Complex pole : poles) {
    double nearest = infinity;
    for (const Complex candidate : found) {
      nearest = std::min(nearest, std::abs(pole - candidate));
    }
    worst = std::max(worst, nearest);
  }
  return worst;
}

TEST(UpdatePoles, one_real_pole_moves_to_the_zero_of_sigma) {
  // sigma = (s + 2) / (s + 1) = 1 + 1 / (s + 1), and sigma f = 1 / (s + 1).
  const auto s = imaginary_points(6, 0.5, 3.0);
  for (const bool svd : {false, true}) {
    const auto [new_a, c, c_hat, d, h] =
        relocation_of({-1.0}, s, RationalFunction{{-2.0}, {1.0}}.at(s), {0, 0, svd});
    // Two unknowns, twelve equations, condition number below 6.
    EXPECT_NEAR(new_a[0].real(), -2.0, 500 * eps);
    EXPECT_NEAR(c[0].real(), 1.0, 500 * eps);
    EXPECT_NEAR(c_hat[0].real(), 1.0, 500 * eps);
    EXPECT_EQ(new_a[0].imag(), 0.0);
    EXPECT_EQ(c[0].imag(), 0.0);
    EXPECT_EQ(c_hat[0].imag(), 0.0);
    EXPECT_EQ(d, 0.0);
    EXPECT_EQ(h, 0.0);
  }
}

TEST(UpdatePoles, exact_samples_of_as_many_poles_give_the_poles_in_one_step) {
  double worst = 0.0;
  double worst_sigma = 0.0;
  for (std::uint64_t seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers numbers(seed);
    RationalFunction model = random_model(numbers, 1 + static_cast<int>(seed % 3));
    const Options options{numbers.below(2), numbers.below(2), numbers.below(2) == 1};
    model.d = options.use_const * 0.5;
    // Without the constant, sigma f has none only if the model has no proportional term.
    model.h = options.use_const * options.use_sterm * 0.25;
    const auto s = imaginary_points(60, 0.1, 8.0);
    const auto a = displaced(model.a);
    const auto [new_a, c, c_hat, d, h] = relocation_of(a, s, model.at(s), options);
    worst = std::max(worst, distance(model.a, new_a));
    for (const Complex pole : new_a) {
      worst_sigma = std::max(worst_sigma, std::abs(RationalFunction{a, c_hat, 1.0}(pole)));
    }
    // At infinity sigma is 1: the leading term of sigma f is the model's.
    worst = std::max(worst, std::abs(h - model.h));
    for (std::size_t i = 0; i + 1 < a.size(); ++i) {
      if (a[i].imag() != 0.0) {
        ASSERT_EQ(c[i + 1], std::conj(c[i]));
        ASSERT_EQ(c_hat[i + 1], std::conj(c_hat[i]));
        ++i;
      }
    }
  }
  // cond^2 eps: the columns, scaled to equal norms, have condition numbers up to 3.4e4. Worst of these
  // seeds: 3.3e5 eps.
  EXPECT_LE(worst, 3.4e4 * 3.4e4 * eps);
  // The zeros need the state-space form alone: six roundings of elements of H below 10, and |d sigma / d s|
  // below 20. Worst of these seeds: 40 eps.
  EXPECT_LE(worst_sigma, 1e3 * eps);
}

TEST(UpdatePoles, new_poles_are_the_mirrored_eigenvalues_of_the_state_matrix_in_their_order) {
  int mirrored = 0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers numbers(seed);
    const auto a = random_model(numbers, 1 + static_cast<int>(seed % 5)).a;
    const auto s = imaginary_points(20, 0.1, 12.0);
    std::vector<Complex> f;
    for (std::size_t k = 0; k < s.size(); ++k) {
      f.push_back(numbers.complex());
    }
    const auto relocation = relocation_of(a, s, f, {1, 1, seed % 2 == 1});
    std::vector<Complex> expected(a.size());
    const Matrix state = state_matrix(a, relocation.c_hat);
    deig(state.data(), state.rows, expected.data(), state.rows);
    for (Complex& pole : expected) {
      if (pole.real() > 0.0) {
        pole = {-pole.real(), pole.imag()};
        ++mirrored;
      }
    }
    ASSERT_EQ(relocation.new_a, expected);  // the same operations, hence the same bits
  }
  EXPECT_GT(mirrored, 100);  // the rule was really seen
}

TEST(UpdatePoles, an_eigenvalue_in_the_right_half_plane_is_mirrored) {
  const auto s = imaginary_points(10, 0.5, 8.0);
  const std::vector<Complex> start{{-1, 10}, {-1, -10}};
  const auto real = relocation_of({-1.0}, s, RationalFunction{{2.0}, {1.0}}.at(s), {});
  EXPECT_NEAR(real.new_a[0].real(), -2.0, 1e4 * eps);  // eps m cond^2: 20 rows, condition number below 20
  const RationalFunction unstable{{{3, 4}, {3, -4}}, {{1, 1}, {1, -1}}};
  const auto pair = relocation_of(start, s, unstable.at(s), {});
  EXPECT_LE(std::abs(pair.new_a[0] - Complex(-3, 4)), 2e5 * eps);  // condition number below 100
  EXPECT_EQ(pair.new_a[1], std::conj(pair.new_a[0]));
}

TEST(UpdatePoles, an_eigenvalue_on_the_imaginary_axis_stays) {
  // f = 1 / s at s = j: the system is [[0.5, 0.5], [-0.5, 0.5]], solved without rounding by c_hat = -1.
  const auto relocation = relocation_of({-1.0}, {{0, 1}}, {{0, -1}}, {});
  EXPECT_EQ(relocation.c_hat[0], Complex(-1, 0));
  EXPECT_EQ(relocation.new_a[0], Complex(0, 0));
  EXPECT_FALSE(std::signbit(relocation.new_a[0].real()));
}

TEST(UpdatePoles, a_pair_comes_back_adjacent_and_exactly_conjugate_whichever_member_leads) {
  const auto s = imaginary_points(10, 0.5, 20.0);
  const auto f = RationalFunction{{{-2, 8}, {-2, -8}}, {{1, 1}, {1, -1}}}.at(s);
  for (const double sign : {1.0, -1.0}) {
    const auto new_a = relocation_of({{-1, sign * 10}, {-1, -sign * 10}}, s, f, {}).new_a;
    EXPECT_LE(std::abs(new_a[0] - Complex(-2, 8)),
              1e4 * eps);  // eps m cond^2 with 20 rows, cond < 6, times |d a / d c|
    EXPECT_EQ(new_a[1], std::conj(new_a[0]));
  }
}

TEST(UpdatePoles, the_state_matrix_reads_the_leader_alone) {
  // The follower differs by less than the tolerance of a pair, which would move the new poles visibly.
  const std::vector<Complex> a{{-1, 10}, {-1.000000005, -10.000000004}};
  const auto s = imaginary_points(10, 0.5, 20.0);
  const auto f = RationalFunction{{{-2, 8}, {-2, -8}}, {{1, 1}, {1, -1}}}.at(s);
  const auto relocation = relocation_of(a, s, f, {});
  std::vector<Complex> expected(2);
  deig(state_matrix(a, relocation.c_hat).data(), 2, expected.data(), 2);
  EXPECT_EQ(relocation.new_a, expected);
}

TEST(UpdatePoles, without_poles_only_the_line_is_fitted) {
  const auto s = imaginary_points(5, 1.0, 5.0);
  const auto f = RationalFunction{{}, {}, 5.0, 0.5}.at(s);
  for (const int order : {0, -3}) {
    double d = 7.0;
    double h = 7.0;
    update_poles(order, nullptr, nullptr, nullptr, nullptr, d, h, 5, f.data(), s.data(), 1, 1, false, false);
    EXPECT_NEAR(d, 5.0, 40 * eps);  // a few roundings, the columns being orthogonal
    EXPECT_NEAR(h, 0.5, 4 * eps);
  }
}

TEST(UpdatePoles, fewer_equations_than_unknowns_stop_the_program) {
  for (const bool svd : {false, true}) {
    EXPECT_EQ(records_before_plain_stop([&] {
                relocation_of({-1.0}, {{0, 1}}, {1.0}, {1, 0, svd});
              }),
              std::vector<std::string>{svd ? " Error in svd_solve, nr < nc"
                                           : " Error in morse_penrose_solve, nr < nc"});
  }
}

TEST(UpdatePoles, poles_that_are_not_conjugate_stop_the_program) {
  const Complex leader(-1, 2);
  const Complex next(-1, -2.1);
  const double test2 = next.imag() + leader.imag();
  EXPECT_EQ(records_before_plain_stop([&] {
              relocation_of({leader, next}, {{0, 1}, {0, 2}}, {1.0, 1.0}, {});
            }),
            (std::vector<std::string>{
                " Error in update_poles: poles do not form a conjugate pair",
                text::free_format_record("pole i  :", leader), text::free_format_record("pole i+1:", next),
                text::free_format_record("test1 value=", 0.0, " should be <", 1e-8),
                text::free_format_record("test2 value=", test2, " should be <", 1e-8)}));
}

TEST(UpdatePoles, an_undefined_sample_ends_in_the_failure_of_the_next_routine) {
  const auto s = imaginary_points(4, 1.0, 4.0);
  const std::vector<Complex> f{1.0, 2.0, quiet_nan, 1.0};
  EXPECT_EQ(words_of(records_before_plain_stop([&] { relocation_of({-1.0}, s, f, {}); }).back()),
            (std::vector<std::string>{"Reduction", "col=", "2"}));  // the weighted column
  EXPECT_EQ(records_before_plain_stop([&] {
              relocation_of({-1.0, -2.0}, s, f, {0, 0, true});
            }),
            std::vector<std::string>{" Error in deig"});
  EXPECT_TRUE(std::isnan(relocation_of({-1.0}, s, f, {0, 0, true}).new_a[0].real()));
}

TEST(UpdatePoles, sizes_beyond_32_bits_are_memory_errors) {
  constexpr int largest = std::numeric_limits<int>::max();
  double d = 0.0;
  double h = 0.0;
  const auto call = [&](int order, int nf) {
    update_poles(order, nullptr, nullptr, nullptr, nullptr, d, h, nf, nullptr, nullptr, 1, 1, false, false);
  };
  EXPECT_THROW(call(1, largest), MemoryError);
  EXPECT_THROW(call(largest / 2, 1), MemoryError);
  EXPECT_THROW(call(largest, 1), MemoryError);
}

/// One record of the trace of a matrix.
std::string row_record(int number, const std::vector<double>& elements) {
  std::string record;
  text::append_integer_field(record, number, 6);
  for (const double element : elements) {
    text::append_scientific_field(record, element, 12, 2);
  }
  return record;
}

TEST(UpdatePoles, the_trace_shows_every_step) {
  const std::vector<Complex> a{{-1, 2}, {-1, -2}, -3.0};
  const auto s = imaginary_points(5, 0.7, 4.9);
  // An unstable pair, so that eigenvalues and new poles differ.
  const auto f = RationalFunction{{{1, 3}, {1, -3}, -2.0}, {{1, 1}, {1, -1}, 2.0}, 0.5, 0.25}.at(s);
  for (const bool svd : {false, true}) {
    const std::string solver = svd ? "svd_solve" : "morse_penrose_solve";
    Relocation fit;
    const auto records = records_of([&] { fit = relocation_of(a, s, f, {1, 1, svd, true}); });

    std::vector<std::string> expected{" CALLED update_poles", text::free_format_record("order=", 3),
                                      text::free_format_record("nf=", 5), " Starting poles:"};
    const auto expect = [&](const std::string& record) { expected.push_back(record); };
    const auto expect_elements = [&](const auto& elements) {
      for (std::size_t i = 0; i < elements.size(); ++i) {
        expect(text::free_format_record(static_cast<int>(i) + 1, elements[i]));
      }
    };
    expect_elements(a);
    expect(text::free_format_record("Allocating memory: nr=", 5, " nc=", 8, " order=", 3));
    expect(" Pole types:");
    expect(text::free_format_record("pole", 1, " type ", 1));
    expect(text::free_format_record("pole", 2, " type ", 2));
    expect(text::free_format_record("pole", 3, " type ", 0));
    expect(" A matrix, nrows=nf, ncols=2*order+2");
    for (int r = 0; r < 10; ++r) {
      const auto k = static_cast<std::size_t>(r % 5);
      const Complex u = 1.0 / (s[k] - a[0]);
      const Complex v = 1.0 / (s[k] - a[1]);
      const Complex phi[] = {u + v, Complex(0, 1) * (u - v), 1.0 / (s[k] - a[2])};
      std::vector<double> row;
      for (const Complex element :
           {phi[0], phi[1], phi[2], Complex(1.0), s[k], -f[k] * phi[0], -f[k] * phi[1], -f[k] * phi[2]}) {
        row.push_back(r < 5 ? element.real() : element.imag());
      }
      expect(row_record(r + 1, row));
    }
    expect(" CALLING " + solver);
    expect(" CALLED " + solver);
    expect(" Solution vector xr:");
    expect_elements(std::vector<double>{fit.c[0].real(), fit.c[0].imag(), fit.c[2].real(), fit.d, fit.h,
                                        fit.c_hat[0].real(), fit.c_hat[0].imag(), fit.c_hat[2].real()});
    expect(" Solution vector x:");
    expect_elements(std::vector<Complex>{fit.c[0], fit.c[1], fit.c[2], fit.d, fit.h, fit.c_hat[0],
                                         fit.c_hat[1], fit.c_hat[2]});
    expect(" c vector");
    expect_elements(fit.c);
    expect(text::free_format_record("d=", fit.d));
    expect(text::free_format_record("h=", fit.h));
    expect(" c_hat vector");
    expect_elements(fit.c_hat);
    expect(" H matrix");
    const Matrix state = state_matrix(a, fit.c_hat);
    for (int r = 0; r < 3; ++r) {
      expect(row_record(r + 1, {state(r, 0), state(r, 1), state(r, 2)}));
    }
    expect(" CALLING deig");
    expect(" Eigenvalues of the H matrix");
    std::vector<Complex> eigenvalues(3);
    deig(state.data(), 3, eigenvalues.data(), 3);
    EXPECT_NE(eigenvalues, fit.new_a);
    expect_elements(eigenvalues);
    EXPECT_EQ(records, expected);
    EXPECT_TRUE(records_of([&] { relocation_of(a, s, f, {1, 1, svd, false}); }).empty());
  }
}

TEST(UpdatePoles, the_caption_of_the_system_is_the_same_without_constant_and_proportional_term) {
  // 1 / (1 + j) = 0.5 - 0.5j, and j times that for f = -j.
  const auto records = records_of([] { relocation_of({-1.0}, {{0, 1}}, {{0, -1}}, {0, 0, false, true}); });
  EXPECT_EQ(std::count(records.begin(), records.end(), " A matrix, nrows=nf, ncols=2*order+2"), 1);
  EXPECT_EQ(std::count(records.begin(), records.end(), "     1    5.00E-01    5.00E-01"), 1);
  EXPECT_EQ(std::count(records.begin(), records.end(), "     2   -5.00E-01    5.00E-01"), 1);
}

}  // namespace
}  // namespace s_solver
