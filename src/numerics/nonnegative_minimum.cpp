#include "numerics/nonnegative_minimum.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace numerics {
namespace {

constexpr double ridge = 1e-12;
constexpr std::size_t most_at_once = 16;
/// Of the largest slope, what others must have to go with it.
constexpr double steep = 0.3;
/// Changes in a row that may leave the value as it is, which is what rounding makes of nearly dependent
/// unknowns.
constexpr int most_idle = 20;
constexpr double rounding = 1e-13;

/// The unknowns above 0, with the Cholesky factor of their part of k.
class ActiveSet {
 public:
  ActiveSet(const Matrix& k, const std::vector<double>& d) : k_(k), d_(d) {}

  const std::vector<std::size_t>& members() const { return members_; }
  double operations() const { return operations_; }

  /// False when it depends on the others.
  bool add(std::size_t unknown) {
    const std::size_t n = members_.size();
    operations_ += 0.5 * static_cast<double>(n * n);
    std::vector<double> row;
    double diagonal = element(unknown, unknown) * (1.0 + ridge);
    for (std::size_t i = 0; i < n; ++i) {
      double sum = element(unknown, members_[i]);
      for (std::size_t j = 0; j < i; ++j) {
        sum -= rows_[i][j] * row[j];
      }
      row.push_back(sum / rows_[i][i]);
      diagonal -= row.back() * row.back();
    }
    if (!(diagonal > 0.5 * ridge * element(unknown, unknown))) {
      return false;
    }
    row.push_back(std::sqrt(diagonal));
    rows_.push_back(std::move(row));
    members_.push_back(unknown);
    return true;
  }

  /// Takes out the member at a place: rotations of neighbouring columns make the rows behind it those of a
  /// triangle again (Gill, Golub, Murray, Saunders, "Methods for modifying matrix factorizations", Math.
  /// Comp. 28, 1974).
  void remove(std::size_t place) {
    members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(place));
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(place));
    operations_ += 2.0 * static_cast<double>((rows_.size() - place) * (rows_.size() - place));
    for (std::size_t j = place; j < rows_.size(); ++j) {
      const double length = std::hypot(rows_[j][j], rows_[j][j + 1]);
      const double c = rows_[j][j] / length;
      const double s = rows_[j][j + 1] / length;
      for (std::size_t i = j; i < rows_.size(); ++i) {
        const double left = rows_[i][j];
        const double right = rows_[i][j + 1];
        rows_[i][j] = c * left + s * right;
        rows_[i][j + 1] = c * right - s * left;
      }
      rows_[j].pop_back();
    }
  }

  /// The values of the members that solve their equations.
  std::vector<double> solution() {
    const std::size_t n = members_.size();
    operations_ += static_cast<double>(n * n);
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) {
      double sum = d_[members_[i]];
      for (std::size_t j = 0; j < i; ++j) {
        sum -= rows_[i][j] * x[j];
      }
      x[i] = sum / rows_[i][i];
    }
    for (std::size_t i = n; i-- > 0;) {
      x[i] /= rows_[i][i];
      for (std::size_t j = 0; j < i; ++j) {
        x[j] -= rows_[i][j] * x[i];
      }
    }
    return x;
  }

  double element(std::size_t i, std::size_t j) const { return k_(i, j); }

 private:
  const Matrix& k_;
  const std::vector<double>& d_;
  std::vector<std::size_t> members_;
  std::vector<std::vector<double>> rows_;  // of the factor, which is lower triangular
  double operations_ = 0.0;
};

/// Those that are not excluded and have the largest slopes above the tolerance, the largest first: several at
/// a time save most of the slopes.
template <typename Excluded>
std::vector<std::size_t> steepest_of(const std::vector<double>& slopes, double tolerance,
                                     const Excluded& excluded) {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < slopes.size(); ++i) {
    if (slopes[i] > tolerance && !excluded(i)) {
      found.push_back(i);
    }
  }
  const std::size_t kept = std::min(found.size(), most_at_once);
  std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(kept), found.end(),
                    [&](std::size_t a, std::size_t b) { return slopes[a] > slopes[b]; });
  found.resize(kept);
  while (!found.empty() && slopes[found.back()] < steep * slopes[found.front()]) {
    found.pop_back();
  }
  return found;
}

/// Moves the members' values towards the solution of their equations, and takes out those that get to 0,
/// until none does.
void settle(ActiveSet& active, std::vector<double>& x) {
  while (!active.members().empty()) {
    const std::vector<double> solution = active.solution();
    double step = 1.0;
    for (std::size_t i = 0; i < solution.size(); ++i) {
      const double now = x[active.members()[i]];
      if (solution[i] <= 0.0) {
        step = std::min(step, now / (now - solution[i]));
      }
    }
    if (std::isnan(step)) {
      step = 0.0;
    }
    std::size_t first_out = solution.size();
    for (std::size_t i = 0; i < solution.size(); ++i) {
      double& value = x[active.members()[i]];
      value += step * (solution[i] - value);
      if (step < 1.0 && solution[i] <= 0.0 &&
          value <= std::numeric_limits<double>::epsilon() * std::abs(solution[i])) {
        first_out = std::min(first_out, i);
      }
    }
    if (step == 1.0) {
      return;
    }
    for (std::size_t i = active.members().size(); i-- > first_out;) {
      double& value = x[active.members()[i]];
      if (solution[i] <= 0.0 && value <= std::numeric_limits<double>::epsilon() * std::abs(solution[i])) {
        value = 0.0;
        active.remove(i);
      }
    }
  }
}

}  // namespace

NonnegativeMinimum nonnegative_minimum(const Matrix& k, const std::vector<double>& d,
                                       const std::vector<double>& start, double tolerance, int most) {
  const std::size_t n = d.size();
  NonnegativeMinimum result{std::vector<double>(n)};
  ActiveSet active(k, d);
  double of_slopes = 0.0;
  const auto ended = [&](bool converged) {
    result.converged = converged;
    result.operations = of_slopes + active.operations();
    return std::move(result);
  };
  for (std::size_t i = 0; i < start.size(); ++i) {
    if (start[i] > 0.0 && active.add(i)) {
      result.x[i] = start[i];
    }
  }
  settle(active, result.x);
  std::vector<bool> refused(n);
  double least = std::numeric_limits<double>::infinity();
  int idle = 0;
  for (int change = 0; change < most; ++change) {
    std::vector<double> slopes = d;
    of_slopes += static_cast<double>(n * active.members().size());
    for (const std::size_t j : active.members()) {
      const double* const column = k.column(j);
      const double value = result.x[j];
      for (std::size_t i = 0; i < n; ++i) {
        slopes[i] -= column[i] * value;
      }
    }
    double value = 0.0;
    for (const std::size_t j : active.members()) {
      value -= 0.5 * result.x[j] * (d[j] + slopes[j]);
    }
    idle = value < least - rounding * std::abs(least) || std::isinf(least) ? 0 : idle + 1;
    least = std::min(least, value);
    if (idle > most_idle) {
      break;
    }
    const std::vector<std::size_t> steepest =
        steepest_of(slopes, tolerance, [&](std::size_t i) { return result.x[i] > 0.0 || refused[i]; });
    if (steepest.empty()) {
      return ended(true);
    }
    bool added = false;
    for (const std::size_t i : steepest) {
      refused[i] = !active.add(i);
      added = added || !refused[i];
    }
    if (added) {
      settle(active, result.x);
      // What was dependent need not be any more; what fell back to 0 at once, without any that stayed, would
      // do so again.
      const bool progress =
          std::any_of(steepest.begin(), steepest.end(), [&](std::size_t i) { return result.x[i] > 0.0; });
      std::fill(refused.begin(), refused.end(), false);
      for (const std::size_t i : steepest) {
        refused[i] = !progress;
      }
    }
  }
  return ended(false);
}

}  // namespace numerics
