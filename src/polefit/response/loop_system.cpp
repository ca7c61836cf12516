#include "polefit/response/loop_system.hpp"

#include <cmath>
#include <utility>

#include "polefit/error.hpp"

namespace polefit {

LoopSystem::LoopSystem(numerics::Matrix a) : factors_(std::move(a)), pivots_(factors_.rows) {
  const std::size_t n = factors_.rows;
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      pivot = std::abs(factors_(i, k)) > std::abs(factors_(pivot, k)) ? i : pivot;
    }
    pivots_[k] = pivot;
    for (std::size_t j = 0; pivot != k && j < n; ++j) {
      std::swap(factors_(k, j), factors_(pivot, j));
    }
    const double largest = factors_(k, k);
    if (largest == 0.0 || !std::isfinite(largest)) {
      throw Error(ErrorKind::numerical_breakdown,
                  "the model and what its ports are terminated with contradict each other: the equations of "
                  "the ports have no single solution");
    }
    for (std::size_t i = k + 1; i < n; ++i) {
      factors_(i, k) /= largest;
      for (std::size_t j = k + 1; j < n; ++j) {
        factors_(i, j) -= factors_(i, k) * factors_(k, j);
      }
    }
  }
}

void LoopSystem::solve(std::span<double> x) const {
  const std::size_t n = factors_.rows;
  for (std::size_t k = 0; k < n; ++k) {
    std::swap(x[k], x[pivots_[k]]);
  }
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t i = k + 1; i < n; ++i) {
      x[i] -= factors_(i, k) * x[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    x[k] /= factors_(k, k);
    for (std::size_t i = 0; i < k; ++i) {
      x[i] -= factors_(i, k) * x[k];
    }
  }
}

}  // namespace polefit
