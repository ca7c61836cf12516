/// Which of several models made passive is taken, whether others are worth a try, and how a search ends.
#pragma once

#include <string>

#include "polefit/passive_search.hpp"

namespace polefit {

/// What a search found before anything was done to make its model passive.
struct Before {
  SearchEnd end = SearchEnd::target_met;
  std::string finding;
  double error = 0.0;     ///< Search::error
  double weighted = 0.0;  ///< EnforcementReport::error_before
};

/// Whether a model is passive, and its error the target's.
bool meets(const PassiveSearch& found, const Target& target);

/// A passive model before one that is not, then one that meets the target, then fewer poles of those that do
/// and the smaller error of others.
bool better(const PassiveSearch& found, const PassiveSearch& than, const Target& target);

/// Likewise, of fits to the same weighted data: a passive model, then the smaller error.
bool better(const PassiveFit& found, const PassiveFit& than);

/// The largest error that is as good as the one before.
double enough_after(double before);

/// Whether a model is passive and its error as good as before.
bool is_enough(const EnforcementReport& report, double before);

/// Whether another order could be no better end of a search than this model.
bool is_enough(const PassiveSearch& found, const Before& before, const Target& target);

/// The end of a search that takes this model, and was not cancelled. lost_to_passivity where an error is more
/// than 5 per cent larger than before, however small it is: what was in the way of the target then is not
/// what is now. A phase that turns too far between samples stays what is.
SearchEnd end_of(const PassiveSearch& found, const Before& before, const Target& target);

/// What is told of a search with that end.
///
/// samples   of each response
std::string finding_of(const PassiveSearch& found, const Before& before, const Target& target,
                       std::size_t samples);

}  // namespace polefit
