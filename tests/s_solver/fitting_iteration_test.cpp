#include "s_solver/fit/fitting_iteration.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "s_solver/fit/fit_evaluation.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

/// The variables of one run of the iteration, with values that tell what was written.
struct Iteration {
  Iteration(const std::vector<Complex>& starting_poles, const std::vector<Complex>& points,
            const std::vector<Complex>& samples)
      : order(static_cast<int>(starting_poles.size())),
        a(starting_poles),
        new_a(a.size()),
        c(a.size()),
        c_hat(a.size()),
        s(points),
        f(samples),
        f_fit(s.size()) {}

  std::vector<std::string> records(int max_iterations, bool verbose = false) {
    return records_of([&] { iterate(max_iterations, verbose); });
  }
  void iterate(int max_iterations, bool verbose = false) {
    fitting_iteration(order, max_iterations, a.data(), new_a.data(), c.data(), c_hat.data(), d, h,
                      static_cast<int>(s.size()), f.data(), s.data(), f_fit.data(), 0.5, 2.0, use_const,
                      use_sterm, use_svd_invert, verbose);
  }

  int order;
  std::vector<Complex> a, new_a, c, c_hat, s, f, f_fit;
  double d = 0.0, h = 0.0;
  bool use_svd_invert = false;
  int use_const = 1;
  int use_sterm = 1;
};

/// A run without poles whose model is 0, so that its error is exactly |f|.
Iteration run_with_error(double error) {
  Iteration run({}, {{0, 1}}, {error});
  run.use_const = run.use_sterm = 0;
  return run;
}

/// A run that does not reach the threshold: one pole for data of two pairs.
Iteration run_without_end() {
  const auto s = imaginary_points(20, 0.5, 10.0);
  return {{-3.0},
          s,
          RationalFunction{{{-1, 3}, {-1, -3}, {-1, 7}, {-1, -7}}, {{1, 1}, {1, -1}, {2, 0}, {2, 0}}}.at(s)};
}

/// A run that ends in its first iteration: as many poles as the data.
Iteration run_of_exact_data() {
  const auto s = imaginary_points(20, 0.5, 10.0);
  return {{{-1, 5}, {-1, -5}}, s, RationalFunction{{{-2, 6}, {-2, -6}}, {{1, 1}, {1, -1}}, 5.0, 0.5}.at(s)};
}

int count_of(const std::vector<std::string>& records, const std::string& beginning) {
  return static_cast<int>(std::count_if(records.begin(), records.end(), [&](const std::string& record) {
    return record.rfind(beginning, 0) == 0;
  }));
}

class FittingIteration : public InOwnDirectory {
 protected:
  void remove_results() const {
    std::filesystem::remove(data("Tarn.coe"));
    std::filesystem::remove(data("f_data.out"));
  }
  bool results_written() const {
    return std::filesystem::exists(data("Tarn.coe")) && std::filesystem::exists(data("f_data.out"));
  }
  /// The records of the coefficient file: the order in record 1, d in 3, poles and residues from 6 on.
  std::vector<std::string> coefficients() const { return lines_of(content_of(data("Tarn.coe"))); }
};

TEST_F(FittingIteration, exact_data_end_it_after_the_first_iteration) {
  Iteration run = run_of_exact_data();
  const auto records = run.records(10);
  ASSERT_GE(records.size(), 2U);
  double error = 7.0;
  calculate_error(20, run.f.data(), run.f_fit.data(), run.s.data(), error);
  EXPECT_LT(error, 1e-6);
  EXPECT_EQ(records[0], text::free_format_record("Iteration:", 1, " error=", error));
  EXPECT_EQ(records[1], text::free_format_record("Exiting after ", 1, " iterations"));
  EXPECT_EQ(count_of(records, " Iteration:"), 1);
  EXPECT_TRUE(results_written());
}

TEST_F(FittingIteration, the_limit_ends_it_without_a_message) {
  for (const int limit : {1, 2, 4}) {
    remove_results();
    const auto records = run_without_end().records(limit);
    ASSERT_EQ(count_of(records, " Iteration:"), limit);
    for (int i = 0; i < limit; ++i) {
      const auto words = words_of(records[static_cast<std::size_t>(i)]);
      ASSERT_EQ(words.size(), 4U);
      EXPECT_EQ(words[1], std::to_string(i + 1));
      EXPECT_EQ(words[2], "error=");
      EXPECT_GT(std::stod(words[3]), 1e-6);
    }
    EXPECT_EQ(count_of(records, " Exiting"), 0);
    EXPECT_TRUE(results_written());
  }
}

TEST_F(FittingIteration, an_error_of_exactly_the_threshold_does_not_end_it) {
  EXPECT_EQ(min_error, 1.0e-6);
  for (const double error : {1.0e-6, std::nextafter(1.0e-6, 1.0)}) {
    const auto records = run_with_error(error).records(3);
    EXPECT_EQ(count_of(records, " Iteration:"), 3);
    EXPECT_EQ(records[2], text::free_format_record("Iteration:", 3, " error=", error));
    EXPECT_EQ(count_of(records, " Exiting"), 0);
  }
}

TEST_F(FittingIteration, an_error_just_below_the_threshold_ends_it) {
  const auto records = run_with_error(std::nextafter(1.0e-6, 0.0)).records(3);
  EXPECT_EQ(count_of(records, " Iteration:"), 1);
  EXPECT_EQ(records[1], text::free_format_record("Exiting after ", 1, " iterations"));
}

TEST_F(FittingIteration, an_undefined_error_runs_to_the_limit) {
  Iteration run({}, {}, {});
  run.use_const = run.use_sterm = 0;
  const auto records = run.records(3);
  EXPECT_EQ(count_of(records, " Iteration:"), 3);
  EXPECT_EQ(words_of(records[2]), (std::vector<std::string>{"Iteration:", "3", "error=", "NaN"}));
  EXPECT_EQ(count_of(records, " Exiting"), 0);
  EXPECT_TRUE(results_written());
}

TEST_F(FittingIteration, the_largest_limit_is_accepted) {
  const auto records = run_with_error(0.0).records(std::numeric_limits<int>::max());
  EXPECT_EQ(count_of(records, " Iteration:"), 1);
}

TEST_F(FittingIteration, without_an_iteration_the_model_is_written_as_it_comes_in) {
  for (const int limit : {0, -1, std::numeric_limits<int>::min()}) {
    SCOPED_TRACE(limit);
    Iteration run = run_of_exact_data();
    const auto starting_poles = run.a;
    run.c = {{1, 2}, {1, -2}};
    run.d = 0.25;
    const auto records = run.records(limit);
    EXPECT_EQ(count_of(records, " Iteration:"), 0);
    EXPECT_EQ(count_of(records, " Exiting"), 0);
    EXPECT_EQ(run.a, starting_poles);
    EXPECT_EQ(run.c, (std::vector<Complex>{{1, 2}, {1, -2}}));
    EXPECT_EQ(run.f_fit, std::vector<Complex>(20));
    ASSERT_TRUE(results_written());
    EXPECT_EQ(std::stod(words_of(coefficients().at(3)).at(0)), 0.25);
    const double wnorm = 2.0 * 6.283185307179586;
    EXPECT_EQ(std::stod(words_of(coefficients().at(6)).at(0)), -1.0 / wnorm);
    EXPECT_EQ(std::stod(words_of(coefficients().at(6)).at(3)), 2.0 / wnorm);
    remove_results();
  }
}

TEST_F(FittingIteration, both_halves_use_the_chosen_solver) {
  for (const bool svd : {false, true}) {
    Iteration run = run_without_end();
    run.use_svd_invert = svd;
    const auto records = run.records(1, true);
    EXPECT_EQ(count_of(records, " CALLED svd_solve"), svd ? 2 : 0);
    EXPECT_EQ(count_of(records, " CALLED morse_penrose_solve"), svd ? 0 : 2);
  }
}

TEST_F(FittingIteration, the_relocated_poles_become_the_poles_of_the_model) {
  Iteration run = run_of_exact_data();
  run.records(1);
  EXPECT_EQ(run.a, run.new_a);
  EXPECT_LE(std::abs(run.a[0] - Complex(-2, 6)), 1e-9);  // eps m cond^2: 40 rows, cond of 110
  // The response belongs to the model that is handed out.
  std::vector<Complex> f_fit(20);
  calculate_fit_function(2, run.a.data(), run.c.data(), run.d, run.h, 20, f_fit.data(), run.s.data());
  EXPECT_EQ(run.f_fit, f_fit);
}

TEST_F(FittingIteration, each_iteration_starts_from_the_poles_of_the_one_before) {
  Iteration at_once = run_without_end();
  Iteration in_steps = run_without_end();
  const auto records = at_once.records(3);
  std::vector<std::vector<Complex>> poles;
  for (int i = 0; i < 3; ++i) {
    in_steps.records(1);
    poles.push_back(in_steps.a);
  }
  EXPECT_EQ(at_once.a, in_steps.a);
  EXPECT_EQ(at_once.c, in_steps.c);
  EXPECT_EQ(at_once.d, in_steps.d);
  EXPECT_EQ(at_once.h, in_steps.h);
  EXPECT_NE(poles[0], poles[1]);
}

TEST_F(FittingIteration, an_order_below_1_fits_the_line_alone) {
  const auto s = imaginary_points(5, 1.0, 5.0);
  for (const int order : {0, -3}) {
    Iteration run({}, s, RationalFunction{{}, {}, 5.0, 0.5}.at(s));
    run.order = order;
    EXPECT_EQ(count_of(run.records(5), " Exiting after "), 1);
    EXPECT_NEAR(run.d, 5.0, 40 * eps);  // a few roundings, the columns being orthogonal
    EXPECT_EQ(words_of(coefficients().at(1)).at(0), std::to_string(order));
  }
}

TEST_F(FittingIteration, the_switches_and_the_band_arrive_where_they_belong) {
  for (const bool constant : {true, false}) {
    Iteration run = run_of_exact_data();
    run.use_const = constant ? 1 : 0;
    run.use_sterm = constant ? 0 : 1;
    run.records(1);
    EXPECT_EQ(run.d != 0.0, constant);
    EXPECT_EQ(run.h == 0.0, constant);
    EXPECT_EQ(std::stod(words_of(coefficients().back()).at(0)), 0.5 / 2.0);  // fmin / fmax
  }
}

TEST_F(FittingIteration, a_failure_leaves_the_result_files_alone) {
  write_data("Tarn.coe", "before");
  Iteration run({{-1, 2}}, {{0, 1}}, {1.0});
  records_before_plain_stop([&] { run.iterate(1); });
  EXPECT_EQ(content_of(data("Tarn.coe")), "before");
  EXPECT_FALSE(std::filesystem::exists(data("f_data.out")));
}

TEST_F(FittingIteration, the_trace_announces_every_call) {
  std::vector<std::string> calls;
  for (const std::string& record : run_with_error(1.0).records(2, true)) {
    const bool own = record.rfind(" Iteration", 0) == 0 || record.rfind(" CALL", 0) == 0;
    if (own) {
      calls.push_back(record);
    }
  }
  std::vector<std::string> expected;
  for (const int i : {1, 2}) {
    expected.insert(
        expected.end(),
        {text::free_format_record("Iteration", i, " of ", 2), " CALLING update_poles", " CALLED update_poles",
         " CALLING morse_penrose_solve", " CALLED morse_penrose_solve", " CALLING deig",
         " CALLING calculate_residues", " CALLED calculate_residues", " CALLING morse_penrose_solve",
         " CALLED morse_penrose_solve", " CALLING calculate_fit_function", " CALLING calculate_error",
         text::free_format_record("Iteration:", i, " error=", 1.0)});
  }
  expected.insert(expected.end(), {" CALLING write_coefficients", " CALLING write_data_to_plot"});
  EXPECT_EQ(calls, expected);
}

TEST_F(FittingIteration, without_the_trace_nothing_is_announced) {
  const auto records = run_with_error(1.0).records(2);
  EXPECT_EQ(count_of(records, " CALL"), 0);
  EXPECT_EQ(count_of(records, " Iteration "), 0);
}

}  // namespace
}  // namespace s_solver
