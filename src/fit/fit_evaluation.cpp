#include "fit/fit_evaluation.hpp"

#include <cmath>

#include "fit/complex_division.hpp"

namespace s_solver {

void calculate_fit_function(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                            double h, int nf, std::complex<double>* f_fit, const std::complex<double>* s) {
  for (int k = 0; k < nf; ++k) {
    f_fit[k] = {h * s[k].real() + d, h * s[k].imag()};
  }
  // Poles outside, samples inside: each sample still adds its terms in the order of the poles.
  for (int i = 0; i < order; ++i) {
    for (int k = 0; k < nf; ++k) {
      const std::complex<double> term =
          smith_quotient(c[i], {s[k].real() - a[i].real(), s[k].imag() - a[i].imag()});
      f_fit[k] = {f_fit[k].real() + term.real(), f_fit[k].imag() + term.imag()};
    }
  }
}

void calculate_error(int nf, const std::complex<double>* f, const std::complex<double>* f_fit,
                     const std::complex<double>* /*s*/, double& error) {
  error = 0.0;
  for (int k = 0; k < nf; ++k) {
    const double re = f[k].real() - f_fit[k].real();
    const double im = f[k].imag() - f_fit[k].imag();
    error += std::abs(std::complex<double>(re * re - im * im, 2.0 * re * im));
  }
  error = std::sqrt(error / static_cast<double>(nf));
}

}  // namespace s_solver
