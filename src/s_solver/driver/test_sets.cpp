#include "s_solver/driver/test_sets.hpp"

#include <array>
#include <cmath>
#include <span>

#include "numerics/angular_frequency.hpp"
#include "numerics/complex_division.hpp"

namespace s_solver {
namespace {

struct PoleTerm {
  std::complex<double> pole;
  std::complex<double> residue;
};

constexpr std::array<PoleTerm, 5> resonances{{
    {{-5.0, 0.0}, {2.0, 0.0}},
    {{-100.0, 500.0}, {30.0, 40.0}},
    {{-100.0, -500.0}, {30.0, -40.0}},
    {{-150.0, 800.0}, {20.0, 90.0}},
    {{-150.0, -800.0}, {20.0, -90.0}},
}};

/// Poles and residues in hertz.
constexpr std::array<PoleTerm, 18> broadband_in_hertz{{
    {{-4500.0, 0.0}, {-3000.0, 0.0}},
    {{-41000.0, 0.0}, {-83000.0, 0.0}},
    {{-100.0, 5000.0}, {-5.0, 7000.0}},
    {{-100.0, -5000.0}, {-5.0, -7000.0}},
    {{-120.0, 15000.0}, {-20.0, 18000.0}},
    {{-120.0, -15000.0}, {-20.0, -18000.0}},
    {{-3000.0, 35000.0}, {6000.0, 45000.0}},
    {{-3000.0, -35000.0}, {6000.0, -45000.0}},
    {{-200.0, 45000.0}, {40.0, 60000.0}},
    {{-200.0, -45000.0}, {40.0, -60000.0}},
    {{-1500.0, 45000.0}, {90.0, 10000.0}},
    {{-1500.0, -45000.0}, {90.0, -10000.0}},
    {{-500.0, 70000.0}, {50000.0, 80000.0}},
    {{-500.0, -70000.0}, {50000.0, -80000.0}},
    {{-1000.0, 73000.0}, {1000.0, 45000.0}},
    {{-1000.0, -73000.0}, {1000.0, -45000.0}},
    {{-2000.0, 90000.0}, {-5000.0, 92000.0}},
    {{-2000.0, -90000.0}, {-5000.0, -92000.0}},
}};

constexpr std::array<PoleTerm, 2> megahertz_resonance{{
    {{-150000.0, 20000000.0}, {20000000.0, 900000.0}},
    {{-150000.0, -20000000.0}, {20000000.0, -900000.0}},
}};

std::complex<double> plus(std::complex<double> sum, std::complex<double> term) {
  return {sum.real() + term.real(), sum.imag() + term.imag()};
}

/// h s + d, the start or the end of a sum of pole terms.
std::complex<double> polynomial_part(std::complex<double> s, double d, double h) {
  return {s.real() * h + d, s.imag() * h};
}

std::complex<double> add_pole_terms(std::complex<double> sum, std::complex<double> s,
                                    std::span<const PoleTerm> terms) {
  for (const PoleTerm& term : terms) {
    sum = plus(sum, numerics::smith_quotient(term.residue,
                                             {s.real() - term.pole.real(), s.imag() - term.pole.imag()}));
  }
  return sum;
}

/// Lays the grid over the band and samples `response`, a function of s, on it.
template <class Response>
void sample_response(int nf, double fmin, double fmax, std::complex<double>* s, std::complex<double>* f,
                     int sample_spacing, const Response& response) {
  const bool logarithmic = sample_spacing != 0;
  const double start = logarithmic ? std::log10(fmin) : fmin;
  const double end = logarithmic ? std::log10(fmax) : fmax;
  const double step = (end - start) / static_cast<double>(nf - 1);
  for (int i = 0; i < nf; ++i) {
    const double position = i * step + start;
    const double frequency = logarithmic ? std::pow(10.0, position) : position;
    s[i] = {frequency * 0.0, frequency * numerics::two_pi};
    f[i] = response(s[i]);
  }
}

}  // namespace

// The order in which a response adds its terms is fixed: another order differs in the last bits.

void set_test_set_1(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing) {
  fmin = 1.0;
  fmax = 10000.0;
  sample_response(nf, fmin, fmax, s, f, sample_spacing, [](std::complex<double> point) {
    return plus(add_pole_terms(0.0, point, std::span(resonances).first(3)), 0.5);
  });
}

void set_test_set_2(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing) {
  fmin = 1.0;
  fmax = 100000.0;
  std::array<PoleTerm, broadband_in_hertz.size()> broadband = broadband_in_hertz;
  for (PoleTerm& term : broadband) {
    term.pole *= numerics::two_pi;
    term.residue *= numerics::two_pi;
  }
  sample_response(nf, fmin, fmax, s, f, sample_spacing, [&](std::complex<double> point) {
    return add_pole_terms(polynomial_part(point, 0.2, 2e-5), point, broadband);
  });
}

void set_test_set_3(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing) {
  fmin = 1.0;
  fmax = 300.0;
  sample_response(nf, fmin, fmax, s, f, sample_spacing, [](std::complex<double> point) {
    return plus(plus(add_pole_terms(0.0, point, resonances), 0.5), polynomial_part(point, 0.0, 2e-5));
  });
}

void set_test_set_4(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing) {
  fmin = 1000.0;
  fmax = 10000000.0;
  sample_response(nf, fmin, fmax, s, f, sample_spacing, [](std::complex<double> point) {
    const std::complex<double> scaled(point.real() * 1e-6, point.imag() * 1e-6);
    const std::complex<double> sum =
        plus(polynomial_part(point, 10.0, 1e-6), numerics::smith_quotient(1.0, scaled));
    return add_pole_terms(sum, point, megahertz_resonance);
  });
}

}  // namespace s_solver
