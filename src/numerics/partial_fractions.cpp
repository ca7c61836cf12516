#include "numerics/partial_fractions.hpp"

#include "numerics/complex_division.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {
namespace {

[[gnu::always_inline]] inline void real_pole_column(std::complex<double> a, int count,
                                                    const double* __restrict s_re,
                                                    const double* __restrict s_im, double* __restrict re,
                                                    double* __restrict im) {
  for (int k = 0; k < count; ++k) {
    const std::complex<double> u = smith_quotient(1.0, {s_re[k] - a.real(), s_im[k] - a.imag()});
    re[k] = u.real();
    im[k] = u.imag();
  }
}

[[gnu::always_inline]] inline void pair_columns(std::complex<double> leader, std::complex<double> follower,
                                                int count, const double* __restrict s_re,
                                                const double* __restrict s_im, double* __restrict leader_re,
                                                double* __restrict leader_im, double* __restrict follower_re,
                                                double* __restrict follower_im) {
  for (int k = 0; k < count; ++k) {
    const std::complex<double> u = smith_quotient(1.0, {s_re[k] - leader.real(), s_im[k] - leader.imag()});
    const std::complex<double> v =
        smith_quotient(1.0, {s_re[k] - follower.real(), s_im[k] - follower.imag()});
    leader_re[k] = u.real() + v.real();
    leader_im[k] = u.imag() + v.imag();
    follower_re[k] = v.imag() - u.imag();
    follower_im[k] = u.real() - v.real();
  }
}

[[gnu::always_inline]] inline void weighted_column(int count, const double* __restrict f_re,
                                                   const double* __restrict f_im,
                                                   const double* __restrict phi_re,
                                                   const double* __restrict phi_im, double* __restrict re,
                                                   double* __restrict im) {
  for (int k = 0; k < count; ++k) {
    re[k] = f_im[k] * phi_im[k] - f_re[k] * phi_re[k];
    im[k] = -(f_re[k] * phi_im[k]) - f_im[k] * phi_re[k];
  }
}

[[gnu::always_inline]] inline void partial_fraction(std::complex<double> a, std::complex<double> c, int count,
                                                    const double* __restrict s_re,
                                                    const double* __restrict s_im, double* __restrict fit_re,
                                                    double* __restrict fit_im) {
  for (int k = 0; k < count; ++k) {
    const std::complex<double> term = smith_quotient(c, {s_re[k] - a.real(), s_im[k] - a.imag()});
    fit_re[k] += term.real();
    fit_im[k] += term.imag();
  }
}

}  // namespace

void fill_real_pole_column(std::complex<double> a, int count, const double* s_re, const double* s_im,
                           double* re, double* im, VectorUnit unit) {
  run_with<real_pole_column>(unit, a, count, s_re, s_im, re, im);
}

void fill_pair_columns(std::complex<double> leader, std::complex<double> follower, int count,
                       const double* s_re, const double* s_im, double* leader_re, double* leader_im,
                       double* follower_re, double* follower_im, VectorUnit unit) {
  run_with<pair_columns>(unit, leader, follower, count, s_re, s_im, leader_re, leader_im, follower_re,
                         follower_im);
}

void fill_weighted_column(int count, const double* f_re, const double* f_im, const double* phi_re,
                          const double* phi_im, double* re, double* im, VectorUnit unit) {
  run_with<weighted_column>(unit, count, f_re, f_im, phi_re, phi_im, re, im);
}

void add_partial_fraction(std::complex<double> a, std::complex<double> c, int count, const double* s_re,
                          const double* s_im, double* fit_re, double* fit_im, VectorUnit unit) {
  run_with<partial_fraction>(unit, a, c, count, s_re, s_im, fit_re, fit_im);
}

}  // namespace numerics
