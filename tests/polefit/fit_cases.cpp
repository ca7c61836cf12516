#include "fit_cases.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <utility>

#include "independent_passivity.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/fit.hpp"
#include "polefit/model_file.hpp"
#include "polefit/passive_search.hpp"
#include "polefit/passivity.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit::fit_cases {
namespace {

using Real = long double;
using Wide = std::complex<Real>;
using Complex = std::complex<double>;

constexpr Real eps = std::numeric_limits<double>::epsilon();

struct Outcome {
  Fit fit;
  std::optional<Search> search;  // without its fit
  std::optional<EnforcementReport> enforcement;
};

/// Where the values stand: one response after the other, or one sample after the other.
enum class Layout { by_response, by_sample };

Outcome done(const FitCase& asked, int threads, Layout layout) {
  const std::size_t samples = asked.frequencies.size();
  std::vector<Complex> turned;
  if (layout == Layout::by_sample) {
    for (std::size_t k = 0; k < samples; ++k) {
      for (std::size_t r = 0; r < asked.responses; ++r) {
        turned.push_back(asked.values[r * samples + k]);
      }
    }
  }
  const NetworkData data{.frequencies = asked.frequencies,
                         .responses = layout == Layout::by_sample
                                          ? Responses::by_sample(turned, asked.responses)
                                          : Responses::by_response(asked.values, asked.responses),
                         .names = {},
                         .weights = asked.weights};
  Options options = asked.options;
  options.threads = threads;
  Outcome outcome;
  const auto take_search = [&](Search search) {
    outcome.fit = std::move(search.fit);
    search.fit = {};
    outcome.search = std::move(search);
  };
  switch (asked.request) {
    case Request::fit:
      outcome.fit = fit(data, options);
      break;
    case Request::search:
      take_search(fit_to_error(data, asked.target, options));
      break;
    case Request::passive_fit: {
      PassiveFit found = made_passive_by_refitting(fit(data, options), data, asked.matrix, options);
      outcome.fit = std::move(found.fit);
      outcome.enforcement = std::move(found.enforcement);
      break;
    }
    case Request::passive_search: {
      PassiveSearch found = fit_to_error_passively(data, asked.matrix, asked.target, options);
      take_search(std::move(found.search));
      outcome.enforcement = std::move(found.enforcement);
      break;
    }
  }
  return outcome;
}

/// All of it, to the bit.
std::string text_of(const Outcome& outcome) {
  std::string text;
  const auto add = [&](double value) {
    char number[40];
    static_cast<void>(std::snprintf(number, sizeof number, "%a ", value));
    text += number;
  };
  const auto add_errors = [&](const std::vector<ResponseError>& errors) {
    for (const ResponseError& error : errors) {
      add(error.rms);
      add(error.relative);
      add(error.largest);
    }
  };
  const Model& model = outcome.fit.model;
  for (const auto& values : {model.poles, model.residues}) {
    for (const Complex value : values) {
      add(value.real());
      add(value.imag());
    }
  }
  for (const auto& values : {model.constants, model.proportionals}) {
    std::for_each(values.begin(), values.end(), add);
  }
  const Report& report = outcome.fit.report;
  add_errors(report.errors);
  for (const double value : {report.residual, report.condition_basis, report.condition_sigma,
                             report.relative_error, report.largest_error, report.gain}) {
    add(value);
  }
  for (const int count :
       {report.iterations, report.gram_relocations, report.orthogonal_relocations, report.polishing_steps}) {
    text += std::to_string(count) + " ";
  }
  text += report.finding;
  if (outcome.search) {
    add(outcome.search->error);
    for (const Step& step : outcome.search->steps) {
      text += std::to_string(step.order) + " ";
      add(step.error);
    }
  }
  if (outcome.enforcement) {
    add_errors(outcome.enforcement->errors_after);
    add(outcome.enforcement->error_after);
    add(outcome.enforcement->passivity.extreme);
    text += std::to_string(outcome.enforcement->rounds);
  }
  return text;
}

/// A model's value at a frequency, and what its terms amount to.
struct Value {
  Wide value;
  Real terms = 0.0L;     ///< sum of the moduli
  Real rounding = 0.0L;  ///< by which values in double may be off, see value_at
};

/// With |s - a| = d, omega off by its own rounding and each operation by eps / 2: a fraction is off by
/// eps omega / d for the former and by some 6 eps for difference, division and product, and adding n terms up
/// by n eps of their sum.
Value value_at(const Model& model, std::size_t response, Real omega, bool proportional) {
  const auto n = static_cast<Real>(model.poles.size());
  Real re = model.constants[response];
  Real im = proportional ? omega * static_cast<Real>(model.proportionals[response]) : 0.0L;
  Value result;
  result.terms = std::abs(re) + std::abs(im);
  result.rounding = (n + 6.0L) * result.terms;
  const auto residues = model.residues_of(response);
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    const Wide c(residues[i].real(), residues[i].imag());
    const Wide distance(-static_cast<Real>(model.poles[i].real()),
                        omega - static_cast<Real>(model.poles[i].imag()));
    const Wide term = c / distance;
    re += term.real();
    im += term.imag();
    result.terms += std::abs(term);
    result.rounding += std::abs(term) * (n + 8.0L + std::abs(omega) / std::abs(distance));
  }
  result.value = {re, im};
  result.rounding *= eps;
  return result;
}

Real omega_of(double frequency) { return static_cast<Real>(numerics::two_pi) * static_cast<Real>(frequency); }

bool is_finite(Complex z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

class Judge {
 public:
  Judge(const FitCase& asked, Effort effort) : asked_(asked), effort_(effort) {}

  std::vector<std::string> faults() {
    try {
      const Outcome found = done(asked_, 1, Layout::by_response);
      expect(refusals_that_are_due().empty(), "what cannot be fitted is refused");
      judge(found);
      if (effort_ == Effort::again_dense) {
        expect(text_of(done(asked_, 2, Layout::by_sample)) == text_of(found),
               "neither threads nor the layout of the data change anything");
      }
    } catch (const Error& error) {
      expect(*error.what() != '\0', "a refusal says why");
      const std::vector<ErrorKind> due = refusals_that_are_due();
      const bool out_of_range =
          !asked_.usual_sizes &&
          (error.kind() == ErrorKind::numerical_breakdown || error.kind() == ErrorKind::bad_shape ||
           error.kind() == ErrorKind::zero_data || error.kind() == ErrorKind::bad_frequency ||
           error.kind() == ErrorKind::bad_sample || error.kind() == ErrorKind::bad_weight);
      expect(std::find(due.begin(), due.end(), error.kind()) != due.end() || out_of_range ||
                 may_lack_passive_zero(error) || may_be_inexact(error),
             std::string(due.empty() ? "nothing is refused: " : "the refusal is one that is due: ") +
                 error.what());
    } catch (const std::exception& error) {
      expect(false, std::string("no other exception: ") + error.what());
    }
    return std::move(faults_);
  }

 private:
  void expect(bool holds, const std::string& what) {
    if (!holds) {
      faults_.push_back(what);
    }
  }
  void expect_at_most(Real found, Real most, const std::string& what) {
    if (!(found <= most)) {
      char numbers[80];
      static_cast<void>(std::snprintf(numbers, sizeof numbers, ": %.6Lg, at most %.6Lg", found, most));
      faults_.push_back(what + numbers);
    }
  }

  bool is_search() const {
    return asked_.request == Request::search || asked_.request == Request::passive_search;
  }
  bool is_passive_request() const {
    return asked_.request == Request::passive_fit || asked_.request == Request::passive_search;
  }

  /// What the data and the options have that cannot be fitted.
  std::vector<ErrorKind> refusals_that_are_due() const {
    const Options& options = asked_.options;
    const std::size_t samples = asked_.frequencies.size();
    std::vector<ErrorKind> due;
    bool zero = true;
    bool hidden = true;  // by weights
    for (std::size_t i = 0; i < asked_.values.size(); ++i) {
      zero = zero && asked_.values[i] == Complex();
      hidden = hidden && (asked_.values[i] == Complex() || weight(i / samples, i % samples) == 0.0L);
    }
    if (hidden && !zero) {
      due.push_back(ErrorKind::zero_data);
    }
    if (std::isnan(options.pole_tolerance) || (options.exact_sample && *options.exact_sample >= samples)) {
      due.push_back(ErrorKind::bad_option);
    }
    if (!is_search() && !zero &&
        !std::all_of(options.starting_poles.begin(), options.starting_poles.end(), is_finite)) {
      due.push_back(ErrorKind::bad_option);
    }
    const std::size_t order = is_search() || zero ? 0
                              : options.starting_poles.empty()
                                  ? options.real_poles + 2 * options.complex_pairs
                                  : options.starting_poles.size();
    if (order + (options.constant ? 1U : 0U) + (options.proportional ? 1U : 0U) > 2 * samples) {
      due.push_back(ErrorKind::too_many_unknowns);
    }
    if (is_passive_request() && !options.stable) {
      due.push_back(ErrorKind::bad_option);
    }
    if (!zero && cannot_be_exact(2.0L)) {
      due.push_back(ErrorKind::bad_option);
    }
    return due;
  }

  /// Whether the value to be kept is one at 0 Hz that no real rational function has: it is complex, or there
  /// are others, by more than that share of what counts as rounding.
  bool cannot_be_exact(Real share) const {
    const std::vector<double>& frequencies = asked_.frequencies;
    const std::size_t samples = frequencies.size();
    const std::size_t exact = asked_.options.exact_sample.value_or(samples);
    if (exact >= samples || frequencies[exact] != 0.0) {
      return false;
    }
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      const auto value = [&](std::size_t k) {
        const Complex f = asked_.values[r * samples + k];
        return Wide(f.real(), f.imag());
      };
      Real largest = 0.0L;
      for (std::size_t k = 0; k < samples; ++k) {
        largest = std::max(largest, std::abs(value(k)));
      }
      const Real rounding = share * std::max(1e-6L * std::abs(value(exact)), 1e-9L * largest);
      for (std::size_t k = 0; k < samples; ++k) {
        if (frequencies[k] == 0.0 &&
            std::max(std::abs(value(k) - value(exact)), std::abs(value(exact).imag())) > rounding) {
          return true;
        }
      }
    }
    return false;
  }

  /// Whether what is refused may be a value that is to be exact, and of which that shows in a fit only: it
  /// may turn out to have no poles, and what counts as rounding is rounded.
  bool may_be_inexact(const Error& error) const {
    const bool no_term = !asked_.options.constant;
    return error.kind() == ErrorKind::bad_option && asked_.options.exact_sample &&
           (no_term || cannot_be_exact(0.5L));
  }

  /// Whether what is refused is a value at 0 Hz that is to be kept and is not passive.
  bool may_lack_passive_zero(const Error& error) const {
    return error.kind() == ErrorKind::bad_option && is_passive_request() && asked_.options.exact_sample &&
           asked_.frequencies[*asked_.options.exact_sample] == 0.0;
  }

  void judge(const Outcome& found) {
    const std::size_t before = faults_.size();
    judge_structure(found.fit.model);
    if (faults_.size() > before) {
      return;
    }
    judge_model_file(found.fit.model);
    judge_report(found.fit.report);
    if (in_range(found.fit.model)) {
      judge_errors(found.fit);
      judge_gain(found.fit);
      judge_exact_sample(found);
      if (asked_.request == Request::fit && !asked_.options.exact_sample) {
        judge_residues(found.fit.model);
      }
    }
    if (found.search) {
      judge_search(found);
    }
    if (found.enforcement) {
      judge_passivity(found.fit.model, *found.enforcement);
    }
    judge_symmetry(found.fit.model);
  }

  void judge_structure(const Model& model) {
    const std::size_t n = model.poles.size();
    expect(model.responses() == asked_.responses && model.residues.size() == asked_.responses * n &&
               model.proportionals.size() == asked_.responses,
           "the model has the responses of the data");
    if (!faults_.empty()) {
      return;
    }
    expect(std::all_of(model.poles.begin(), model.poles.end(), is_finite), "poles are finite");
    expect(std::all_of(model.residues.begin(), model.residues.end(), is_finite), "residues are finite");
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      expect(std::isfinite(model.constants[r]) && std::isfinite(model.proportionals[r]), "terms are finite");
      expect(asked_.options.constant || is_passive_request() || model.constants[r] == 0.0,
             "there is no constant unless asked for");
      expect(asked_.options.proportional || model.proportionals[r] == 0.0,
             "there is no term proportional to s unless asked for");
    }
    for (std::size_t i = 0; i < n;) {
      const Complex pole = model.poles[i];
      if (asked_.options.stable) {
        expect(pole.real() < 0.0, "poles are in the left half-plane");
      }
      const bool pair = pole.imag() != 0.0;
      expect(!pair || pole.imag() > 0.0, "a pair begins above the real axis");
      expect(!pair || (i + 1 < n && model.poles[i + 1] == std::conj(pole)), "pairs are exact conjugates");
      if (!faults_.empty()) {
        return;
      }
      for (std::size_t r = 0; r < asked_.responses; ++r) {
        const auto residues = model.residues_of(r);
        expect(pair ? residues[i + 1] == std::conj(residues[i]) : residues[i].imag() == 0.0,
               "residues are conjugate as their poles are");
      }
      i += pair ? 2 : 1;
    }
  }

  void judge_model_file(const Model& model) {
    const Model back = model_from_json(to_json(model));
    const auto same = [](double a, double b) {
      return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
    };
    const auto both_same = [&](Complex a, Complex b) {
      return same(a.real(), b.real()) && same(a.imag(), b.imag());
    };
    expect(
        std::equal(model.poles.begin(), model.poles.end(), back.poles.begin(), back.poles.end(), both_same) &&
            std::equal(model.residues.begin(), model.residues.end(), back.residues.begin(),
                       back.residues.end(), both_same) &&
            std::equal(model.constants.begin(), model.constants.end(), back.constants.begin(),
                       back.constants.end(), same) &&
            std::equal(model.proportionals.begin(), model.proportionals.end(), back.proportionals.begin(),
                       back.proportionals.end(), same),
        "a model file keeps all bits");
    expect(to_json(back) == to_json(model), "a model file keeps all that is told of a model");
    expect(model.origin.has_value() || !asked_.usual_sizes, "a model tells of its data");
  }

  void judge_report(const Report& report) {
    expect(is_search() || is_passive_request() || report.iterations <= asked_.options.iterations,
           "the limit on relocations holds");
    expect(report.iterations == report.gram_relocations + report.orthogonal_relocations,
           "relocations add up");
    expect(!asked_.options.orthogonal || report.gram_relocations == 0, "orthogonal means throughout");
    expect(report.errors.size() == asked_.responses, "each response has an error");
    expect(!is_search() || !report.finding.empty(), "the end of a search is told");
  }

  /// Whether squares of what the terms amount to stay far inside the range of doubles.
  bool in_range(const Model& model) const {
    constexpr Real largest = 1e140L;
    Real most = 0.0L;
    Real least = largest;
    for (const Complex value : asked_.values) {
      const Real size = std::abs(Wide(value.real(), value.imag()));
      most = std::max(most, size);
      least = size > 0.0L ? std::min(least, size) : least;
    }
    for (const double frequency : asked_.frequencies) {
      for (std::size_t r = 0; r < asked_.responses; ++r) {
        most = std::max(most, value_at(model, r, omega_of(frequency), true).terms);
      }
    }
    for (const Complex pole : model.poles) {
      most = std::max(most, std::abs(Wide(pole.real(), pole.imag())));
      least = std::min(least, -static_cast<Real>(pole.real()));
    }
    return most < largest && (model.poles.empty() || std::abs(least) > 1.0L / largest);
  }

  /// The relative error of a root of M squares added up in doubles is at most M eps / 2 and some roundings.
  void judge_errors(const Fit& found) {
    const std::size_t samples = asked_.frequencies.size();
    const Real of_sums = (static_cast<Real>(samples) + 16.0L) * eps;
    Real relative_squares = 0.0L;
    double worst = 0.0;
    double largest_error = 0.0;
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      Real squares = 0.0L;
      Real sizes = 0.0L;
      Real roundings = 0.0L;
      Real largest = 0.0L;
      Real largest_rounding = 0.0L;
      for (std::size_t k = 0; k < samples; ++k) {
        const Complex f = asked_.values[r * samples + k];
        const Value model = value_at(found.model, r, omega_of(asked_.frequencies[k]), true);
        const Wide difference = model.value - Wide(f.real(), f.imag());
        const Real rounding = model.rounding + eps * std::abs(difference);
        squares += std::norm(difference);
        sizes += std::norm(Wide(f.real(), f.imag()));
        roundings += rounding * rounding;
        largest = std::max(largest, std::abs(difference));
        largest_rounding = std::max(largest_rounding, rounding);
      }
      const auto m = static_cast<Real>(samples);
      const Real rms = std::sqrt(squares / m);
      const Real size = sizes == 0.0L ? 1.0L : std::sqrt(sizes / m);
      // What is told is rounded to multiples of the least number above 0.
      const Real least = 2.0L * static_cast<Real>(std::numeric_limits<double>::denorm_min());
      const Real rounding = std::sqrt(roundings / m) + of_sums * rms + least;
      const ResponseError& told = found.report.errors[r];
      expect_at_most(std::abs(told.rms - rms), rounding, "an error is that of the model");
      expect_at_most(std::abs(told.relative - rms / size), (rounding + of_sums * rms) / size,
                     "a relative error is that of the model");
      expect_at_most(std::abs(told.largest - largest), largest_rounding + of_sums * largest + least,
                     "a largest error is that of the model");
      relative_squares += static_cast<Real>(told.relative) * told.relative;
      worst = std::max(worst, told.relative);
      largest_error = std::max(largest_error, told.largest);
    }
    const Real overall = std::sqrt(relative_squares / static_cast<Real>(asked_.responses));
    expect_at_most(std::abs(found.report.relative_error - overall),
                   (static_cast<Real>(asked_.responses) + 8.0L) * eps * overall,
                   "the relative error is that of the responses");
    expect(found.report.worst_relative_error == worst && found.report.largest_error == largest_error,
           "the worst of the responses is told");
    if (found.model.origin) {
      expect(std::equal(found.report.errors.begin(), found.report.errors.end(),
                        found.model.origin->errors.begin(), found.model.origin->errors.end(),
                        [](const ResponseError& a, const ResponseError& b) {
                          return a.rms == b.rms && a.relative == b.relative && a.largest == b.largest;
                        }),
             "the model file tells the errors of the report");
    }
  }

  /// Frequencies in rad/s about every resonance, over decades about every pole, and over the band.
  std::vector<Real> places(const Model& model) const {
    const bool dense = effort_ == Effort::again_dense;
    std::vector<Real> omegas{0.0L};
    for (const Complex pole : model.poles) {
      if (pole.imag() < 0.0) {
        continue;
      }
      const Wide a(pole.real(), pole.imag());
      const int steps = dense ? 12 : 4;
      for (int i = -steps; i <= steps; ++i) {
        omegas.push_back(std::abs(a.imag() + a.real() * 4.0L * i / steps));
        omegas.push_back(std::abs(a) * std::pow(10.0L, 3.0L * i / steps));
      }
    }
    const Real top = omega_of(*std::max_element(asked_.frequencies.begin(), asked_.frequencies.end()));
    const int even = dense ? 60 : 10;
    for (int i = 1; i <= even; ++i) {
      omegas.push_back(1.5L * top * i / even);
    }
    return omegas;
  }

  /// A modulus may be larger between the places that are looked at: by 6 per cent at a single resonance
  /// (gain.cpp), and what several make of it is not bounded: a quarter is what none has exceeded yet.
  void judge_gain(const Fit& found) {
    Real largest_data = 0.0L;
    for (const Complex value : asked_.values) {
      largest_data = std::max(largest_data, std::abs(Wide(value.real(), value.imag())));
    }
    if (largest_data == 0.0L || !asked_.options.stable) {
      return;
    }
    // The gain is a quotient, which may be below the normal numbers.
    const Real told =
        (static_cast<Real>(found.report.gain) + std::numeric_limits<double>::min()) * largest_data;
    constexpr Real worst_known = 1.25L;
    for (const Real omega : places(found.model)) {
      for (std::size_t r = 0; r < asked_.responses; ++r) {
        const Value model = value_at(found.model, r, omega, false);
        if (std::abs(model.value) - model.rounding > worst_known * told) {
          expect_at_most(std::abs(model.value), worst_known * told,
                         "no value is above the gain that is told");
          return;
        }
      }
    }
  }

  /// One real function of the basis: a constant, s, 1 / (s - a), or one of the two of a pair.
  std::vector<std::vector<Wide>> basis(const Model& model) const {
    std::vector<std::vector<Wide>> columns;
    const auto add = [&](auto&& function) {
      columns.emplace_back();
      for (const double frequency : asked_.frequencies) {
        columns.back().push_back(function(Wide(0.0L, omega_of(frequency))));
      }
    };
    for (const Complex pole : model.poles) {
      const Wide a(pole.real(), pole.imag());
      if (pole.imag() == 0.0) {
        add([&](Wide s) { return 1.0L / (s - a); });
      } else if (pole.imag() > 0.0) {
        add([&](Wide s) { return 1.0L / (s - a) + 1.0L / (s - std::conj(a)); });
        add([&](Wide s) { return Wide(0.0L, 1.0L) * (1.0L / (s - a) - 1.0L / (s - std::conj(a))); });
      }
    }
    if (asked_.options.constant || is_passive_request()) {
      add([](Wide) { return Wide(1.0L); });
    }
    if (asked_.options.proportional) {
      add([](Wide s) { return s; });
    }
    return columns;
  }

  /// The coefficients of that basis, in its order.
  std::vector<Real> coefficients(const Model& model, std::size_t r) const {
    std::vector<Real> x;
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      const Complex c = model.residues_of(r)[i];
      if (model.poles[i].imag() >= 0.0) {
        x.push_back(c.real());
      }
      if (model.poles[i].imag() > 0.0) {
        x.push_back(c.imag());
      }
    }
    if (asked_.options.constant || is_passive_request()) {
      x.push_back(model.constants[r]);
    }
    if (asked_.options.proportional) {
      x.push_back(model.proportionals[r]);
    }
    return x;
  }

  Real weight(std::size_t r, std::size_t k) const {
    const std::size_t samples = asked_.frequencies.size();
    return asked_.weights.empty()             ? 1.0L
           : asked_.weights.size() == samples ? asked_.weights[k]
                                              : asked_.weights[r * samples + k];
  }

  /// Norms of the weighted columns of the basis.
  std::vector<Real> norms(const std::vector<std::vector<Wide>>& columns, std::size_t r) const {
    std::vector<Real> result;
    for (const std::vector<Wide>& column : columns) {
      Real squares = 0.0L;
      for (std::size_t k = 0; k < column.size(); ++k) {
        squares += weight(r, k) * weight(r, k) * std::norm(column[k]);
      }
      result.push_back(std::sqrt(squares));
    }
    return result;
  }

  /// The value is taken exactly but for rounding, with orthogonal factorisations of a basis whose columns are
  /// scaled to norm 1: some n^(3/2) eps of the row at that sample times the coefficients, both scaled.
  void judge_exact_sample(const Outcome& found) {
    if (!asked_.options.exact_sample) {
      return;
    }
    const std::size_t k = *asked_.options.exact_sample;
    const bool at_zero = asked_.frequencies[k] == 0.0;
    const Model& model = found.fit.model;
    if ((is_passive_request() && !at_zero) ||
        (found.enforcement && found.enforcement->remedy != Remedy::none &&
         !found.enforcement->passivity.passive)) {
      return;
    }
    const std::vector<std::vector<Wide>> columns = basis(model);
    if (columns.empty() || (model.poles.empty() && is_passive_request())) {
      return;
    }
    const std::size_t samples = asked_.frequencies.size();
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      const std::vector<Real> size = norms(columns, r);
      if (std::any_of(size.begin(), size.end(), [](Real x) { return !(x > 0.0L); })) {
        continue;
      }
      const std::vector<Real> x = coefficients(model, r);
      Real row = 0.0L;
      Real scaled = 0.0L;
      Real rounding = value_at(model, r, omega_of(asked_.frequencies[k]), true).rounding;
      Real re_squares = 0.0L;
      Real im_squares = 0.0L;
      Real products = 0.0L;
      for (std::size_t j = 0; j < columns.size(); ++j) {
        const Wide element = columns[j][k] / size[j];
        row += std::norm(element);
        scaled += x[j] * x[j] * size[j] * size[j];
        re_squares += element.real() * element.real();
        im_squares += element.imag() * element.imag();
        products += element.real() * element.imag();
        // A coefficient is a multiple of the least number above 0.
        rounding += static_cast<Real>(std::numeric_limits<double>::denorm_min()) * std::abs(columns[j][k]);
      }
      const auto n = static_cast<Real>(columns.size());
      rounding += 8.0L * n * std::sqrt(n) * eps * std::sqrt(row) * std::sqrt(scaled);
      const Complex f = asked_.values[r * samples + k];
      rounding += 8.0L * eps * std::abs(Wide(f.real(), f.imag()));
      if (found.enforcement && found.enforcement->remedy != Remedy::none) {
        // What was kept is the value of a model whose terms may be a million times as large and cancel.
        constexpr Real cancellation = 1e8L;
        rounding += cancellation * eps * std::abs(Wide(f.real(), f.imag()));
      }
      const Wide difference =
          value_at(model, r, omega_of(asked_.frequencies[k]), true).value - Wide(f.real(), f.imag());
      if (re_squares > 0.0L) {
        expect_at_most(std::abs(difference.real()), rounding, "the real part of the sample is taken exactly");
      }
      // The part of the second row that is no multiple of the first.
      const Real apart = re_squares > 0.0L ? im_squares - products * products / re_squares : im_squares;
      constexpr Real clearly = 1e-16L;  // a square; the library asks for 100 eps of the root
      if (!at_zero && columns.size() > 1 && apart > clearly * im_squares) {
        expect_at_most(std::abs(difference.imag()), rounding,
                       "the imaginary part of the sample is taken exactly");
      }
    }
  }

  /// What is left over is orthogonal to every function of the basis: |a_j^T r| <= C eps |a_j| (|r| + sum_i
  /// |x_i| |a_i|), as it is after an orthogonal factorisation, C being some M + n times n: of 13,000 networks
  /// up to 94 times.
  void judge_residues(const Model& model) {
    const std::vector<std::vector<Wide>> columns = basis(model);
    const std::size_t samples = asked_.frequencies.size();
    const auto n = static_cast<Real>(columns.size());
    const Real roundings = 400.0L * n * (n + static_cast<Real>(samples)) * eps;
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      const std::vector<Real> size = norms(columns, r);
      const std::vector<Real> x = coefficients(model, r);
      Real terms = 0.0L;
      for (std::size_t j = 0; j < columns.size(); ++j) {
        terms += std::abs(x[j]) * size[j];
      }
      std::vector<Wide> rest;
      Real squares = 0.0L;
      Real conditioning = 1.0L;  // of the fractions themselves
      for (std::size_t k = 0; k < samples; ++k) {
        const Complex f = asked_.values[r * samples + k];
        const Value value = value_at(model, r, omega_of(asked_.frequencies[k]), true);
        rest.push_back(weight(r, k) * (value.value - Wide(f.real(), f.imag())));
        squares += std::norm(rest.back());
        for (const Complex pole : model.poles) {
          const Real omega = omega_of(asked_.frequencies[k]);
          const Real distance = std::abs(Wide(pole.real(), pole.imag() - omega));
          conditioning = std::max(conditioning, omega / distance);
        }
      }
      for (std::size_t j = 0; j < columns.size(); ++j) {
        Real gradient = 0.0L;
        for (std::size_t k = 0; k < samples; ++k) {
          const Wide a = weight(r, k) * columns[j][k];
          gradient += a.real() * rest[k].real() + a.imag() * rest[k].imag();
        }
        expect_at_most(std::abs(gradient), roundings * conditioning * size[j] * (std::sqrt(squares) + terms),
                       "residues are those of least squares");
      }
    }
  }

  void judge_search(const Outcome& found) {
    Search search = *found.search;
    search.fit = found.fit;
    const Report& report = found.fit.report;
    const double error = asked_.target.measure == Measure::relative_rms     ? report.relative_error
                         : asked_.target.measure == Measure::worst_response ? report.worst_relative_error
                                                                            : report.largest_error;
    expect(search.error == error, "the error of a search is that of its fit");
    const bool passive = !found.enforcement || found.enforcement->passivity.passive;
    expect((search.end == SearchEnd::target_met) == (passive && error <= asked_.target.error),
           "a target is met where the error is not above it");
    expect(search.end != SearchEnd::cancelled, "nothing is cancelled");
    if (search.end == SearchEnd::met_to_noise) {
      Real sum = 0.0L;
      for (std::size_t r = 0; r < asked_.responses; ++r) {
        const Real noise = 1.1L * search.findings.noise[r];
        const Real relative = report.errors[r].relative;
        const Real target = asked_.target.error;
        sum += relative * relative / (target * target + noise * noise);
      }
      const auto all = static_cast<Real>(asked_.responses);
      expect_at_most(sum, all * (1.0L + 16.0L * all * eps), "a target is met to the noise");
    }
    const bool of_data = search.end == SearchEnd::noise || search.end == SearchEnd::not_causal ||
                         search.end == SearchEnd::no_gain;
    if (search.end != SearchEnd::met_to_noise) {
      expect(succeeded(search) ==
                 (search.end == SearchEnd::target_met || (of_data && report.relative_error <= 1e-2)),
             "a search has succeeded where its end says so");
    }
    const std::size_t limit = std::min(asked_.target.most_poles.value_or(400), asked_.frequencies.size() / 2);
    expect(found.fit.model.poles.size() <= limit, "the limit on the order holds");
  }

  void judge_passivity(const Model& model, const EnforcementReport& report) {
    const Passivity again = passivity(model);
    expect(report.passivity.passive == again.passive, "the report tells the passivity of the model");
    expect(model.passivity && model.passivity->passive == again.passive, "so does the model");
    expect(!again.passive || (again.decided && again.violations.empty()), "what is passive violates nowhere");
    expect(report.remedy == Remedy::none || report.passivity.passive || !asked_.usual_sizes,
           "what was corrected is passive");
    if (!again.passive) {
      return;
    }
    const bool scattering = model.network->parameter == 'S';
    const Real scale = scaled_model(model).scale;
    std::vector<Real> omegas = places(model);
    omegas.push_back(std::numeric_limits<Real>::infinity());
    for (const Real omega : omegas) {
      Real squares = 0.0L;
      for (const Wide value : independent::value_at(model, omega)) {
        squares += std::norm(value);
      }
      // What rounding makes of the model's own numbers, as the certificate may have them.
      Real roundings = 0.0L;
      for (std::size_t r = 0; r < model.responses() && std::isfinite(omega); ++r) {
        roundings += value_at(model, r, omega, false).rounding;
      }
      const Real limit = scattering ? 1.0L + 1e-9L : 1e-9L * std::max(scale, std::sqrt(squares));
      const Real measure = independent::measure_at(model, omega);
      if (!(measure <= limit + 8.0L * roundings)) {
        expect_at_most(measure, limit + 8.0L * roundings, "what is passive is so at every frequency");
        return;
      }
    }
  }

  /// Responses that are equal to the last bit are fitted once, and so is what is made passive.
  void judge_symmetry(const Model& model) {
    const std::size_t samples = asked_.frequencies.size();
    if (asked_.weights.size() > samples) {
      return;
    }
    for (std::size_t r = 0; r < asked_.responses; ++r) {
      for (std::size_t q = r + 1; q < asked_.responses; ++q) {
        const auto first = asked_.values.begin() + static_cast<std::ptrdiff_t>(r * samples);
        const auto second = asked_.values.begin() + static_cast<std::ptrdiff_t>(q * samples);
        if (!std::equal(first, first + static_cast<std::ptrdiff_t>(samples), second) ||
            (is_passive_request() && !mirrored(r, q))) {
          continue;
        }
        const auto left = model.residues_of(r);
        const auto right = model.residues_of(q);
        expect(
            std::equal(left.begin(), left.end(), right.begin()) && model.constants[r] == model.constants[q],
            "equal responses have equal models");
      }
    }
  }

  /// Whether they are opposite in a matrix all of whose opposite responses are equal.
  bool mirrored(std::size_t r, std::size_t q) const {
    const std::size_t samples = asked_.frequencies.size();
    const std::size_t ports = asked_.matrix.ports();
    for (std::size_t i = 0; i < ports; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        const auto one = asked_.values.begin() + static_cast<std::ptrdiff_t>((i * ports + j) * samples);
        const auto other = asked_.values.begin() + static_cast<std::ptrdiff_t>((j * ports + i) * samples);
        if (!std::equal(one, one + static_cast<std::ptrdiff_t>(samples), other)) {
          return false;
        }
      }
    }
    return r / ports == q % ports && r % ports == q / ports;
  }

  const FitCase& asked_;
  Effort effort_;
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> faults_of(const FitCase& asked, Effort effort) {
  return Judge(asked, effort).faults();
}

}  // namespace polefit::fit_cases
