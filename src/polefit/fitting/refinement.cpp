#include "polefit/fitting/refinement.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "polefit/error.hpp"
#include "polefit/projection/variable_projection.hpp"
#include "polefit/relocation/zeros.hpp"

namespace polefit {
namespace {

constexpr int fewest_relocations = 3;
constexpr int most_relocations = 5;
/// From the third relocation on each has to take this part off the error.
constexpr double relocation_gain = 0.15;
constexpr int most_polishing_steps = 6;
constexpr double polishing_gain = 0.03;
/// Steps gain more and more, but hardly more than this power of what the one before gained.
constexpr double accelerating = 4.0;
/// Polishing promises something where the model is not hopeless, and relocation does not minimise its error
/// or the goal is near.
constexpr double hopeless = 0.3;
constexpr double mirrored = 0.6;
constexpr double near_goal = 5.0;
/// A pole farther out, in times the highest frequency, is a constant over the band.
constexpr double farthest = 1e3;
/// Sums that lose so much, against the square of the residual, are not trusted where small errors are wanted.
constexpr double small_goal = 1e-6;
/// Of relocations where errors are wanted that are larger.
constexpr double ridge = 1e-14;
constexpr double trusted_loss = 1e-4;
/// Squares of errors below this, in what sums lose, are told from a projection.
constexpr double least_square = 1e-11;

bool trusted(const Sigma& sigma, double goal) {
  const double lost = std::numeric_limits<double>::epsilon() * sigma.loss /
                      (sigma.condition_basis * sigma.residual * sigma.residual);
  return goal > small_goal || sigma.residual <= goal || lost < trusted_loss;
}

}  // namespace

Refinement::Refinement(const Problem& problem, const Goal& goal)
    : problem_(problem), goal_(goal), by_sums_(problem, goal.threads) {}

void Refinement::watch(const Poles& poles, double error, const Relocated& relocation) {
  if (!goal_.watch) {
    return;
  }
  if (error < best_seen_.error) {
    best_seen_ = {poles, error};
  }
  goal_.watch({.order = poles.size(),
               .error = error,
               .residual = relocation.residual,
               .orthogonal = relocation.orthogonal});
}

Candidate Refinement::candidate_of(Poles poles) const {
  return {Projection(problem_, std::move(poles), goal_.delta)};
}

Refinement::Stage Refinement::stage_of(Poles poles) {
  Stage stage;
  if (!goal_.orthogonal && goal_.error > small_goal) {
    stage.sigma = by_sums_.solve(poles, ridge);
  }
  if (stage.sigma && stage.sigma->error * stage.sigma->error > least_square * stage.sigma->loss) {
    stage.error = stage.sigma->error;
  } else {
    stage.projection.emplace(problem_, poles, goal_.delta);
    stage.error = stage.projection->error();
  }
  stage.poles = std::move(poles);
  return stage;
}

Projection Refinement::projection_of(Stage stage) const {
  return stage.projection ? *std::move(stage.projection)
                          : Projection(problem_, std::move(stage.poles), goal_.delta);
}

/// The zeros of sigma, no farther out than they can be told apart; nothing when the numbers end.
std::optional<Refinement::Relocated> Refinement::relocated(const Poles& poles, std::optional<Sigma> sigma) {
  try {
    if (!sigma && !goal_.orthogonal) {
      sigma = by_sums_.solve(poles, goal_.error > small_goal ? ridge : 0.0);
    }
    const bool orthogonal = !sigma || !trusted(*sigma, goal_.error);
    ++(orthogonal ? orthogonal_ : gram_);
    if (orthogonal) {
      sigma = solve_sigma_orthogonally(problem_, poles, goal_.threads);
    }
    Relocated next{zeros_of(sigma->unknowns, poles, goal_.stable), sigma->residual, orthogonal};
    const double most = farthest * *std::max_element(problem_.omega.begin(), problem_.omega.end());
    for (Complex& zero : next.poles) {
      if (std::abs(zero) > most && most > 0.0) {
        zero *= most / std::abs(zero);
      }
    }
    return next;
  } catch (const Error& error) {
    if (error.kind() != ErrorKind::numerical_breakdown) {
      throw;
    }
    return std::nullopt;
  }
}

Candidate Refinement::from_start(Poles start, double enough) {
  Stage now = stage_of(std::move(start));
  Stage least{.poles = now.poles, .error = now.error, .sigma = {}, .projection = now.projection};
  double residual = std::numeric_limits<double>::infinity();
  double last_residual = residual;
  double last = residual;
  for (int i = 1; i <= most_relocations && !now.poles.empty() && !(least.error <= enough); ++i) {
    const std::optional<Relocated> next = relocated(now.poles, std::move(now.sigma));
    if (!next) {
      break;
    }
    now = stage_of(next->poles);
    watch(now.poles, now.error, *next);
    last_residual = next->residual;
    residual = std::min(residual, next->residual);
    if (now.error < least.error || !std::isfinite(least.error)) {
      least = {.poles = now.poles, .error = now.error, .sigma = {}, .projection = now.projection};
    }
    if (i >= fewest_relocations && !(now.error < (1.0 - relocation_gain) * last)) {
      break;
    }
    last = now.error;
  }
  Candidate best{projection_of(std::move(least)), residual};
  if (best.error() < hopeless && best.error() > enough &&
      (last_residual < mirrored * best.error() || best.error() < near_goal * enough)) {
    polish(best, most_polishing_steps, enough);
  }
  return best;
}

void Refinement::polish(Candidate& candidate, int most, double enough, Polish kind) {
  const Poles& poles = candidate.projection.poles();
  if (std::any_of(poles.begin(), poles.end(), [](Complex pole) { return !(pole.real() < 0.0); })) {
    return;
  }
  VariableProjection projection;
  for (int i = 0; i < most && candidate.error() > enough; ++i) {
    const double before = candidate.error();
    if (!projection.step(candidate.projection)) {
      return;
    }
    ++steps_;
    watch(candidate.projection.poles(), candidate.error(), {});
    const double gain = candidate.error() / before;
    const double reachable = candidate.error() * std::pow(gain, accelerating * (most - 1 - i));
    if (gain > 1.0 - polishing_gain || (kind == Polish::to_reach && reachable > enough)) {
      return;
    }
  }
}

void Refinement::relocate_once(Candidate& candidate) {
  if (candidate.order() == 0) {
    return;
  }
  const std::optional<Relocated> next = relocated(candidate.projection.poles(), std::nullopt);
  if (!next) {
    return;
  }
  Stage now = stage_of(next->poles);
  watch(now.poles, now.error, *next);
  candidate.residual = std::min(candidate.residual, next->residual);
  if (now.error < candidate.error()) {
    candidate.projection = projection_of(std::move(now));
  }
}

}  // namespace polefit
