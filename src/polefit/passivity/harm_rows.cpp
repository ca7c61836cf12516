#include "polefit/passivity/harm_rows.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "numerics/folded_triangle.hpp"
#include "numerics/hermitian_eigenvalues.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

constexpr double ridge = 1e-10;
constexpr std::size_t rows_outside = 150;
/// Of these, below the band.
constexpr std::size_t rows_below = 30;
constexpr double first_above = 1.02;
constexpr double last_above = 30.0;
/// Of S; of Y and Z in units of their scale.
constexpr double largest_outside = 0.9;
constexpr double largest_outside_real = -1e-4;

std::vector<double> frequencies_outside(const ScaledModel& model, double lowest, double highest) {
  double farthest = highest;
  for (const Complex pole : model.poles) {
    farthest = std::max(farthest, std::abs(pole));
  }
  std::vector<double> omegas;
  const std::size_t above = rows_outside - (lowest > 0.0 ? rows_below : 0);
  for (std::size_t i = 0; i < above; ++i) {
    const double part = static_cast<double>(i) / static_cast<double>(above - 1);
    omegas.push_back(first_above * highest * std::pow(last_above * farthest / (first_above * highest), part));
  }
  for (std::size_t i = above; i < rows_outside; ++i) {
    omegas.push_back(lowest * static_cast<double>(i - above) / static_cast<double>(rows_below));
  }
  return omegas;
}

/// The nearest value whose measure is at most `largest`: h less (sigma - largest) u v^H for its singular
/// values above that, or the Hermitian part without what is below minus that. Nothing where there is none.
std::optional<ComplexMatrix> clipped(const ScaledModel& model, const ComplexMatrix& h, double largest) {
  const std::size_t n = h.rows();
  const auto found = numerics::hermitian_eigenvalues(judged_matrix(model, h), true);
  const auto measure = [&](std::size_t c) {
    const double value = found->values[c];
    return model.scattering ? std::sqrt(std::max(0.0, value)) : value;
  };
  if (!found || !(measure(n - 1) > largest)) {
    return std::nullopt;
  }
  ComplexMatrix result = h;
  const double unit = unit_of_value(model, h);
  for (std::size_t c = n; c-- > 0 && measure(c) > largest;) {
    for (std::size_t i = 0; i < n; ++i) {
      Complex left = (largest - measure(c)) * unit * -found->vectors(i, c);
      if (model.scattering) {
        left = 0.0;
        for (std::size_t k = 0; k < n; ++k) {
          left -= (1.0 - largest / measure(c)) * h(i, k) * found->vectors(k, c);
        }
      }
      for (std::size_t j = 0; j < n; ++j) {
        result.set(i, j, result(i, j) + left * std::conj(found->vectors(j, c)));
      }
    }
  }
  return result;
}

/// Rows of the basis and of the data, folded.
class Rows {
 public:
  Rows(std::size_t functions, std::size_t elements)
      : fold_(functions, std::max<std::size_t>(64, 4 * functions)),
        right_(functions + fold_.height(), elements),
        left_(elements) {}

  /// Both parts of phi X = value, times weight, and element by element times its own.
  void add(const std::vector<Complex>& phi, const std::vector<Complex>& values, double weight,
           const std::vector<double>& weights) {
    for (std::size_t part = 0; part < 2; ++part) {
      const auto of = [&](Complex z) { return part == 0 ? z.real() : z.imag(); };
      const auto row = static_cast<std::int64_t>(filled_);
      const numerics::MatrixView<double> block = fold_.block();
      for (std::size_t k = 0; k < phi.size(); ++k) {
        block(row, static_cast<std::int64_t>(k)) = weight * of(phi[k]);
      }
      for (std::size_t j = 0; j < right_.columns; ++j) {
        right_(fold_.columns() + filled_, j) = weight * weights[j] * of(values[j]);
      }
      if (++filled_ == fold_.height()) {
        fold();
      }
    }
  }
  /// Rows that draw every X_k a little to what it is.
  void add_ridge(const Matrix& triangle, const Matrix& x, const std::vector<double>& weights) {
    for (std::size_t k = 0; k < fold_.columns(); ++k) {
      double squares = 0.0;
      for (std::size_t i = 0; i <= k; ++i) {
        squares += triangle(i, k) * triangle(i, k);
      }
      std::vector<Complex> phi(fold_.columns());
      phi[k] = 1.0;
      std::vector<Complex> values;
      for (std::size_t j = 0; j < x.columns; ++j) {
        values.emplace_back(x(k, j));
      }
      add(phi, values, ridge * std::sqrt(squares > 0.0 ? squares : 1.0), weights);
    }
  }
  FoldedRows folded() && {
    const numerics::MatrixView<double> block = fold_.block();
    for (std::size_t i = filled_; filled_ > 0 && i < fold_.height(); ++i) {
      for (std::size_t k = 0; k < fold_.columns(); ++k) {
        block(static_cast<std::int64_t>(i), static_cast<std::int64_t>(k)) = 0.0;
      }
      for (std::size_t j = 0; j < right_.columns; ++j) {
        right_(fold_.columns() + i, j) = 0.0;
      }
    }
    if (filled_ > 0) {
      fold();
    }
    Matrix top(fold_.columns(), right_.columns);
    for (std::size_t j = 0; j < top.columns; ++j) {
      std::copy_n(right_.column(j), top.rows, top.column(j));
    }
    return {fold_.triangle(), std::move(top), std::move(left_)};
  }

 private:
  void fold() {
    fold_.fold();
    fold_.apply(right_);
    for (std::size_t j = 0; j < right_.columns; ++j) {
      for (std::size_t i = fold_.columns(); i < right_.rows; ++i) {
        left_[j] += right_(i, j) * right_(i, j);
      }
    }
    filled_ = 0;
  }

  numerics::FoldedTriangle fold_;
  Matrix right_;
  std::vector<double> left_;
  std::size_t filled_ = 0;
};

}  // namespace

HarmRows harm_rows(const ScaledModel& model, const MatrixSamples& samples, double outside,
                   const std::function<std::vector<Complex>(double)>& functions_at,
                   const std::vector<double>& offset, const Matrix& coefficients) {
  const std::size_t elements = offset.size();
  const auto without_offset = [&](const auto& value) {
    std::vector<Complex> values;
    values.reserve(elements);
    for (std::size_t i = 0; i < elements; ++i) {
      values.push_back(value(i) - offset[i]);
    }
    return values;
  };
  const std::vector<double>& weights = samples.element_weights;
  Rows band(coefficients.rows, elements);
  const double weight = 1.0 / std::sqrt(static_cast<double>(samples.omega.size()));
  for (std::size_t k = 0; k < samples.omega.size(); ++k) {
    const Complex* const values = samples.values.data() + k * elements;
    band.add(functions_at(samples.omega[k]), without_offset([&](std::size_t i) { return values[i]; }),
             weight * samples.omega_weights[k], weights);
  }
  Rows whole = band;
  HarmRows result;
  result.band = std::move(band).folded();

  const double weight_outside = outside / std::sqrt(static_cast<double>(rows_outside));
  const double largest = model.scattering ? largest_outside : largest_outside_real;
  for (const double omega : frequencies_outside(model, samples.lowest(), samples.highest())) {
    ComplexMatrix target = value_at(model, omega);
    if (auto cut = clipped(model, target, largest)) {
      target = *std::move(cut);
    }
    whole.add(functions_at(omega), without_offset([&](std::size_t i) {
                return Complex(target.re.elements[i], target.im.elements[i]);
              }),
              weight_outside, weights);
  }
  whole.add_ridge(result.band.triangle, coefficients, weights);
  result.whole = std::move(whole).folded();
  return result;
}

}  // namespace polefit
