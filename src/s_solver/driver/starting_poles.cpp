#include "s_solver/driver/starting_poles.hpp"

#include <cmath>

#include "numerics/angular_frequency.hpp"
#include "s_solver/console/console.hpp"

namespace s_solver {
namespace {

constexpr double three_half_pi = 4.71238898038469;
constexpr double damping_divisor = 100.0;

/// `count` frequencies (hertz) from one end of the band to the other.
class FrequencySpacing {
 public:
  FrequencySpacing(int count, double fmin, double fmax, bool logarithmic)
      : logarithmic_(logarithmic),
        start_(logarithmic ? std::log10(fmin) : fmin),
        end_(logarithmic ? std::log10(fmax) : fmax),
        step_(count <= 1 ? 0.0 : (end_ - start_) / (count - 1)) {}

  double at(int i) const { return to_hertz(start_ + i * step_); }
  double middle() const { return to_hertz((start_ + end_) / 2.0); }

 private:
  double to_hertz(double position) const { return logarithmic_ ? std::pow(10.0, position) : position; }

  bool logarithmic_;
  double start_;
  double end_;
  double step_;
};

}  // namespace

void place_starting_poles(int order, double fmin, double fmax, int use_logf, int use_cmplx,
                          std::complex<double>* a) {
  if (use_cmplx == 0) {
    const FrequencySpacing spacing(order, fmin, fmax, use_logf != 0);
    for (int i = 0; i < order; ++i) {
      a[i] = -(spacing.at(i) * numerics::two_pi);
    }
    return;
  }
  const int pairs = order / 2;
  const FrequencySpacing spacing(pairs, fmin, fmax, use_logf != 0);
  int k = 0;
  for (int i = 0; i < pairs; ++i) {
    const double frequency = pairs <= 1 ? spacing.middle() : spacing.at(i);
    const double omega = frequency * numerics::two_pi;
    const double sigma = -(omega / damping_divisor);
    a[k++] = {sigma, omega};
    a[k++] = {sigma, -omega};
  }
  if (k < order) {
    a[k] = -(fmin * three_half_pi);
  }
}

void print_starting_poles(int order, const std::complex<double>* a) {
  print_record();
  print_record("        initial poles (w)             intitial poles (f)           ");
  for (int i = 0; i < order; ++i) {
    const std::complex<double> hertz(a[i].real() / numerics::two_pi, a[i].imag() / numerics::two_pi);
    print_record(std::complex<float>(a[i]), std::complex<float>(hertz));
  }
  print_record();
}

}  // namespace s_solver
