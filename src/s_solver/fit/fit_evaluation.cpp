#include "s_solver/fit/fit_evaluation.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numerics/partial_fractions.hpp"

namespace s_solver {

void calculate_fit_function(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                            double h, int nf, std::complex<double>* f_fit, const std::complex<double>* s) {
  numerics::SampleParts points;
  numerics::SampleParts fit;
  for (int first = 0; first < nf; first += numerics::SampleParts::most) {
    const int count = std::min(numerics::SampleParts::most, nf - first);
    points.take(count, s + first);
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      fit.re[k] = h * points.re[k] + d;
      fit.im[k] = h * points.im[k];
    }
    for (int i = 0; i < order; ++i) {
      numerics::add_partial_fraction(a[i], c[i], count, points.re.data(), points.im.data(), fit.re.data(),
                                     fit.im.data());
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      f_fit[static_cast<std::size_t>(first) + k] = {fit.re[k], fit.im[k]};
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
