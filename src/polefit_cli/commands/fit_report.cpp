#include "polefit_cli/commands/fit_report.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <vector>

#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/plain_text.hpp"

namespace polefit_cli {
namespace {

constexpr std::size_t worst_shown = 5;
/// Of a response's error, and its inverse.
constexpr double noise_that_counts = 0.1;
/// 6 dB above the data.
constexpr double largest_gain = 2.0;
/// Growth of an error that is told as a percentage.
constexpr double least_percents = 1e-3;
constexpr double most_percents = 1.0;
/// An error that has grown by more sends a search to other orders.
constexpr double worth_another_order = 1.05;

std::string order_text(const polefit::Model& model) {
  const auto real = static_cast<std::size_t>(std::count_if(
      model.poles.begin(), model.poles.end(), [](std::complex<double> pole) { return pole.imag() == 0.0; }));
  return text::counted(model.poles.size(), "pole") + " (" +
         text::counted((model.poles.size() - real) / 2, "conjugate pair") + ", " + std::to_string(real) +
         " real)";
}

std::string stop_text(polefit::StopReason reason) {
  switch (reason) {
    case polefit::StopReason::poles_settled:
      return "poles settled";
    case polefit::StopReason::residual_settled:
      return "residual settled";
    case polefit::StopReason::searched:
      return "as the search wanted";
    case polefit::StopReason::iteration_limit:
      return "limit on iterations reached";
    default:
      return "cancelled";
  }
}

std::string path_text(const polefit::Report& report) {
  std::string text;
  if (report.gram_relocations > 0) {
    text = std::to_string(report.gram_relocations) + " by normal equations";
  }
  if (report.orthogonal_relocations > 0) {
    text.append(text.empty() ? "" : ", ");
    text.append(std::to_string(report.orthogonal_relocations)).append(" by orthogonal factorisation");
  }
  return text.empty() ? "none" : text;
}

double overall_rms(const std::vector<polefit::ResponseError>& errors) {
  const auto smaller = [](const polefit::ResponseError& a, const polefit::ResponseError& b) {
    return a.rms < b.rms;
  };
  const double largest = std::max_element(errors.begin(), errors.end(), smaller)->rms;
  if (!(largest > 0.0)) {
    return largest;
  }
  // In units of the largest, since squares may overflow or vanish.
  double squares = 0.0;
  for (const polefit::ResponseError& error : errors) {
    squares += (error.rms / largest) * (error.rms / largest);
  }
  return largest * std::sqrt(squares / static_cast<double>(errors.size()));
}

double root_mean_square(const std::vector<double>& values) {
  double squares = 0.0;
  for (const double value : values) {
    squares += value * value;
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

std::vector<std::size_t> worst_first(const std::vector<polefit::ResponseError>& errors) {
  std::vector<std::size_t> order(errors.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t i, std::size_t j) { return errors[i].relative > errors[j].relative; });
  order.resize(std::min(order.size(), worst_shown));
  return order;
}

/// What became of the target that was named beside an order, or that the model is of no use; nothing where
/// there is nothing to say.
std::string given_order_text(const FitOutcome& outcome) {
  const polefit::Report& report = outcome.fit.report;
  if (outcome.search_succeeded) {
    return {};
  }
  if (outcome.target) {
    const double error = polefit::measured(report, outcome.target->measure);
    const std::string target = "target of " + short_number(outcome.target->error, 3);
    return error <= outcome.target->error ? target + " met"
                                          : target + " not met: the error is " + short_number(error, 2);
  }
  return follows_the_data(outcome)
             ? ""
             : "it does not follow the data: the error is " + short_number(report.relative_error, 2) +
                   "; more poles or a search (--error) may do better";
}

bool is_passive(const FitOutcome& outcome) { return outcome.passivity && outcome.passivity->passive; }

/// Whether the order is another one than that of the first fit, but for room poles.
bool has_other_order(const FitOutcome& outcome) {
  return outcome.fit.model.poles.size() != outcome.first.order + 2 * outcome.enforcement->room_pairs;
}

/// Whether the model is another one than there would be if nothing had been done for its passivity.
bool is_corrected(const FitOutcome& outcome) {
  return outcome.enforcement &&
         (outcome.enforcement->remedy != polefit::Remedy::none ||
          outcome.enforcement->error_before != outcome.first.error || has_other_order(outcome));
}

/// "cost 0.4 % of the error", or what it was where that would be no percentage; and of how many poles, where
/// others were taken.
std::string cost_text(const FitOutcome& outcome) {
  const double before = outcome.first.error;
  const double growth = outcome.enforcement->error_after / before - 1.0;
  const bool other = has_other_order(outcome);
  const std::string order = text::counted(outcome.first.order, "pole");
  std::string was = "the error was " + short_number(before, 2) + " before" + (other ? ", with " + order : "");
  if (lost_the_data(outcome)) {
    return "it does not follow the data any more: " + was;
  }
  if (!(growth <= most_percents)) {
    return was;
  }
  return "cost " + (growth < least_percents ? "below 0.1" : short_number(100.0 * growth, 2)) +
         " % of the error" + (other ? " of " + order : "");
}

std::string correction_text(const FitOutcome& outcome) {
  const polefit::EnforcementReport& report = *outcome.enforcement;
  std::string text = "; " + cost_text(outcome);
  if (report.room_pairs > 0) {
    text += ", and " + text::counted(report.room_pairs, "pole pair") + " beyond the band";
  }
  if (!outcome.search_succeeded && !(report.error_after <= worth_another_order * outcome.first.error)) {
    text += "; a target (--error) or another order may do better";
  }
  return text;
}

std::optional<std::string> passive_text(const polefit::Network& network, const FitOutcome& outcome) {
  std::optional<std::string> text =
      outcome.passivity ? passivity_text(*outcome.passivity, network.matrix ? network.matrix->parameter : 'S')
                        : passivity_line(outcome.fit.model);
  if (text && is_corrected(outcome)) {
    *text += correction_text(outcome);
  }
  if (text && !outcome.not_corrected.empty()) {
    *text += "; not corrected: " + outcome.not_corrected;
  }
  return text;
}

}  // namespace

std::string fit_report(const polefit::Network& network, const FitOutcome& outcome) {
  const polefit::Report& report = outcome.fit.report;
  const auto [lowest, highest] = std::minmax_element(network.frequencies.begin(), network.frequencies.end());
  std::string text = text::printable(network.file) + "\n";
  const auto add = [&](const std::string& what, const std::string& value) {
    text.append("  ").append(what).append(12 - what.size(), ' ').append(value).append("\n");
  };
  add("data", text::counted(network.names.size(), "response") + ", " +
                  text::counted(network.frequencies.size(), "sample") + " from " + frequency_text(*lowest) +
                  " to " + frequency_text(*highest));
  const bool other_order = !outcome.search_succeeded && outcome.enforcement &&
                           outcome.fit.model.poles.size() != outcome.first.order;
  add("order",
      order_text(outcome.fit.model) +
          (other_order ? "; " + std::to_string(outcome.first.order) + " made no better passive model" : ""));
  if (outcome.search_succeeded) {
    add("search", text::counted(outcome.orders_tried, "order") + " tried; " + report.finding);
  }
  if (const std::string told = given_order_text(outcome); !told.empty()) {
    add("fit", told);
  }
  if (!is_exact(outcome)) {
    add("0 Hz", "not exact: terms of the model that cancel leave " +
                    short_number(outcome.off_at_exact_sample, 2) +
                    " of the largest value; fewer poles may do better");
  }
  if (network.matrix && network.matrix->parameter == 'S' && report.gain > largest_gain) {
    add("gain", "up to " + short_number(report.gain, 2) + " times the largest value of the data");
  }
  if (const std::optional<std::string> passive = passive_text(network, outcome)) {
    add("passive", *passive);
  }
  if (outcome.active && (!is_passive(outcome) || is_corrected(outcome))) {
    add("", sampled_text(*outcome.active, network.frequencies.size(), network.matrix->parameter) +
                (outcome.to_be_passive ? "" : "; --passive corrects the model all the same"));
  }
  add("relocations", std::to_string(report.iterations) + ", " + stop_text(report.reason));
  add("path", path_text(report));
  add("time", short_number(outcome.seconds, 2) + " s");

  // Noise that is nothing beside the error, as the rounding of a simulator's file, says nothing; what is far
  // above it was no noise, since the model follows it.
  std::vector<double> noise = outcome.noise;
  for (std::size_t r = 0; r < noise.size(); ++r) {
    const double part = noise[r] / report.errors[r].relative;
    noise[r] = part > noise_that_counts && part < 1.0 / noise_that_counts ? noise[r] : 0.0;
  }
  const bool noisy = std::any_of(noise.begin(), noise.end(), [](double value) { return value > 0.0; });
  std::vector<std::vector<std::string>> rows{{"  response", "relative rms", "rms", "largest error"}};
  if (report.errors.size() > 1) {
    rows.push_back({"  all", short_number(report.relative_error, 2),
                    short_number(overall_rms(report.errors), 2), short_number(report.largest_error, 2)});
  }
  for (const std::size_t r : worst_first(report.errors)) {
    const polefit::ResponseError& error = report.errors[r];
    rows.push_back({std::string("  ").append(text::printable(network.names[r])),
                    short_number(error.relative, 2), short_number(error.rms, 2),
                    short_number(error.largest, 2)});
    if (noisy) {
      rows.back().push_back(noise[r] > 0.0 ? short_number(noise[r], 2) : "-");
    }
  }
  if (noisy) {
    rows.front().emplace_back("noise of the data");
    if (report.errors.size() > 1) {
      rows[1].push_back(short_number(root_mean_square(outcome.noise), 2));
    }
  }
  text += "\n" + table_text(rows);
  if (report.errors.size() > worst_shown) {
    text += "  (the worst " + std::to_string(worst_shown) + " of " + std::to_string(report.errors.size()) +
            " responses)\n";
  }
  return text;
}

}  // namespace polefit_cli
