#include "s_solver/fit/least_squares_system.hpp"
#include "numerics/matrix_view.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "numerics/complex_division.hpp"
#include "s_solver/fit/pole_types.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

constexpr double untouched = 7.0;
constexpr int largest = std::numeric_limits<int>::max();

numerics::MatrixView<double> view_of(Matrix& matrix) {
  return {matrix.data(), matrix.rows, matrix.columns, std::max(1, matrix.rows)};
}

/// The complex values that stand stacked in column q.
std::vector<Complex> column_of(const Matrix& armat, int q) {
  const int nf = armat.rows / 2;
  std::vector<Complex> column;
  for (int k = 0; k < nf; ++k) {
    column.emplace_back(armat(k, q), armat(nf + k, q));
  }
  return column;
}

TEST(StackedRows, are_two_per_sample) {
  EXPECT_EQ(stacked_rows(0), 0);
  EXPECT_EQ(stacked_rows(3), 6);
  EXPECT_EQ(stacked_rows(largest / 2), largest - 1);
}

TEST(SystemSizes, beyond_32_bits_are_memory_errors) {
  EXPECT_THROW(stacked_rows(largest / 2 + 1), MemoryError);
  EXPECT_THROW(stacked_rows(largest), MemoryError);
  EXPECT_EQ(system_columns(largest, 0, 0, false), largest);
  EXPECT_THROW(system_columns(largest, 1, 0, false), MemoryError);
  EXPECT_THROW(system_columns(largest, 0, 1, false), MemoryError);
  EXPECT_THROW(system_columns(largest / 2 + 1, 0, 0, true), MemoryError);
  EXPECT_THROW(system_columns(largest, 1, 1, true), MemoryError);
}

TEST(ModelColumns, hold_a_real_pole_a_pair_the_constant_and_s_in_this_order) {
  const std::vector<Complex> a{-1.0, {-2, 3}, {-2, -3}, -4.0};
  const std::vector<int> types{real_pole, pair_leader, pair_follower, real_pole};
  const std::vector<Complex> s{{0, 1}, {0, 2}, {0.5, -3}};
  for (const int use_const : {0, 1, -2}) {
    for (const int use_sterm : {0, 1, 5}) {
      SCOPED_TRACE(testing::Message() << use_const << " " << use_sterm);
      const int columns = 4 + (use_const != 0 ? 1 : 0) + (use_sterm != 0 ? 1 : 0);
      Matrix armat(6, 8, untouched);
      EXPECT_EQ(
          fill_model_columns(4, a.data(), types.data(), 3, s.data(), use_const, use_sterm, view_of(armat)),
          columns);

      for (int k = 0; k < 3; ++k) {
        const Complex point = s[static_cast<std::size_t>(k)];
        const auto value = [&](int q) { return column_of(armat, q)[static_cast<std::size_t>(k)]; };
        const Complex u = numerics::smith_quotient(1.0, point - a[1]);
        const Complex v = numerics::smith_quotient(1.0, point - a[2]);
        EXPECT_EQ(value(0), numerics::smith_quotient(1.0, point - a[0]));
        EXPECT_EQ(value(1), u + v);
        EXPECT_EQ(value(2), Complex(0, 1) * (u - v));
        EXPECT_EQ(value(3), numerics::smith_quotient(1.0, point - a[3]));
        if (use_const != 0) {
          EXPECT_EQ(value(4), 1.0);
        }
        if (use_sterm != 0) {
          EXPECT_EQ(value(columns - 1), point);
        }
      }
      for (int q = columns; q < 8; ++q) {
        EXPECT_EQ(column_of(armat, q), std::vector<Complex>(3, {untouched, untouched}));
      }
    }
  }
}

TEST(ModelColumns, without_poles_are_the_constant_and_s_alone) {
  const std::vector<Complex> s{{0, 1}, {0, 2}};
  for (const int order : {0, -3}) {
    Matrix armat(4, 2, untouched);
    EXPECT_EQ(fill_model_columns(order, nullptr, nullptr, 2, s.data(), 1, 1, view_of(armat)), 2);
    EXPECT_EQ(armat, Matrix(4, 2, {1, 0, 1, 0, 0, 1, 0, 2}));
  }
}

TEST(ModelColumns, a_pair_takes_either_member_as_leader) {
  // With the leader's imaginary part negative the sum stays and the difference changes its sign.
  const std::vector<Complex> a{{-2, 3}, {-2, -3}};
  const std::vector<Complex> exchanged{a[1], a[0]};
  const std::vector<int> types{pair_leader, pair_follower};
  const Complex s(0, 1);
  Matrix first(2, 2);
  Matrix second(2, 2);
  fill_model_columns(2, a.data(), types.data(), 1, &s, 0, 0, view_of(first));
  fill_model_columns(2, exchanged.data(), types.data(), 1, &s, 0, 0, view_of(second));
  EXPECT_EQ(column_of(first, 0), column_of(second, 0));
  EXPECT_EQ(column_of(first, 1)[0], -column_of(second, 1)[0]);
}

TEST(StackParts, puts_the_real_parts_over_the_imaginary_parts) {
  const std::vector<Complex> f{{1, 2}, {3, 4}, {5, 6}};
  std::vector<double> br(7, untouched);
  stack_parts(3, f.data(), br.data());
  EXPECT_EQ(br, (std::vector<double>{1, 3, 5, 2, 4, 6, untouched}));
}

TEST(PoleUnknowns, of_a_pair_become_an_exactly_conjugate_pair) {
  const std::vector<int> types{real_pole, pair_leader, pair_follower, pair_leader, pair_follower, real_pole};
  const std::vector<double> xr{1, 2, 3, 0.1, -0.7, 6};
  std::vector<Complex> x(6);
  recombine_pole_unknowns(6, types.data(), xr.data(), x.data());
  EXPECT_EQ(x, (std::vector<Complex>{1.0, {2, 3}, {2, -3}, {0.1, -0.7}, {0.1, 0.7}, 6.0}));
}

TEST(PoleUnknowns, give_the_columns_the_meaning_of_residues) {
  // x times the leader's column plus y times the follower's is (x + jy) / (s - a) + (x - jy) / (s - a*).
  const std::vector<Complex> a{{-2, 3}, {-2, -3}};
  const std::vector<int> types{pair_leader, pair_follower};
  const std::vector<double> xr{0.75, -1.25};
  const Complex s(0, 1);
  Matrix armat(2, 2);
  std::vector<Complex> c(2);
  fill_model_columns(2, a.data(), types.data(), 1, &s, 0, 0, view_of(armat));
  recombine_pole_unknowns(2, types.data(), xr.data(), c.data());
  const Complex model = c[0] / (s - a[0]) + c[1] / (s - a[1]);
  const Complex columns = xr[0] * column_of(armat, 0)[0] + xr[1] * column_of(armat, 1)[0];
  EXPECT_LE(std::abs(model - columns), 16 * eps);  // about a dozen roundings of numbers below 1
}

TEST(SystemColumns, are_counted_for_poles_terms_and_weights) {
  EXPECT_EQ(system_columns(3, 0, 0, false), 3);
  EXPECT_EQ(system_columns(3, -1, 2, false), 5);
  EXPECT_EQ(system_columns(3, 1, 0, true), 7);
  EXPECT_EQ(system_columns(-3, 1, 1, true), 2);
}

/// A small system: one pole pair, a real pole and both terms, weighted.
struct Example {
  std::vector<Complex> a{{-2, 3}, {-2, -3}, -4.0};
  std::vector<int> types{pair_leader, pair_follower, real_pole};
  std::vector<Complex> s = imaginary_points(600, 0.5, 9.0);
  std::vector<Complex> f = RationalFunction{{{-1, 4}, {-1, -4}}, {{1, 1}, {1, -1}}, 0.5, 0.25}.at(s);
  SampleSystem system{3, a.data(), types.data(), 600, f.data(), s.data(), 1, 1, true};
};

TEST(SampleSystem, has_weighted_columns_of_minus_f_times_the_columns_of_the_poles) {
  const Example example;
  ASSERT_EQ(example.system.rows(), 1200);
  ASSERT_EQ(example.system.columns(), 8);
  Matrix armat(1200, 8);
  std::vector<double> br(1200);
  example.system.make_rows(0, 1200, view_of(armat), br.data());
  Matrix model(1200, 5);
  fill_model_columns(3, example.a.data(), example.types.data(), 600, example.s.data(), 1, 1, view_of(model));
  EXPECT_EQ(armat.leading(1200, 5), model);
  for (int k = 0; k < 600; ++k) {
    const Complex f = example.f[static_cast<std::size_t>(k)];
    EXPECT_EQ(Complex(br[static_cast<std::size_t>(k)], br[static_cast<std::size_t>(600 + k)]), f);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(column_of(armat, 5 + i)[static_cast<std::size_t>(k)],
                -f * column_of(model, i)[static_cast<std::size_t>(k)]);
    }
  }
}

TEST(SampleSystem, makes_the_same_rows_in_blocks_of_any_size) {
  const Example example;
  Matrix whole(1200, 8);
  std::vector<double> br(1200);
  example.system.make_rows(0, 1200, view_of(whole), br.data());
  for (const int count : {2, 16, 48, 400, 512, 600}) {
    for (int first = 0; first < 1200; first += count) {
      const int rows = std::min(count, 1200 - first);
      Matrix block(rows, 8);
      std::vector<double> block_br(static_cast<std::size_t>(rows));
      example.system.make_rows(first, rows, view_of(block), block_br.data());
      for (int k = 0; k < rows / 2; ++k) {
        for (int q = 0; q < 8; ++q) {
          ASSERT_EQ(block(k, q), whole(first / 2 + k, q)) << count;
          ASSERT_EQ(block(rows / 2 + k, q), whole(600 + first / 2 + k, q)) << count;
        }
        ASSERT_EQ(block_br[static_cast<std::size_t>(k)], br[static_cast<std::size_t>(first / 2 + k)]);
        ASSERT_EQ(block_br[static_cast<std::size_t>(rows / 2 + k)],
                  br[static_cast<std::size_t>(600 + first / 2 + k)]);
      }
    }
  }
}

TEST(SolveLeastSquares, uses_the_solver_that_is_asked_for_and_shows_system_and_solution) {
  // Three samples of 2 + 1.5 s, fitted by d + h s.
  const std::vector<Complex> s = imaginary_points(3, 1.0, 3.0);
  const std::vector<Complex> f = RationalFunction{{}, {}, 2.0, 1.5}.at(s);
  const SampleSystem system(0, nullptr, nullptr, 3, f.data(), s.data(), 1, 1, false);
  Matrix a(6, 2, {1, 0, 1, 0, 1, 0, 0, 1, 0, 2, 0, 3});
  for (const bool svd : {false, true}) {
    const std::string name = svd ? "svd_solve" : "morse_penrose_solve";
    std::vector<double> x(2);
    const auto solve = [&](bool verbose) {
      return records_of([&] { solve_least_squares("the system", svd, system, x.data(), verbose); });
    };
    auto expected = std::vector<std::string>{" the system"};
    for (const std::string& row : records_of([&] { trace_rows(view_of(a)); })) {
      expected.push_back(row);
    }
    const auto records = solve(true);
    expected.insert(expected.end(), {" CALLING " + name, " CALLED " + name, " Solution vector xr:",
                                     text::free_format_record(1, x[0]), text::free_format_record(2, x[1])});
    EXPECT_EQ(records, expected);
    EXPECT_NEAR(x[0], 2.0, 16 * eps) << name;  // a handful of roundings
    EXPECT_NEAR(x[1], 1.5, 16 * eps) << name;
    EXPECT_TRUE(solve(false).empty());
  }
}

TEST(TraceRows, have_the_number_in_6_columns_and_the_elements_in_12) {
  Matrix matrix(2, 3, {0.5, -0.25, 0.0, 1.0, 123456.0, -1e-100});
  EXPECT_EQ(records_of([&] { trace_rows(view_of(matrix)); }),
            (std::vector<std::string>{"     1    5.00E-01   -2.50E-01    0.00E+00",
                                      "     2    1.00E+00    1.23E+05   -1.00-100"}));
}

TEST(TraceRows, of_more_than_100_elements_stay_one_record) {
  Matrix matrix(1, 150, 1.0);
  std::string expected = "     1";
  for (int q = 0; q < 150; ++q) {
    expected += "    1.00E+00";
  }
  EXPECT_EQ(records_of([&] { trace_rows(view_of(matrix)); }), std::vector<std::string>{expected});
}

TEST(TraceElements, are_numbered_from_1) {
  const std::vector<double> real{0.5, -2.0};
  const std::vector<Complex> complex{{1, -2}};
  EXPECT_EQ(records_of([&] { trace_elements(2, real.data()); }),
            (std::vector<std::string>{text::free_format_record(1, 0.5), text::free_format_record(2, -2.0)}));
  EXPECT_EQ(records_of([&] { trace_elements(1, complex.data()); }),
            std::vector<std::string>{text::free_format_record(1, Complex(1, -2))});
  EXPECT_TRUE(records_of([&] { trace_elements(-1, real.data()); }).empty());
}

}  // namespace
}  // namespace s_solver
