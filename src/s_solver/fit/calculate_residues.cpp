#include "s_solver/fit/calculate_residues.hpp"

#include <algorithm>

#include "s_solver/console/console.hpp"
#include "s_solver/fit/least_squares_system.hpp"
#include "s_solver/fit/pole_types.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {

void calculate_residues(int order, const std::complex<double>* a, const std::complex<double>* /*new_a*/,
                        std::complex<double>* c, const std::complex<double>* /*c_hat*/, double& d, double& h,
                        int nf, const std::complex<double>* f, const std::complex<double>* s, int use_const,
                        int use_sterm, bool use_svd_invert, bool verbose) {
  if (verbose) {
    print_record("CALLED calculate_residues");
    print_record("order=", order);
    print_record("nf=", nf);
  }
  const int poles = std::max(0, order);
  const int nc = system_columns(order, use_const, use_sterm, false);
  if (verbose) {
    print_record("Allocating memory: nr=", nf, " nc=", nc, " order=", order);
  }
  WorkingArray<int> pole_type("pole_type", poles);
  WorkingArray<std::complex<double>> x("x", nc);
  WorkingArray<double> xr("xr", nc);

  const SampleSystem system(order, a, pole_type.data(), nf, f, s, use_const, use_sterm, false);

  classify_poles(order, a, pole_type.data(), verbose);
  solve_least_squares("A matrix, nrows=nf, ncols=order+2", use_svd_invert, system, xr.data(), verbose);

  recombine_pole_unknowns(order, pole_type.data(), xr.data(), x.data());
  std::copy(xr.data() + poles, xr.data() + nc, x.data() + poles);
  if (verbose) {
    print_record("Solution vector x:");
    trace_elements(nc, x.data());
  }

  int p = poles;
  std::copy_n(x.data(), poles, c);
  d = use_const != 0 ? x[p++].real() : 0.0;
  h = use_sterm != 0 ? x[p].real() : 0.0;
  if (verbose) {
    trace_model(order, c, d, h);
  }
}

}  // namespace s_solver
