#include "polefit/passivity/harm.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics/upper_triangle.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

}  // namespace

Harm::Harm(const ScaledModel& model, const MatrixSamples& samples, double outside, bool keep_zero)
    : keep_zero_(keep_zero),
      lowest_(samples.lowest()),
      highest_(samples.highest()),
      offset_(model.ports * model.ports),
      weights_(samples.element_weights) {
  shape_.poles = model.poles;
  const std::vector<Complex> zero = basis_at(model, 0.0);
  for (const Complex value : zero) {
    at_zero_.push_back(value.real());
  }
  at_zero_.pop_back();
  if (keep_zero) {
    offset_ = value_at(model, 0.0).re.elements;
  }
  HarmRows rows = harm_rows(
      model, samples, outside, [this](double omega) { return basis(omega); }, offset_, reduced(model.x));
  band_ = std::move(rows.band);
  r_ = std::move(rows.whole.triangle);
  centre_ = numerics::solve_upper(r_, std::move(rows.whole.right));
  for (std::size_t j = 0; j < offset_.size(); ++j) {
    for (std::size_t k = 0; k < r_.columns; ++k) {
      centre_(k, j) /= weights_[j];
    }
  }
}

std::vector<Complex> Harm::basis(double omega) const {
  std::vector<Complex> phi = basis_at(shape_, omega);
  if (keep_zero_) {
    phi.pop_back();
    for (std::size_t k = 0; k < phi.size(); ++k) {
      phi[k] -= at_zero_[k];
    }
  }
  return phi;
}

Matrix Harm::reduced(const Matrix& x) const {
  Matrix y(keep_zero_ ? x.rows - 1 : x.rows, x.columns);
  for (std::size_t j = 0; j < y.columns; ++j) {
    std::copy_n(x.column(j), y.rows, y.column(j));
  }
  return y;
}

Matrix Harm::expanded(const Matrix& y) const {
  if (!keep_zero_) {
    return y;
  }
  Matrix x(y.rows + 1, y.columns);
  for (std::size_t j = 0; j < y.columns; ++j) {
    std::copy_n(y.column(j), y.rows, x.column(j));
    double constant = offset_[j];
    for (std::size_t k = 0; k < y.rows; ++k) {
      constant -= at_zero_[k] * y(k, j);
    }
    x(y.rows, j) = constant;
  }
  return x;
}

double Harm::in_band(const Matrix& y) const {
  double squares = 0.0;
  std::vector<double> differences(band_.triangle.rows);
  for (std::size_t j = 0; j < y.columns; ++j) {
    std::copy_n(band_.right.column(j), band_.triangle.rows, differences.begin());
    for (std::size_t k = 0; k < band_.triangle.columns; ++k) {
      const double factor = weights_[j] * y(k, j);
      for (std::size_t i = 0; i <= k; ++i) {
        differences[i] -= band_.triangle(i, k) * factor;
      }
    }
    squares += band_.left[j];
    for (const double difference : differences) {
      squares += difference * difference;
    }
  }
  return std::sqrt(squares / static_cast<double>(y.columns));
}

std::vector<Complex> Harm::lowered(const std::vector<Complex>& phi) const {
  return numerics::solve_transposed(r_, phi);
}

Matrix Harm::raised(Matrix z) const { return numerics::solve_upper(r_, std::move(z)); }

}  // namespace polefit
