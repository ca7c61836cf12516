/// The problem that a search works on at a time, and what refines poles on it.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "polefit/data/compression.hpp"
#include "polefit/data/reduced_problem.hpp"
#include "polefit/data/selection.hpp"
#include "polefit/fitting/goal.hpp"
#include "polefit/fitting/refinement.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// Some combinations of the responses at some of the samples, more of both as the error falls. A change of
/// these leaves candidates behind that are of the data before it: moved() makes them anew.
class WorkingData {
 public:
  /// order   the samples by frequency; all arguments must outlive it
  WorkingData(const Problem& whole, const std::vector<std::size_t>& order, const Goal& goal);
  WorkingData(const WorkingData&) = delete;
  WorkingData& operator=(const WorkingData&) = delete;

  const Problem& problem() const { return reduced_->problem(); }
  Refinement& refinement() { return *refinement_; }
  const Combinations& combinations() const { return data_; }
  double tail() const { return tail_; }
  /// Norm of what is in no combination, relative to that of the data.
  double dropped() const { return reduced_->dropped(); }

  /// Whether no sample is left out, and the same combinations at all samples.
  bool has_all_samples() const { return selection_.all; }
  std::size_t samples() const { return selection_.samples.size(); }
  const Problem& at_all_samples();

  /// The error of a candidate with which the goal is met, what was dropped included.
  double enough() const;
  /// The error of a candidate, free of what over-fitting gains.
  double adjusted(const Candidate& candidate) const;

  /// Chooses samples anew; see select_samples.
  void select(const std::vector<double>& residual, std::size_t least);
  void take_all_samples();
  /// Takes as many combinations as a search needs whose error is as large; returns whether that changed
  /// anything.
  bool take_combinations_for(double error);
  /// The same for the goal.
  void take_combinations_for_goal();

  /// The candidate on the data as they are now.
  Candidate moved(const Candidate& candidate) const;

  int relocations() const { return relocations_ + refinement_->relocations(); }
  int orthogonal_relocations() const { return orthogonal_ + refinement_->orthogonal_relocations(); }

 private:
  void reduce();

  const Problem& whole_;
  const std::vector<std::size_t>& order_;
  const Goal& goal_;
  Combinations data_;
  Selection all_;
  Selection selection_;
  double tail_ = 0.0;
  std::unique_ptr<ReducedProblem> reduced_;
  std::unique_ptr<ReducedProblem> at_all_;
  std::unique_ptr<Refinement> refinement_;
  int relocations_ = 0;
  int orthogonal_ = 0;
};

}  // namespace polefit
