/// From starting poles to the best that relocations and polishing make of them.
#pragma once

#include <limits>
#include <optional>

#include "polefit/fitting/goal.hpp"
#include "polefit/projection/projection.hpp"
#include "polefit/relocation/relocation.hpp"

namespace polefit {

/// The best of a trial.
struct Candidate {
  Projection projection;
  /// Least residual of a relocation: what as many poles on either side of the axis could do.
  double residual = std::numeric_limits<double>::infinity();

  std::size_t order() const { return projection.poles().size(); }
  double error() const { return projection.error(); }
};

class Refinement {
 public:
  /// The problem and the goal must outlive it.
  Refinement(const Problem& problem, const Goal& goal);
  Refinement(const Refinement&) = delete;
  Refinement& operator=(const Refinement&) = delete;

  const Problem& problem() const { return problem_; }
  int relocations() const { return gram_ + orthogonal_; }
  int orthogonal_relocations() const { return orthogonal_; }
  int steps() const { return steps_; }

  /// Three to five relocations, the best of which counts, then steps of variable projection where they
  /// promise something. Ends where `enough` is reached.
  Candidate from_start(Poles start, double enough);

  enum class Polish {
    as_far_as_it_goes,
    to_reach,  ///< given up where what is left of the steps will not do
  };
  /// Up to `most` steps of variable projection, as long as each gains 3 per cent and `enough` is not reached.
  void polish(Candidate& candidate, int most, double enough, Polish kind = Polish::as_far_as_it_goes);

  /// One relocation, if it makes the candidate better.
  void relocate_once(Candidate& candidate);

  Candidate candidate_of(Poles poles) const;

  /// The best of all that were told of.
  struct Seen {
    Poles poles;
    double error = std::numeric_limits<double>::infinity();
  };
  const Seen& best_seen() const { return best_seen_; }

 private:
  /// A relocation's zeros, and what it left over.
  struct Relocated {
    Poles poles;
    double residual = 0.0;
    bool orthogonal = false;
  };
  std::optional<Relocated> relocated(const Poles& poles, std::optional<Sigma> sigma);
  /// Poles with their error, and what it was told from: the equations of the next relocation or a projection.
  struct Stage {
    Poles poles;
    double error = 0.0;
    std::optional<Sigma> sigma;
    std::optional<Projection> projection;
  };
  Stage stage_of(Poles poles);
  Projection projection_of(Stage stage) const;
  void watch(const Poles& poles, double error, const Relocated& relocation);

  const Problem& problem_;
  const Goal& goal_;
  CauchyRelocation by_sums_;
  Seen best_seen_;
  int gram_ = 0;
  int orthogonal_ = 0;
  int steps_ = 0;
};

}  // namespace polefit
