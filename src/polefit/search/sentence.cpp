#include "polefit/search/sentence.hpp"

#include <cmath>

#include "text/counted.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

std::string number(double value) { return text::significant(value, 2); }

std::string whole(double value) { return std::to_string(std::lround(value)); }

std::string not_causal(const Search& search) {
  const Findings& findings = search.findings;
  std::string text;
  if (findings.degrees_a_sample < 0.0 && findings.turns > 1.0) {
    text = "the phase runs forward by " + whole(-findings.degrees_a_sample) +
           " degrees from sample to sample: the data are advanced, or sampled too coarsely for their delay";
  } else {
    text = "the data are not causal: stable poles cannot follow, those on either side of the axis could";
  }
  if (findings.advance > 0.0) {
    text += ", stable ones if the data came " + number(findings.advance * 1e12) + " ps later";
  }
  return text;
}

std::string limit_reached(const Search& search, std::size_t limit, std::size_t samples) {
  const double turns = search.findings.turns;
  std::string text = "the limit of " + text::counted(limit, "pole") +
                     (limit == samples / 2 ? ", half the number of samples," : "") + " is reached";
  // Two poles follow a turn at best, five with its reflections.
  if (2.0 * turns > static_cast<double>(limit)) {
    text += "; the data turn " + whole(turns) + " times, which takes " + whole(2.0 * turns) +
            " poles at least, " + whole(5.0 * turns) + " with reflections";
  }
  return text;
}

std::string aim_of(const Target& target) { return "target of " + text::significant(target.error, 3); }

}  // namespace

std::string missed(const Target& target) { return aim_of(target) + " not met: "; }

std::string sentence(const Search& search, const Target& target, std::size_t limit, std::size_t samples) {
  const std::string aim = aim_of(target);
  const std::string missed = polefit::missed(target);
  switch (search.end) {
    case SearchEnd::target_met:
      return aim + " met";
    case SearchEnd::met_to_noise:
      return aim + " met as far as the noise of the data, " + number(search.findings.noise_floor) +
             ", allows";
    case SearchEnd::noise:
      return missed + "what is left is noise, more poles would model it";
    case SearchEnd::not_causal:
      return missed + not_causal(search);
    case SearchEnd::no_gain:
      return missed + "more poles no longer pay";
    case SearchEnd::missed_measure:
      return missed + "the relative error of the weighted data met its goal, that of the measure did not";
    case SearchEnd::too_coarse:
      return missed + "the phase turns " + whole(std::abs(search.findings.degrees_a_sample)) +
             " degrees from sample to sample, too far to say which way";
    case SearchEnd::most_poles:
      return missed + limit_reached(search, limit, samples);
    case SearchEnd::lost_to_passivity:
      return missed + "it was met before the model was made passive";
    default:
      return "cancelled";
  }
}

}  // namespace polefit
