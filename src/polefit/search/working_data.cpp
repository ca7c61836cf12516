#include "polefit/search/working_data.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace polefit {
namespace {

/// Combinations of responses that are left out, relative to the goal and to an error that is still left.
constexpr double tail_of_goal = 0.2;
constexpr double tail_of_error = 0.03;

}  // namespace

WorkingData::WorkingData(const Problem& whole, const std::vector<std::size_t>& order, const Goal& goal)
    : whole_(whole),
      order_(order),
      goal_(goal),
      data_(combine_responses(whole, tail_of_goal * goal.error)),
      all_{order, std::vector<double>(order.size(), 1.0), true},
      tail_(std::max(tail_of_goal * goal.error, tail_of_error)) {
  select({}, 0);
}

void WorkingData::select(const std::vector<double>& residual, std::size_t least) {
  selection_ = select_samples(whole_, data_, order_, residual, least);
  reduce();
}

void WorkingData::take_all_samples() {
  selection_ = all_;
  reduce();
}

void WorkingData::reduce() {
  if (refinement_) {
    relocations_ += refinement_->relocations();
    orthogonal_ += refinement_->orthogonal_relocations();
  }
  // Each is as large as the data may be.
  refinement_.reset();
  at_all_.reset();
  reduced_.reset();
  reduced_ = std::make_unique<ReducedProblem>(whole_, data_, selection_, tail_);
  refinement_ = std::make_unique<Refinement>(reduced_->problem(), goal_);
}

const Problem& WorkingData::at_all_samples() {
  if (selection_.all) {
    return problem();
  }
  if (!at_all_) {
    at_all_ = std::make_unique<ReducedProblem>(whole_, data_, all_, tail_);
  }
  return at_all_->problem();
}

double WorkingData::enough() const {
  const double square = goal_.error * goal_.error - dropped() * dropped();
  return square > 0.0 ? std::sqrt(square) : 0.0;
}

double WorkingData::adjusted(const Candidate& candidate) const {
  const auto responses = static_cast<double>(problem().responses);
  const auto equations = 2.0 * static_cast<double>(problem().samples) * responses;
  const double unknowns = static_cast<double>(candidate.order()) * (1.0 + responses) +
                          static_cast<double>(problem().terms()) * responses;
  return unknowns < equations ? candidate.error() / std::sqrt(1.0 - unknowns / equations)
                              : std::numeric_limits<double>::infinity();
}

bool WorkingData::take_combinations_for(double error) {
  tail_ = std::max(tail_of_goal * goal_.error, std::min(tail_, tail_of_error * error));
  const bool changes = dropped() > tail_;
  if (changes) {
    reduce();
  }
  return changes;
}

void WorkingData::take_combinations_for_goal() { tail_ = std::min(tail_, tail_of_goal * goal_.error); }

Candidate WorkingData::moved(const Candidate& candidate) const {
  Candidate here = refinement_->candidate_of(candidate.projection.poles());
  here.residual = candidate.residual;
  return here;
}

}  // namespace polefit
