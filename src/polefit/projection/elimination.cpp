#include "polefit/projection/elimination.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace polefit {
namespace {

/// S and X of one group of responses.
struct Sweep {
  Matrix s;
  Matrix x;
};

/// U^-1 U^-T.
Matrix inverse_product(const Matrix& u) {
  const std::size_t n = u.columns;
  Matrix inverse(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    inverse(j, j) = 1.0;
    for (std::size_t i = j + 1; i-- > 0;) {
      for (std::size_t k = i + 1; k <= j; ++k) {
        inverse(i, j) -= u(i, k) * inverse(k, j);
      }
      inverse(i, j) /= u(i, i);
    }
  }
  Matrix s(n, n);
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t j = 0; j <= k; ++j) {
      const double factor = inverse(j, k);
      for (std::size_t i = 0; i <= k; ++i) {
        s(i, j) += inverse(i, k) * factor;
      }
    }
  }
  return s;
}

/// (S_gg)^-1 for the columns i .. i + count - 1, one or two; zeros where S_gg is not positive.
struct SmallInverse {
  SmallInverse(const Matrix& s, std::size_t i, std::size_t count) {
    if (count == 1) {
      const double a = s(i, i);
      aa = a > 0.0 ? 1.0 / a : 0.0;
      return;
    }
    const double a = s(i, i);
    const double b = s(i + 1, i);
    const double c = s(i + 1, i + 1);
    const double determinant = a * c - b * b;
    if (determinant > 0.0) {
      aa = c / determinant;
      ab = -b / determinant;
      bb = a / determinant;
    }
  }
  double aa = 0.0;
  double ab = 0.0;
  double bb = 0.0;
};

/// What leaving out a group adds to the square of the error.
double increase(const Sweep& sweep, std::size_t i, std::size_t count) {
  const SmallInverse inverse(sweep.s, i, count);
  double sum = 0.0;
  for (std::size_t r = 0; r < sweep.x.columns; ++r) {
    const double first = sweep.x(i, r);
    const double second = count == 2 ? sweep.x(i + 1, r) : 0.0;
    sum += first * (inverse.aa * first + inverse.ab * second) +
           second * (inverse.ab * first + inverse.bb * second);
  }
  return std::max(0.0, sum);
}

/// Subtracts from every column of b what the left out rows i, i + 1 of it have in the others.
void sweep_columns(const std::vector<std::array<double, 2>>& factors, Matrix& b, std::size_t i,
                   std::size_t count) {
  for (std::size_t c = 0; c < b.columns; ++c) {
    double* const column = b.column(c);
    const double first = column[i];
    const double second = count == 2 ? column[i + 1] : 0.0;
    for (std::size_t k = 0; k < b.rows; ++k) {
      column[k] -= factors[k][0] * first + factors[k][1] * second;
    }
  }
}

void leave_out(Sweep& sweep, std::size_t i, std::size_t count) {
  const SmallInverse inverse(sweep.s, i, count);
  std::vector<std::array<double, 2>> factors(sweep.s.rows);
  for (std::size_t k = 0; k < sweep.s.rows; ++k) {
    const double first = sweep.s(k, i);
    const double second = count == 2 ? sweep.s(k, i + 1) : 0.0;
    factors[k] = {inverse.aa * first + inverse.ab * second, inverse.ab * first + inverse.bb * second};
  }
  sweep_columns(factors, sweep.x, i, count);
  sweep_columns(factors, sweep.s, i, count);
}

}  // namespace

std::vector<FewerPoles> eliminate_poles(const Projection& projection) {
  std::vector<Sweep> sweeps;
  for (const ProjectedGroup& group : projection.groups()) {
    sweeps.push_back({inverse_product(group.triangle), group.coefficients});
  }
  struct Group {
    std::size_t first;
    std::size_t count;
  };
  std::vector<Group> left;
  for_each_group(
      projection.poles(),
      [&](std::size_t i) {
        left.push_back({i, 1});
      },
      [&](std::size_t i) {
        left.push_back({i, 2});
      });
  const double norm = projection.problem().norm;
  double squares = projection.error() * projection.error() * norm * norm;
  std::vector<FewerPoles> path{{projection.poles(), projection.error()}};
  while (!left.empty()) {
    std::size_t chosen = 0;
    double least = std::numeric_limits<double>::infinity();
    double added = 0.0;
    for (std::size_t g = 0; g < left.size(); ++g) {
      double sum = 0.0;
      for (const Sweep& sweep : sweeps) {
        sum += increase(sweep, left[g].first, left[g].count);
      }
      const double share = sum / static_cast<double>(left[g].count);
      if (share < least) {
        least = share;
        added = sum;
        chosen = g;
      }
    }
    for (Sweep& sweep : sweeps) {
      leave_out(sweep, left[chosen].first, left[chosen].count);
    }
    left.erase(left.begin() + static_cast<std::ptrdiff_t>(chosen));
    squares += added;
    FewerPoles fewer{{}, std::sqrt(squares) / norm};
    for (const Group& group : left) {
      for (std::size_t i = 0; i < group.count; ++i) {
        fewer.poles.push_back(projection.poles()[group.first + i]);
      }
    }
    path.push_back(std::move(fewer));
  }
  return path;
}

}  // namespace polefit
