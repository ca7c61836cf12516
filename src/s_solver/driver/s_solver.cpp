#include "s_solver/driver/s_solver.hpp"

#include <array>
#include <complex>
#include <cstddef>
#include <string_view>

#include "s_solver/console/console.hpp"
#include "s_solver/driver/command_line.hpp"
#include "s_solver/driver/sample_file.hpp"
#include "s_solver/driver/settings_file.hpp"
#include "s_solver/driver/starting_poles.hpp"
#include "s_solver/driver/test_sets.hpp"
#include "s_solver/fit/fitting_iteration.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {
namespace {

constexpr std::string_view sample_file_name = "..\\tmp_S_Par\\f_data.in";
constexpr std::string_view settings_file_name = "..\\tmp_S_Par\\f_data.ini";

using ComplexArray = WorkingArray<std::complex<double>>;

ComplexArray cleared_array(std::string_view name, int size) {
  ComplexArray array(name, size);
  array.fill(0.0);
  return array;
}

/// The variables of the run.
struct Run {
  int nf = 0;
  int order = 1;
  int max_iterations = 1;
  double fmin = 0.0;
  double fmax = 0.0;
  FitOptions options;
  ComplexArray f;      ///< nf data samples
  ComplexArray s;      ///< nf sample points, rad/s
  ComplexArray f_fit;  ///< nf values of the model
  ComplexArray new_a;  ///< order relocated poles, rad/s
  ComplexArray a;      ///< order current poles, rad/s
  ComplexArray c;      ///< order residues
  ComplexArray c_hat;  ///< order residues of the weighting function

  void allocate_samples() {
    f = cleared_array("f", nf);
    s = cleared_array("s", nf);
    f_fit = cleared_array("f_fit", nf);
  }
  void allocate_poles() {
    new_a = cleared_array("new_a", order);
    a = cleared_array("a", order);
    c = cleared_array("c", order);
    c_hat = cleared_array("c_hat", order);
  }
};

struct TestSet {
  int nf;
  int order;
  int max_iterations;
  int sample_spacing;
  FitOptions options;
  decltype(&set_test_set_1) fill;
};

constexpr std::array<TestSet, 4> test_sets{{
    {101, 3, 1, 1, {.use_const = 1, .use_sterm = 1, .use_logf = 1, .use_cmplx = 0}, set_test_set_1},
    {100, 18, 1, 0, {.use_const = 1, .use_sterm = 1, .use_logf = 0, .use_cmplx = 1}, set_test_set_2},
    {100, 5, 10, 0, {.use_const = 1, .use_sterm = 1, .use_logf = 0, .use_cmplx = 1}, set_test_set_3},
    {500, 3, 10, 0, {.use_const = 1, .use_sterm = 1, .use_logf = 0, .use_cmplx = 1}, set_test_set_4},
}};

void set_up_from_test_set(const TestSet& set, Run& run) {
  run.nf = set.nf;
  run.order = set.order;
  run.max_iterations = set.max_iterations;
  run.options = set.options;
  run.allocate_samples();
  run.allocate_poles();
  set.fill(run.nf, run.fmin, run.fmax, run.s.data(), run.f.data(), set.sample_spacing);
}

void set_up_from_files(int count, const char* const* arguments, Run& run) {
  print_record("Lese Daten");
  read_data_from_file(sample_file_name, count_only, run.nf, run.fmin, run.fmax, nullptr, nullptr);
  run.allocate_samples();
  read_data_from_file(sample_file_name, count_and_store, run.nf, run.fmin, run.fmax, run.s.data(),
                      run.f.data());
  print_record("Number of frequency domain samples read=", run.nf);
  print_record("fmin=", run.fmin, " fmax=", run.fmax);
  read_settings_file(settings_file_name, run.order, run.max_iterations);
  run.allocate_poles();
  scan_command_line(count, arguments, run.options);
}

}  // namespace

void S_Solver(const ProgramConstants& constants, int count, const char* const* arguments) {
  if (constants.verbose) {
    print_record("CALLED Tarn");
  }
  Run run;
  if (constants.test_set >= 1 && constants.test_set <= static_cast<int>(test_sets.size())) {
    set_up_from_test_set(test_sets[static_cast<std::size_t>(constants.test_set) - 1], run);
  } else {
    set_up_from_files(count, arguments, run);
  }
  place_starting_poles(run.order, run.fmin, run.fmax, run.options.use_logf, run.options.use_cmplx,
                       run.a.data());
  print_starting_poles(run.order, run.a.data());

  double d = 0.0;
  double h = 0.0;
  fitting_iteration(run.order, run.max_iterations, run.a.data(), run.new_a.data(), run.c.data(),
                    run.c_hat.data(), d, h, run.nf, run.f.data(), run.s.data(), run.f_fit.data(), run.fmin,
                    run.fmax, run.options.use_const, run.options.use_sterm, constants.use_svd_invert,
                    constants.verbose);
}

}  // namespace s_solver
