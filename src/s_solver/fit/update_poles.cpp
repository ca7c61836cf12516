#include "s_solver/fit/update_poles.hpp"

#include <algorithm>

#include "numerics/matrix_view.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/dmatrix/deig.hpp"
#include "s_solver/fit/least_squares_system.hpp"
#include "s_solver/fit/pole_types.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {
namespace {

/// The real state-space form of sigma: state matrix azr, input vector bzr, output vector czr_hat. A pair
/// a' + ja'' with residue c' + jc'' is the block [[a', a''], [-a'', a']] with input [2, 0] and output
/// [c', c''].
void fill_state_space(int order, const std::complex<double>* a, const std::complex<double>* c_hat,
                      const int* pole_type, const numerics::MatrixView<double>& azr, double* bzr,
                      double* czr_hat) {
  for (int m = 0; m < order; ++m) {
    switch (pole_type[m]) {
      case real_pole:
        azr(m, m) = a[m].real();
        bzr[m] = 1.0;
        czr_hat[m] = c_hat[m].real();
        break;
      case pair_leader:
        azr(m, m) = a[m].real();
        azr(m, m + 1) = a[m].imag();
        bzr[m] = 2.0;
        czr_hat[m] = c_hat[m].real();
        break;
      default:
        azr(m, m - 1) = -a[m - 1].imag();
        azr(m, m) = a[m - 1].real();
        bzr[m] = 0.0;
        czr_hat[m] = c_hat[m - 1].imag();
        break;
    }
  }
}

/// Mirrors poles of the right half-plane into the left one.
void enforce_stability(int order, std::complex<double>* poles) {
  for (int i = 0; i < order; ++i) {
    if (poles[i].real() > 0.0) {
      poles[i].real(-poles[i].real());
    }
  }
}

}  // namespace

void update_poles(int order, const std::complex<double>* a, std::complex<double>* new_a,
                  std::complex<double>* c, std::complex<double>* c_hat, double& d, double& h, int nf,
                  const std::complex<double>* f, const std::complex<double>* s, int use_const, int use_sterm,
                  bool use_svd_invert, bool verbose) {
  if (verbose) {
    print_record("CALLED update_poles");
    print_record("order=", order);
    print_record("nf=", nf);
    print_record("Starting poles:");
    trace_elements(order, a);
  }
  const int poles = std::max(0, order);
  const int nc = system_columns(order, use_const, use_sterm, true);
  if (verbose) {
    print_record("Allocating memory: nr=", nf, " nc=", nc, " order=", order);
  }
  WorkingArray<int> pole_type("pole_type", poles);
  WorkingArray<std::complex<double>> x("x", nc);
  WorkingArray<double> xr("xr", nc);
  WorkingMatrix hrmat("hrmat", poles, poles);
  WorkingMatrix azr("azr", poles, poles);
  WorkingArray<double> bzr("bzr", poles);
  WorkingArray<double> czr_hat("czr_hat", poles);
  WorkingArray<std::complex<double>> zeros("zeros", poles);

  const SampleSystem system(order, a, pole_type.data(), nf, f, s, use_const, use_sterm, true);

  classify_poles(order, a, pole_type.data(), verbose);
  solve_least_squares("A matrix, nrows=nf, ncols=2*order+2", use_svd_invert, system, xr.data(), verbose);

  const int model_columns = nc - poles;
  recombine_pole_unknowns(order, pole_type.data(), xr.data(), x.data());
  std::copy(xr.data() + poles, xr.data() + model_columns, x.data() + poles);
  recombine_pole_unknowns(order, pole_type.data(), xr.data() + model_columns, x.data() + model_columns);
  if (verbose) {
    print_record("Solution vector x:");
    trace_elements(nc, x.data());
  }

  int p = poles;
  std::copy_n(x.data(), poles, c);
  d = use_const != 0 ? x[p++].real() : 0.0;
  h = use_sterm != 0 ? x[p++].real() : 0.0;
  std::copy_n(x.data() + p, poles, c_hat);
  if (verbose) {
    trace_model(order, c, d, h);
    print_record("c_hat vector");
    trace_elements(order, c_hat);
  }

  azr.fill(0.0);
  const numerics::MatrixView<double> state = azr.view();
  const numerics::MatrixView<double> relocation = hrmat.view();
  fill_state_space(order, a, c_hat, pole_type.data(), state, bzr.data(), czr_hat.data());
  for (int q = 0; q < poles; ++q) {
    for (int r = 0; r < poles; ++r) {
      relocation(r, q) = state(r, q) - czr_hat[q] * bzr[r];
    }
  }
  if (verbose) {
    print_record("H matrix");
    trace_rows(relocation);
    print_record("CALLING deig");
  }

  deig(hrmat.data(), poles, zeros.data(), poles);
  if (verbose) {
    print_record("Eigenvalues of the H matrix");
    trace_elements(order, zeros.data());
  }
  std::copy_n(zeros.data(), poles, new_a);
  enforce_stability(order, new_a);
}

}  // namespace s_solver
