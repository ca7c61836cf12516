#include "polefit/whole_fit.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <span>
#include <string>
#include <utility>

#include "polefit/error.hpp"
#include "polefit/model.hpp"
#include "polefit/model/largest_modulus.hpp"
#include "polefit/model/model_faults.hpp"

namespace polefit {
namespace {

/// 6 dB above the data.
constexpr double largest_gain_of_harmless = 2.0;
constexpr double poor_error = 1e-2;
/// An error of a model that has nothing of the data left, and its growth where it is passivity that took it.
constexpr double no_likeness = 0.3;
constexpr double ruin = 10.0;
/// Of what is taken exactly, as a part of the largest value.
constexpr double rounding_of_exact = 1e-9;

/// Of a model's network, which has to tell of every response what it is.
void check_matrix(const NetworkMatrix& matrix, std::size_t responses) {
  if (matrix.elements.size() != responses) {
    throw Error(ErrorKind::bad_shape, "there are " + std::to_string(matrix.elements.size()) +
                                          " matrix elements, expected " + std::to_string(responses) +
                                          ", one a response");
  }
  refuse(ErrorKind::bad_shape, matrix_fault(matrix));
}

void check_options(const WholeFitOptions& options, const std::optional<NetworkMatrix>& matrix) {
  const std::size_t poles = options.poles.value_or(0);
  const std::size_t real = options.real_poles.value_or(poles % 2);
  if (real > poles || (poles - real) % 2 != 0) {
    throw Error(ErrorKind::bad_option, std::to_string(poles) + " poles, of which " + std::to_string(real) +
                                           " are real, leave no whole pairs");
  }
  if (options.error && !(*options.error > 0.0 && std::isfinite(*options.error))) {
    throw Error(ErrorKind::bad_option, "the target of the error is not a finite number above 0");
  }
  if (!options.passive.value_or(false)) {
    return;
  }
  if (!options.options.stable) {
    throw Error(ErrorKind::bad_option, "a model with poles that need not be stable cannot be made passive");
  }
  if (const auto lack = incompleteness(matrix)) {
    throw Error(ErrorKind::bad_shape,
                "a model that is to be passive has to be of a whole matrix, there is " + *lack);
  }
}

Target target_of(const WholeFitOptions& options) {
  const Target usual;
  return {.error = options.error.value_or(usual.error),
          .measure = options.measure.value_or(usual.measure),
          .most_poles = options.most_poles};
}

/// Whether the model is to be passive: of a whole matrix whose data are, or that of any where that is asked.
bool to_be_passive(const WholeFitOptions& options, const NetworkData& data,
                   const std::optional<NetworkMatrix>& matrix, WholeFit& outcome) {
  if (!options.passive.value_or(true) || !options.options.stable || incompleteness(matrix)) {
    return false;
  }
  NetworkData samples = data;
  samples.weights = {};
  const SampledPassivity sampled = sampled_passivity(samples, *matrix, outcome.noise);
  if (!sampled.passive) {
    outcome.active = sampled;
  }
  return sampled.passive || options.passive.has_value();
}

/// Does what makes the model passive, and what a model that cannot be is told of in its place.
template <class Action>
void correct(const WholeFitOptions& options, WholeFit& outcome, const Action& action) {
  try {
    action();
  } catch (const Error& error) {
    const bool kept = options.options.exact_sample && error.kind() == ErrorKind::bad_option;
    outcome.not_corrected =
        kept ? "the value at 0 Hz, which is to be exact, is not passive itself" : error.what();
  }
}

void fit_given_order(const NetworkData& data, const std::optional<NetworkMatrix>& matrix,
                     const WholeFitOptions& wanted, WholeFit& outcome) {
  Options options = wanted.options;
  options.real_poles = wanted.real_poles.value_or(*wanted.poles % 2);
  options.complex_pairs = (*wanted.poles - options.real_poles) / 2;
  outcome.target = wanted.error ? std::optional(target_of(wanted)) : std::nullopt;
  outcome.fit = fit(data, options);
  outcome.fit.model.network = matrix;
  outcome.to_be_passive = to_be_passive(wanted, data, matrix, outcome);
  if (outcome.to_be_passive) {
    correct(wanted, outcome, [&] {
      PassiveFit passive = made_passive_by_refitting(outcome.fit, data, *matrix, options);
      outcome.fit = std::move(passive.fit);
      outcome.enforcement = std::move(passive.enforcement);
      outcome.first = passive.first;
    });
  }
}

void search_order(const NetworkData& data, const std::optional<NetworkMatrix>& matrix,
                  const WholeFitOptions& wanted, WholeFit& outcome) {
  const Target target = target_of(wanted);
  Search search = fit_to_error(data, target, wanted.options);
  search.fit.model.network = matrix;
  outcome.noise = search.findings.noise;
  outcome.to_be_passive = to_be_passive(wanted, data, matrix, outcome);
  if (outcome.to_be_passive) {
    correct(wanted, outcome, [&] {
      PassiveSearch passive = made_passive(search, data, *matrix, target, wanted.options);
      search = std::move(passive.search);
      outcome.enforcement = std::move(passive.enforcement);
      outcome.first = passive.first;
    });
  }
  outcome.search_succeeded = succeeded(search);
  outcome.fit = std::move(search.fit);
  outcome.orders_tried = search.steps.size();
}

/// How far a model is from the values that it was to take, of the response where it is farthest, as a part of
/// the largest value there.
double off_at(const Model& model, const NetworkData& data, std::size_t sample) {
  const std::vector<std::complex<double>> values = evaluate(model, data.frequencies.subspan(sample, 1));
  double farthest = 0.0;
  for (std::size_t r = 0; r < values.size(); ++r) {
    const double largest =
        largest_modulus(data.responses.samples, [&](std::size_t k) { return data.responses(r, k); });
    const double off = std::abs(values[r] - data.responses(r, sample));
    farthest = std::max(farthest, off > 0.0 ? off / largest : 0.0);
  }
  return farthest;
}

/// Nothing of a model of which it cannot be told.
std::optional<Passivity> passivity_where_told(const Model& model) {
  const bool stable = std::all_of(model.poles.begin(), model.poles.end(),
                                  [](std::complex<double> pole) { return pole.real() < 0.0; });
  if (!stable || incompleteness(model.network)) {
    return std::nullopt;
  }
  try {
    return passivity(model);
  } catch (const Error&) {  // numbers that are not finite, too large or too small
    return std::nullopt;
  }
}

bool has_settled(StopReason reason) {
  return reason == StopReason::poles_settled || reason == StopReason::residual_settled;
}

}  // namespace

WholeFit whole_fit(const NetworkData& data, const std::optional<NetworkMatrix>& matrix,
                   const WholeFitOptions& options) {
  check_options(options, matrix);
  if (matrix) {
    check_matrix(*matrix, data.responses.responses);
  }
  WholeFit outcome;
  if (options.poles) {
    fit_given_order(data, matrix, options, outcome);
  } else {
    search_order(data, matrix, options, outcome);
  }
  if (options.options.exact_sample) {
    outcome.off_at_exact_sample = off_at(outcome.fit.model, data, *options.options.exact_sample);
  }
  outcome.passivity =
      outcome.enforcement ? outcome.enforcement->passivity : passivity_where_told(outcome.fit.model);
  if (outcome.passivity) {
    outcome.fit.model.passivity = certified(*outcome.passivity);
  }
  return outcome;
}

bool lost_the_data(const WholeFit& fit) {
  return fit.enforcement && !(fit.enforcement->error_after <= no_likeness) &&
         !(fit.enforcement->error_after <= ruin * fit.first.error);
}

bool follows_the_data(const WholeFit& fit) { return fit.fit.report.relative_error <= no_likeness; }

bool is_exact(const WholeFit& fit) { return fit.off_at_exact_sample <= rounding_of_exact; }

bool converged(const WholeFit& fit) {
  const bool passive = fit.passivity && fit.passivity->passive;
  if ((fit.to_be_passive && !passive) || lost_the_data(fit) || !is_exact(fit)) {
    return false;
  }
  if (fit.search_succeeded) {
    return *fit.search_succeeded;
  }
  if (fit.target) {
    return measured(fit.fit.report, fit.target->measure) <= fit.target->error;
  }
  return follows_the_data(fit) && has_settled(fit.fit.report.reason);
}

bool harmful(const WholeFit& fit, const std::optional<NetworkMatrix>& matrix) {
  const Report& report = fit.fit.report;
  return matrix && matrix->parameter == 'S' && !(report.relative_error <= poor_error) &&
         !(report.gain <= largest_gain_of_harmless);
}

}  // namespace polefit
