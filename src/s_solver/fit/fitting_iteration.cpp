#include "s_solver/fit/fitting_iteration.hpp"

#include <algorithm>
#include <string_view>

#include "s_solver/console/console.hpp"
#include "s_solver/fit/calculate_residues.hpp"
#include "s_solver/fit/fit_evaluation.hpp"
#include "s_solver/fit/update_poles.hpp"
#include "s_solver/output/write_coefficients.hpp"
#include "s_solver/output/write_data_to_plot.hpp"

namespace s_solver {
namespace {

void trace_call(bool verbose, std::string_view record) {
  if (verbose) {
    print_record(record);
  }
}

}  // namespace

void fitting_iteration(int order, int max_iterations, std::complex<double>* a, std::complex<double>* new_a,
                       std::complex<double>* c, std::complex<double>* c_hat, double& d, double& h, int nf,
                       const std::complex<double>* f, const std::complex<double>* s,
                       std::complex<double>* f_fit, double fmin, double fmax, int use_const, int use_sterm,
                       bool use_svd_invert, bool verbose) {
  // Counted from 0, so that the largest limit does not overflow.
  for (int completed = 0; completed < max_iterations; ++completed) {
    const int iteration = completed + 1;
    if (verbose) {
      print_record("Iteration", iteration, " of ", max_iterations);
    }
    trace_call(verbose, "CALLING update_poles");
    update_poles(order, a, new_a, c, c_hat, d, h, nf, f, s, use_const, use_sterm, use_svd_invert, verbose);
    std::copy_n(new_a, std::max(0, order), a);

    trace_call(verbose, "CALLING calculate_residues");
    calculate_residues(order, a, new_a, c, c_hat, d, h, nf, f, s, use_const, use_sterm, use_svd_invert,
                       verbose);

    trace_call(verbose, "CALLING calculate_fit_function");
    calculate_fit_function(order, a, c, d, h, nf, f_fit, s);

    trace_call(verbose, "CALLING calculate_error");
    double error = 0.0;
    calculate_error(nf, f, f_fit, s, error);
    print_record("Iteration:", iteration, " error=", error);
    if (error < min_error) {
      print_record("Exiting after ", iteration, " iterations");
      break;
    }
  }

  trace_call(verbose, "CALLING write_coefficients");
  write_coefficients(order, a, c, c_hat, d, h, fmin, fmax, nf);
  trace_call(verbose, "CALLING write_data_to_plot");
  write_data_to_plot(nf, f, f_fit, s);
}

}  // namespace s_solver
