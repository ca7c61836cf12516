#include "polefit/passivity/pole_moves.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "numerics/inverse_factor.hpp"
#include "numerics/upper_triangle.hpp"
#include "polefit/passivity/harm_rows.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

/// Of the largest curvature, below which damping is as for that: residues near 0 do not see their pole.
constexpr double least_curvature = 1e-6;
/// A step takes at most this part of a pole's distance from an axis.
constexpr double longest = 0.5;

/// The derivatives of partial fractions by their poles, in the order of the basis of the poles.
void append_squares(const Poles& poles, Complex s, std::vector<Complex>& functions) {
  for_each_group(
      poles,
      [&](std::size_t i) {
        const Complex u = 1.0 / (s - poles[i]);
        functions.push_back(u * u);
      },
      [&](std::size_t i) {
        const Complex u = 1.0 / (s - poles[i]);
        const Complex v = 1.0 / (s - poles[i + 1]);
        const Complex difference = u * u - v * v;
        functions.push_back(u * u + v * v);
        functions.emplace_back(-difference.imag(), difference.real());
      });
}

/// C_e^T row.
std::vector<double> by_pole(const ScaledModel& model, std::size_t e, const std::vector<double>& row) {
  std::vector<double> result(row.size());
  for_each_group(
      model.poles, [&](std::size_t i) { result[i] = model.x(i, e) * row[i]; },
      [&](std::size_t i) {
        const double re = model.x(i, e);
        const double im = model.x(i + 1, e);
        result[i] = re * row[i] + im * row[i + 1];
        result[i + 1] = re * row[i + 1] - im * row[i];
      });
  return result;
}

/// Column j of the triangle behind `from`, times another such column or a right-hand side.
double product_behind(const Matrix& triangle, std::size_t from, std::size_t j, const double* other) {
  double sum = 0.0;
  for (std::size_t i = from; i <= j; ++i) {
    sum += triangle(i, j) * other[i];
  }
  return sum;
}

}  // namespace

PoleMoves::PoleMoves(const ScaledModel& model, const MatrixSamples& samples, double outside, bool keep_zero,
                     const std::vector<Peak>& planes, double limit)
    : model_(model),
      keep_zero_(keep_zero),
      functions_(model.functions() - (keep_zero ? 1 : 0)),
      offset_(model.x.columns) {
  const std::size_t n = model.poles.size();
  if (keep_zero) {
    offset_ = value_at(model, 0.0).re.elements;
    at_zero_ = functions_at(0.0);
  }
  Matrix coefficients(functions_ + n, model.x.columns);
  for (std::size_t e = 0; e < model.x.columns; ++e) {
    std::copy_n(model.x.column(e), functions_, coefficients.column(e));
  }
  const FoldedRows rows = harm_rows(
                              model, samples, outside, [this](double omega) { return functions_at(omega); },
                              offset_, coefficients)
                              .whole;
  const Matrix& r = rows.triangle;
  Matrix squares(n, n);  // T^T T
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      squares(i, j) = squares(j, i) = product_behind(r, functions_, functions_ + i, r.column(functions_ + j));
    }
  }
  curvature_ = Matrix(n, n);
  downhill_.assign(n, 0.0);
  for (std::size_t e = 0; e < model.x.columns; ++e) {
    const double weight = samples.element_weights[e];
    Matrix half(n, n);  // T^T T C_e, transposed
    for (std::size_t i = 0; i < n; ++i) {
      const std::vector<double> row(squares.column(i), squares.column(i) + n);
      const std::vector<double> result = by_pole(model, e, row);
      for (std::size_t j = 0; j < n; ++j) {
        half(i, j) = result[j];
      }
    }
    std::vector<double> slopes(n);
    for (std::size_t j = 0; j < n; ++j) {
      const std::vector<double> row(half.column(j), half.column(j) + n);
      const std::vector<double> result = by_pole(model, e, row);
      for (std::size_t i = 0; i < n; ++i) {
        curvature_(i, j) += weight * weight * result[i];
      }
      slopes[j] = product_behind(r, functions_, functions_ + j, rows.right.column(e));
    }
    slopes = by_pole(model, e, slopes);
    for (std::size_t j = 0; j < n; ++j) {
      downhill_[j] += weight * slopes[j];
    }
  }
  for (const Peak& peak : planes) {
    add_plane(peak, limit, r, rows.right, samples.element_weights);
  }
}

std::vector<Complex> PoleMoves::functions_at(double omega) const {
  std::vector<Complex> functions = basis_at(model_, omega);
  functions.resize(functions_);
  if (std::isinf(omega)) {
    functions.resize(functions_ + model_.poles.size());
  } else {
    append_squares(model_.poles, {0.0, omega}, functions);
  }
  for (std::size_t k = 0; k < at_zero_.size(); ++k) {
    functions[k] -= at_zero_[k];
  }
  return functions;
}

void PoleMoves::add_plane(const Peak& peak, double limit, const Matrix& triangle, const Matrix& right,
                          const std::vector<double>& weights) {
  std::vector<Complex> p = functions_at(peak.omega);
  std::vector<Complex> rest(p.begin() + static_cast<std::ptrdiff_t>(functions_), p.end());
  p.resize(functions_);
  p = numerics::solve_transposed(triangle, std::move(p));
  for (std::size_t j = 0; j < rest.size(); ++j) {
    for (std::size_t i = 0; i < functions_; ++i) {
      rest[j] -= triangle(i, functions_ + j) * p[i];
    }
  }
  Plane plane;
  plane.slopes.resize(rest.size());
  plane.distance = peak.offset - limit;
  std::vector<double> row(rest.size());
  for (std::size_t e = 0; e < peak.c.size(); ++e) {
    const Complex c = peak.c[e];
    for (std::size_t j = 0; j < rest.size(); ++j) {
      row[j] = c.real() * rest[j].real() - c.imag() * rest[j].imag();
    }
    const std::vector<double> slopes = by_pole(model_, e, row);
    for (std::size_t j = 0; j < rest.size(); ++j) {
      plane.slopes[j] += slopes[j];
    }
    Complex value = offset_[e];
    for (std::size_t i = 0; i < functions_; ++i) {
      value += p[i] * right(i, e) / weights[e];
    }
    plane.distance += (c * value).real();
    plane.normal.c.push_back(c / weights[e]);
  }
  plane.normal.p = std::move(p);
  if (std::isfinite(plane.distance)) {
    planes_.push_back(std::move(plane));
  }
}

std::optional<ScaledModel> PoleMoves::moved(double damping) const {
  const std::size_t n = curvature_.rows;
  double largest = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    largest = std::max(largest, curvature_(i, i));
  }
  Matrix damped = curvature_;
  for (std::size_t i = 0; i < n; ++i) {
    damped(i, i) += damping * (curvature_(i, i) + least_curvature * largest);
  }
  const std::optional<numerics::InverseFactor> inverse = numerics::invert_positive(std::move(damped));
  if (!inverse) {
    return std::nullopt;
  }
  const auto half = [&](const std::vector<double>& g) {  // W D g
    std::vector<double> result(n);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        result[i] += inverse->w(i, j) * (inverse->scale[j] * g[j]);
      }
    }
    return result;
  };
  const auto dot = [](const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      sum += a[i] * b[i];
    }
    return sum;
  };
  std::vector<double> step = half(downhill_);
  const std::size_t count = planes_.size();
  std::vector<std::vector<double>> slopes;
  std::vector<double> lengths;
  std::vector<double> distances;
  for (const Plane& plane : planes_) {
    slopes.push_back(half(plane.slopes));
    lengths.push_back(std::sqrt(product(plane.normal, plane.normal) + dot(slopes.back(), slopes.back())));
    distances.push_back((plane.distance + dot(slopes.back(), step)) / lengths.back());
  }
  Matrix products(count, count);
  for (std::size_t j = 0; j < count; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      products(i, j) = products(j, i) =
          (product(planes_[i].normal, planes_[j].normal) + dot(slopes[i], slopes[j])) /
          (lengths[i] * lengths[j]);
    }
  }
  const std::vector<double> multipliers = multipliers_of(products, distances, {}).x;
  for (std::size_t l = 0; l < count; ++l) {
    for (std::size_t i = 0; i < n; ++i) {
      step[i] -= multipliers[l] / lengths[l] * slopes[l][i];
    }
  }
  std::vector<double> change(n);  // D W^T step
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      change[j] += inverse->w(i, j) * step[i];
    }
    change[j] *= inverse->scale[j];
  }
  double part = 1.0;
  const auto shorten = [&](double distance, double by) {
    part = std::min(part, longest * std::abs(distance) / std::abs(by));
  };
  for_each_group(
      model_.poles, [&](std::size_t i) { shorten(model_.poles[i].real(), change[i]); },
      [&](std::size_t i) {
        shorten(model_.poles[i].real(), change[i]);
        shorten(model_.poles[i].imag(), change[i + 1]);
      });
  if (!std::isfinite(dot(change, change)) || !(part > 0.0)) {
    return std::nullopt;
  }
  ScaledModel result = model_;
  for_each_group(
      model_.poles, [&](std::size_t i) { result.poles[i] += part * change[i]; },
      [&](std::size_t i) {
        result.poles[i] += part * Complex(change[i], change[i + 1]);
        result.poles[i + 1] = std::conj(result.poles[i]);
      });
  if (keep_zero_) {
    const ComplexMatrix zero = value_at(result, 0.0);
    for (std::size_t e = 0; e < offset_.size(); ++e) {
      result.x(n, e) += offset_[e] - zero.re.elements[e];
    }
  }
  return result;
}

}  // namespace polefit
