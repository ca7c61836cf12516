#include "polefit/search/passive_choice.hpp"

#include <algorithm>

#include "polefit/search/sentence.hpp"
#include "polefit/search/within_noise.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

/// An error that has grown by less is as good as before.
constexpr double harmless = 1.05;
/// What a correction may add to an error that is rounding.
constexpr double rounding = 1e-8;

bool is_passive(const EnforcementReport& report) { return report.passivity.passive; }

/// What a search lacked that a passive model lacks too.
bool is_lasting(SearchEnd end) { return end == SearchEnd::not_causal || end == SearchEnd::most_poles; }

}  // namespace

bool meets(const PassiveSearch& found, const Target& target) {
  return is_passive(found.enforcement) && found.search.error <= target.error;
}

bool better(const PassiveSearch& found, const PassiveSearch& than, const Target& target) {
  if (is_passive(found.enforcement) != is_passive(than.enforcement)) {
    return is_passive(found.enforcement);
  }
  const bool meeting = found.search.error <= target.error;
  if (meeting != (than.search.error <= target.error)) {
    return meeting;
  }
  if (meeting) {
    return found.search.fit.model.poles.size() < than.search.fit.model.poles.size();
  }
  return found.search.error < than.search.error;
}

bool better(const PassiveFit& found, const PassiveFit& than) {
  if (is_passive(found.enforcement) != is_passive(than.enforcement)) {
    return is_passive(found.enforcement);
  }
  return found.enforcement.error_after < than.enforcement.error_after;
}

double enough_after(double before) { return std::max(harmless * before, before + rounding); }

bool is_enough(const EnforcementReport& report, double before) {
  return is_passive(report) && report.error_after <= enough_after(before);
}

bool is_enough(const PassiveSearch& found, const Before& before, const Target& target) {
  return meets(found, target) ||
         (before.end != SearchEnd::target_met && is_enough(found.enforcement, before.weighted) &&
          end_of(found, before, target) != SearchEnd::lost_to_passivity);
}

SearchEnd end_of(const PassiveSearch& found, const Before& before, const Target& target) {
  if (!is_passive(found.enforcement)) {
    return SearchEnd::lost_to_passivity;
  }
  const Search& search = found.search;
  const bool grown = search.error > harmless * before.error;
  if (meets(found, target)) {
    return SearchEnd::target_met;
  }
  if (within_noise(search.fit.report, search.findings, target)) {
    return SearchEnd::met_to_noise;
  }
  if (before.end == SearchEnd::target_met || (grown && before.end != SearchEnd::too_coarse)) {
    return SearchEnd::lost_to_passivity;
  }
  return before.end;
}

std::string finding_of(const PassiveSearch& found, const Before& before, const Target& target,
                       std::size_t samples) {
  const Search& search = found.search;
  if (search.end == before.end) {
    return before.finding;
  }
  if (search.end != SearchEnd::lost_to_passivity) {
    return sentence(search, target, 0, samples);
  }
  if (!is_passive(found.enforcement)) {
    return missed(target) + "no model could be made passive";
  }
  if (before.end == SearchEnd::target_met) {
    return sentence(search, target, 0, samples);
  }
  if (before.end == SearchEnd::met_to_noise) {
    return missed(target) + "it was met as far as the noise allows before the model was made passive";
  }
  return (is_lasting(before.end) ? before.finding + "; " : missed(target)) + "the error was " +
         text::significant(before.error, 2) + " before the model was made passive";
}

}  // namespace polefit
