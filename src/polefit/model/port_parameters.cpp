#include "polefit/model/port_parameters.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace polefit {
namespace {

using Complex = PortParameters::Complex;

/// Without the care of the language's product for infinities, which costs more than the product.
Complex product(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

bool is_hybrid(char parameter) { return parameter == 'H' || parameter == 'G'; }

/// Whether what a row of the parameters gives is a voltage.
bool gives_voltage(char parameter, std::size_t row) {
  return parameter == 'Z' || (parameter == 'H' && row == 0) || (parameter == 'G' && row == 1);
}

/// What a normalised element of a row and column is to be multiplied with, without that of S.
double scale(char parameter, const std::vector<double>& roots, std::size_t row, std::size_t column) {
  if (parameter == 'S') {
    return 1.0;
  }
  // A column takes a current where its row gives a voltage.
  const double unit = gives_voltage(parameter, row) ? roots[row] : 1.0 / roots[row];
  return gives_voltage(parameter, column) ? unit * roots[column] : unit / roots[column];
}

}  // namespace

PortParameters::PortParameters(char from, char to, std::size_t ports)
    : from_(from), to_(to), ports_(ports), roots_(ports), v_(ports * ports), c_(ports * ports) {}

/// Voltages and currents as linear functions of what the parameters are driven by.
void PortParameters::take(const Complex* matrix, const Complex* impedances) {
  for (std::size_t i = 0; i < ports_; ++i) {
    const Complex impedance = impedances[i] / impedances[i].real();
    for (std::size_t j = 0; j < ports_; ++j) {
      const Complex unit = i == j ? 1.0 : 0.0;
      const Complex value = matrix[i * ports_ + j] / scale(from_, roots_, i, j);
      if (from_ == 'S') {
        v(i, j) = product(std::conj(impedance), unit) + product(impedance, value);
        c(i, j) = unit - value;
      } else {
        v(i, j) = gives_voltage(from_, i) ? value : unit;
        c(i, j) = gives_voltage(from_, i) ? unit : value;
      }
    }
  }
}

/// Makes what is given the left and what is taken the right matrix, both transposed.
void PortParameters::arrange(const Complex* impedances) {
  for (std::size_t i = 0; i < ports_; ++i) {
    const double resistance = roots_[i] * roots_[i];
    const Complex impedance = impedances[i] / resistance;
    const double root = std::sqrt(impedance.real());
    for (std::size_t j = 0; j < ports_; ++j) {
      const Complex voltage = v(i, j);
      const Complex current = c(i, j);
      if (to_ == 'S') {
        v(i, j) = (voltage - product(std::conj(impedance), current)) / root;
        c(i, j) = (voltage + product(impedance, current)) / root;
      } else if (!gives_voltage(to_, i)) {
        std::swap(v(i, j), c(i, j));
      }
    }
  }
  for (std::size_t i = 0; i < ports_; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      std::swap(v(i, j), v(j, i));
      std::swap(c(i, j), c(j, i));
    }
  }
}

/// Makes v D^-T v by elimination with pivots of a column.
bool PortParameters::solve() {
  double largest = 0.0;
  for (const Complex& element : c_) {
    largest = std::max(largest, std::abs(element));
  }
  const double least = 4.0 * static_cast<double>(ports_) * std::numeric_limits<double>::epsilon() * largest;
  for (std::size_t k = 0; k < ports_; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < ports_; ++i) {
      pivot = std::abs(c(i, k)) > std::abs(c(pivot, k)) ? i : pivot;
    }
    if (!(std::abs(c(pivot, k)) > least)) {
      return false;
    }
    if (pivot != k) {
      std::swap_ranges(&c(k, 0), &c(k, 0) + ports_, &c(pivot, 0));
      std::swap_ranges(&v(k, 0), &v(k, 0) + ports_, &v(pivot, 0));
    }
    for (std::size_t i = k + 1; i < ports_; ++i) {
      const Complex factor = c(i, k) / c(k, k);
      if (factor == 0.0) {
        continue;
      }
      for (std::size_t j = k + 1; j < ports_; ++j) {
        c(i, j) -= product(factor, c(k, j));
      }
      for (std::size_t j = 0; j < ports_; ++j) {
        v(i, j) -= product(factor, v(k, j));
      }
    }
  }
  for (std::size_t k = ports_; k-- > 0;) {
    for (std::size_t i = k + 1; i < ports_; ++i) {
      for (std::size_t j = 0; j < ports_; ++j) {
        v(k, j) -= product(c(k, i), v(i, j));
      }
    }
    for (std::size_t j = 0; j < ports_; ++j) {
      v(k, j) /= c(k, k);
    }
  }
  return true;
}

bool PortParameters::convert(Complex* matrix, const Complex* from_impedances, const Complex* to_impedances) {
  if ((is_hybrid(from_) || is_hybrid(to_)) && ports_ != 2) {
    return false;
  }
  for (std::size_t i = 0; i < ports_; ++i) {
    roots_[i] = std::sqrt(from_impedances[i].real());
  }
  take(matrix, from_impedances);
  arrange(to_impedances);
  if (!solve()) {
    return false;
  }
  for (std::size_t i = 0; i < ports_; ++i) {
    for (std::size_t j = 0; j < ports_; ++j) {
      matrix[i * ports_ + j] = v(j, i) * scale(to_, roots_, i, j);
    }
  }
  return std::all_of(matrix, matrix + ports_ * ports_,
                     [](Complex z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); });
}

}  // namespace polefit
