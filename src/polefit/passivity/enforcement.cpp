#include "polefit/enforcement.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "numerics/angular_frequency.hpp"
#include "numerics/hermitian_eigenvalues.hpp"
#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/passivity/decision.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/harm.hpp"
#include "polefit/passivity/matrix_samples.hpp"
#include "polefit/passivity/nearest_passive.hpp"
#include "polefit/passivity/pole_moves.hpp"
#include "polefit/passivity/room_poles.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

/// Parts of the largest value by which a symmetric model may miss symmetry.
constexpr double symmetric_to = 1e-9;
/// An error that has grown by less is as good as before.
constexpr double harmless = 1.01;
/// Errors and their growth below this are rounding, of the data's size.
constexpr double no_error = 1e-8;
/// Poles are moved, and room poles tried, where the error has grown by more.
constexpr double worth_a_trial = 1.05;
/// Of a pole that may move, in parts of its modulus: rounding hides what a resonance without losses does.
constexpr double least_damping = 1e-8;
constexpr double first_damping = 1e-3;
constexpr double damping_after_success = 0.2;
constexpr double damping_after_failure = 8.0;
constexpr int most_moves = 12;
/// Moves that do not take this part off the error are failures.
constexpr double worth_another_move = 0.02;
constexpr int most_failures = 3;
/// Weight of what is outside the band: of the error; smaller ones gain nothing, larger ones harm.
constexpr double outside_of_error = 0.1;
constexpr double least_outside = 1e-8;
/// Where planes do not get there, it is multiplied so often: what is large outside the band of models that
/// fit to many digits is brought down the faster the more it counts.
constexpr int heavier_outside = 2;
constexpr double times_outside = 300.0;
/// Measures stay below their limit by this part of that weight.
constexpr double margin_of_outside = 0.5;
constexpr double least_margin = 1e-9;
constexpr double largest_margin = 1e-6;
/// Times as many rounds are worth while with room poles, which are not added for nothing.
constexpr std::size_t room_rounds = 3;
/// Roughly, one to two billion a second.
constexpr double most_operations_of_trial = 4e9;
constexpr int most_pulls = 6;
constexpr int most_halvings = 30;
/// Errors grow by about what a model is shrunk by: it is tried up to so many times what is enough.
constexpr double worth_shrinking = 10.0;
constexpr std::size_t pieces_to_be_certain = 4000;
/// Parts of what passivity() permits, which judges by the size that the result has.
constexpr double tolerance_of_touching = 0.4;
constexpr double margin_of_touching = -0.2;

bool is_symmetric(const ScaledModel& model) {
  double largest = 0.0;
  double difference = 0.0;
  for (std::size_t k = 0; k < model.x.rows; ++k) {
    for (std::size_t j = 0; j < model.ports; ++j) {
      for (std::size_t i = 0; i < model.ports; ++i) {
        const double value = model.x(k, i + j * model.ports);
        largest = std::max(largest, std::abs(value));
        difference = std::max(difference, std::abs(value - model.x(k, j + i * model.ports)));
      }
    }
    if (difference > symmetric_to * largest) {
      return false;
    }
  }
  return true;
}

void symmetrise(ScaledModel& model) {
  for (std::size_t j = 0; j < model.ports; ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      for (std::size_t k = 0; k < model.x.rows; ++k) {
        double& a = model.x(k, i + j * model.ports);
        double& b = model.x(k, j + i * model.ports);
        a = b = 0.5 * (a + b);
      }
    }
  }
}

/// The nearest symmetric matrix without a negative eigenvalue; of zeros for S.
Matrix nearest_proportional(const ScaledModel& model) {
  const std::size_t n = model.ports;
  Matrix result(n, n);
  if (model.scattering) {
    return result;
  }
  ComplexMatrix symmetric(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n; ++i) {
      result(i, j) = symmetric.re(i, j) = 0.5 * (model.e(i, j) + model.e(j, i));
    }
  }
  const auto found = numerics::hermitian_eigenvalues(symmetric, true);
  if (!found || found->values.front() >= 0.0) {
    return result;
  }
  // Eigenvalues of the size of rounding are left out: a sum that has them may have negative ones.
  const double rounding = static_cast<double>(n) * std::numeric_limits<double>::epsilon() *
                          std::max(std::abs(found->values.front()), found->values.back());
  std::fill(result.elements.begin(), result.elements.end(), 0.0);
  for (std::size_t c = 0; c < n; ++c) {
    if (!(found->values[c] > rounding)) {
      continue;
    }
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = 0; i <= j; ++i) {
        result(i, j) += found->values[c] * (found->vectors(i, c) * std::conj(found->vectors(j, c))).real();
        result(j, i) = result(i, j);
      }
    }
  }
  return result;
}

/// One enforcement, in units of the model.
class Enforcer {
 public:
  Enforcer(ScaledModel model, const WholeMatrix& matrix, const NetworkData& data,
           const EnforcementOptions& options)
      : options_(options), base_(std::move(model)) {
    samples_ = matrix_samples(base_, matrix, data);
    before_ = Harm(base_, samples_, least_outside, false).in_band(base_.x);
    base_.e = nearest_proportional(base_);
    base_.by_norm = true;
    tolerance_ = base_.scattering ? 0.0 : tolerance_of_touching * Passivity().tolerance;
    symmetric_ = is_symmetric(base_);
    if (symmetric_) {
      symmetrise(base_);
    }
    samples_ = matrix_samples(base_, matrix, data);
    if (symmetric_) {
      symmetrise(base_.ports, samples_);
    }
    if (options.move_poles && !options.keep_value_at_zero) {
      damp_resonances();
    }
    lowest_ = samples_.lowest();
    highest_ = samples_.highest();
    enough_ = std::max(harmless * before_, before_ + no_error);
    wanted_ = std::max(enough_, options.error_wanted);
    if (options.keep_value_at_zero) {
      leave_room_at_zero();
    }
  }

  struct Found {
    ScaledModel model;
    Remedy remedy = Remedy::none;
    double error = std::numeric_limits<double>::infinity();
    std::size_t room_pairs = 0;
    double outside = 0.0;        // the weight of what is outside the band that it was found with
    std::vector<Peak> planes{};  // that hold it back
  };

  double error_before() const { return before_; }
  std::size_t rounds() const { return rounds_; }
  std::size_t moves() const { return moves_; }
  double operations() const { return operations_; }

  Found run() {
    best_ = Found{};
    shrink(worth_shrinking * enough_);
    if (best_.error <= enough_) {
      return best_;
    }
    double outside = std::max(least_outside, outside_of_error * before_);
    bool certified = try_nearest(0, outside);
    for (int i = 0; i < heavier_outside && !certified && best_.error > worth_room_error(); ++i) {
      outside *= times_outside;
      certified = try_nearest(0, outside);
    }
    move_poles();
    // With room poles there is more to be had outside, which is found the faster the more it counts.
    outside = std::max(least_outside, wanted_);
    for (int stage = 1; stage <= last_stage() && best_.error > worth_room_error(); ++stage) {
      try_nearest(stage, outside);
      move_poles();
    }
    if (best_.remedy == Remedy::none) {
      shrink(std::numeric_limits<double>::infinity());
    }
    // Nothing at all is passive, too.
    if (best_.remedy == Remedy::none || !(best_.error <= 1.0)) {
      offer_constant();
    }
    return best_;
  }

 private:
  Harm harm(const ScaledModel& model, double outside) const {
    return {model, samples_, outside, options_.keep_value_at_zero};
  }

  void damp_resonances() {
    for_each_group(
        base_.poles, [](std::size_t) {},
        [&](std::size_t i) {
          const double damping = std::max(-base_.poles[i].real(), least_damping * std::abs(base_.poles[i]));
          base_.poles[i].real(-damping);
          base_.poles[i + 1].real(-damping);
        });
  }

  /// Where the value at 0 Hz is near the limit, a margin would leave none for it.
  void leave_room_at_zero() {
    const double left = base_.limit() - measure_at(base_, 0.0);
    const double touching = Passivity().tolerance;
    if (!(left > -touching)) {
      throw Error(ErrorKind::bad_option, "the value at 0 Hz cannot be kept: the model is not passive there");
    }
    if (left < 4.0 * least_margin) {
      tolerance_ = tolerance_of_touching * touching;
      most_margin_ = margin_of_touching * touching;
    } else {
      most_margin_ = 0.25 * left;
    }
  }

  void offer(Found found) {
    if (symmetric_) {
      symmetrise(found.model);  // of what rounding makes of equal columns
    }
    if (best_.remedy == Remedy::none || found.error < best_.error) {
      best_ = std::move(found);
    }
  }

  /// Where no measure exceeds its limit by more than `most`, and the value at 0 Hz, which that changes, need
  /// not be kept.
  void shrink(double most) {
    if (options_.keep_value_at_zero || !(Scan(base_).largest().measure - base_.limit() <= most)) {
      return;
    }
    if (std::optional<ScaledModel> shrunk = shrunk_model(base_)) {
      const Harm plain = harm(base_, least_outside);
      const double error = plain.in_band(plain.reduced(shrunk->x));
      offer({*std::move(shrunk), Remedy::shrinking, error});
    }
  }

  double worth_room_error() const { return std::max(wanted_, worth_a_trial * before_); }

  /// Of the room poles that may be added.
  int last_stage() const {
    int stage = 0;
    while (stage < room_stages &&
           polefit::room_pairs(stage + 1, lowest_, highest_) <= options_.most_room_pairs) {
      ++stage;
    }
    return stage;
  }

  /// Whether a passive model was found without being drawn inwards.
  bool try_nearest(int stage, double outside) {
    const std::size_t pairs = polefit::room_pairs(stage, lowest_, highest_);
    const ScaledModel model = with_room_poles(base_, stage, lowest_, highest_);
    const Harm weighed = harm(model, outside);
    const double hopeless =
        stage < last_stage() ? worth_room_error() : std::numeric_limits<double>::infinity();
    NearestPassive found =
        nearest_passive(model, weighed,
                        {.symmetric = symmetric_,
                         .margin = margin_of(outside),
                         .tolerance = tolerance_,
                         .error_enough = enough_,
                         .error_hopeless = hopeless,
                         .error_wanted = wanted_,
                         .most_rounds = (stage > 0 ? room_rounds : 1) * options_.most_rounds,
                         .most_operations = operations_of_trial(),
                         .check_in = options_.check_in});
    rounds_ += found.rounds;
    operations_ += found.operations;
    if (found.certified) {
      offer({std::move(found.model), Remedy::nearest, found.error, pairs, outside, std::move(found.holding)});
      return true;
    }
    if (!std::isfinite(found.error)) {
      return false;  // of data beyond the range of numbers
    }
    std::optional<ScaledModel> drawn =
        options_.keep_value_at_zero ? drawn_to_constant(found.model) : shrunk_model(found.model);
    if (drawn) {
      const double error = weighed.in_band(weighed.reduced(drawn->x));
      offer({*std::move(drawn), Remedy::drawn_inwards, error, pairs});
    }
    return false;
  }

  /// Moves the poles of the best model as long as that makes its error smaller. Planes that a trial met keep
  /// holding: every passive model is behind them, whatever its poles.
  void move_poles() {
    if (!options_.move_poles || best_.remedy != Remedy::nearest) {
      return;
    }
    const double margin = margin_of(best_.outside);
    const double enough = std::max(worth_a_trial * before_, before_ + no_error);
    std::vector<Peak> planes = best_.planes;
    std::optional<PoleMoves> moves;
    double damping = first_damping;
    int failures = 0;
    for (int i = 0;
         i < most_moves && failures < most_failures && best_.error > enough && operations_of_trial() > 0.0;
         ++i) {
      if (!moves) {
        moves.emplace(best_.model, samples_, best_.outside, options_.keep_value_at_zero, planes,
                      limit_with_margin(base_, margin));
      }
      const double before = best_.error;
      if (const std::optional<ScaledModel> moved = moves->moved(damping)) {
        const Harm weighed = harm(*moved, best_.outside);
        // Without any plane, so that with planes it is no smaller.
        if (weighed.in_band(weighed.centre()) < before) {
          NearestPassive found = nearest_passive(*moved, weighed,
                                                 {.symmetric = symmetric_,
                                                  .margin = margin,
                                                  .tolerance = tolerance_,
                                                  .error_enough = enough_,
                                                  .error_hopeless = before,
                                                  .error_wanted = enough,
                                                  .most_rounds = options_.most_rounds,
                                                  .most_operations = operations_of_trial(),
                                                  .check_in = options_.check_in});
          rounds_ += found.rounds;
          operations_ += found.operations;
          planes.insert(planes.end(), found.holding.begin(), found.holding.end());
          if (found.certified && found.error < before) {
            ++moves_;
            offer({std::move(found.model), Remedy::nearest, found.error, best_.room_pairs, best_.outside,
                   planes});
          }
          moves.reset();
        }
      }
      failures = best_.error < (1.0 - worth_another_move) * before ? 0 : failures + 1;
      damping *= best_.error < before ? damping_after_success : damping_after_failure;
    }
  }

  double operations_of_trial() const {
    return std::clamp(options_.most_operations - operations_, 0.0, most_operations_of_trial);
  }

  double margin_of(double outside) const {
    return std::min(most_margin_, std::clamp(margin_of_outside * outside, least_margin, largest_margin));
  }

  bool is_passive(const ScaledModel& model) const {
    return decide_as_result(model, tolerance_, pieces_to_be_certain).holds();
  }

  /// S over what it exceeds 1 by, Y and Z with as much conductance or resistance more as they lack, and a
  /// little more where rounding refuses it.
  std::optional<ScaledModel> shrunk_model(const ScaledModel& model) const {
    ScaledModel by_scale = model;
    by_scale.by_norm = false;
    const double measure = Scan(by_scale).certified_largest(pieces_to_be_certain).measure;
    if (!std::isfinite(measure)) {
      return std::nullopt;
    }
    for (int pull = 0; pull < most_pulls; ++pull) {
      const double more = 2.0 * least_margin * std::pow(16.0, pull);
      ScaledModel shrunk = model;
      if (model.scattering) {
        const double factor = 1.0 / (std::max(measure, 1.0) * (1.0 + more));
        for (double& value : shrunk.x.elements) {
          value *= factor;
        }
      } else {
        for (std::size_t port = 0; port < model.ports; ++port) {
          shrunk.x(model.poles.size(), port * (model.ports + 1)) +=
              (std::max(measure, 0.0) + more) * model.scale;
        }
      }
      if (is_passive(shrunk)) {
        return shrunk;
      }
    }
    return std::nullopt;
  }

  void offer_constant() {
    ScaledModel constant = constant_model();
    const Harm plain = harm(base_, least_outside);
    const double error = plain.in_band(plain.reduced(constant.x));
    offer({std::move(constant), Remedy::drawn_inwards,
           std::isfinite(error) ? error : std::numeric_limits<double>::max()});
  }

  /// No poles: the value at 0 Hz where that is kept, else 0.
  ScaledModel constant_model() const {
    ScaledModel constant = base_;
    const ComplexMatrix zero = value_at(base_, 0.0);
    for (std::size_t j = 0; j < constant.x.columns; ++j) {
      std::fill_n(constant.x.column(j), constant.x.rows, 0.0);
      constant.x(constant.poles.size(), j) = options_.keep_value_at_zero ? zero.re.elements[j] : 0.0;
    }
    return constant;
  }

  /// The passive point farthest from the constant value at 0 Hz, on the line to a model.
  std::optional<ScaledModel> drawn_to_constant(const ScaledModel& model) const {
    ScaledModel drawn = model;
    const ComplexMatrix zero = value_at(model, 0.0);
    const auto draw = [&](double part) {
      for (std::size_t j = 0; j < drawn.x.columns; ++j) {
        for (std::size_t k = 0; k < drawn.x.rows; ++k) {
          drawn.x(k, j) = part * model.x(k, j);
        }
        drawn.x(drawn.poles.size(), j) += (1.0 - part) * zero.re.elements[j];
      }
      return is_passive(drawn);
    };
    double passive = 0.0;
    double active = 1.0;
    for (int i = 0; i < most_halvings && active - passive > 1e-4 * active; ++i) {
      const double middle = 0.5 * (passive + active);
      (draw(middle) ? passive : active) = middle;
    }
    return draw(passive) ? std::optional(drawn) : std::nullopt;
  }

  const EnforcementOptions& options_;
  ScaledModel base_;
  MatrixSamples samples_;
  bool symmetric_ = false;
  double before_ = 0.0;
  double enough_ = 0.0;  // what is as good as before
  double wanted_ = 0.0;  // what is good enough in any case
  double most_margin_ = largest_margin;
  double tolerance_ = 0.0;
  double lowest_ = 0.0;
  double highest_ = 0.0;
  std::size_t rounds_ = 0;
  std::size_t moves_ = 0;
  double operations_ = 0.0;
  Found best_;
};

}  // namespace

Enforcement enforce_passivity(const Model& model, const NetworkData& data,
                              const EnforcementOptions& options) {
  Enforcement result;
  EnforcementReport& report = result.report;
  result.model = model;
  report.passivity = passivity(model);
  result.model.passivity = certified(report.passivity);
  check(data);
  report.errors_before = errors(model, data);
  report.errors_after = report.errors_before;
  const WholeMatrix matrix = matrix_of(model);
  Enforcer enforcer(scaled_model(model), matrix, data, options);
  report.error_before = report.error_after = enforcer.error_before();
  if (report.passivity.passive) {
    return result;
  }
  const Enforcer::Found found = enforcer.run();
  result.model = unscaled(model, found.model);
  report.passivity = passivity(result.model);
  result.model.passivity = certified(report.passivity);
  report.remedy = found.remedy;
  report.room_pairs = found.room_pairs;
  report.rounds = enforcer.rounds();
  report.moves = enforcer.moves();
  report.operations = enforcer.operations();
  // From the data as they are: the search sees the symmetric part of those of a symmetric model.
  const MatrixSamples samples = matrix_samples(found.model, matrix, data);
  report.error_after = Harm(found.model, samples, least_outside, false).in_band(found.model.x);
  report.errors_after = errors(result.model, data);
  if (result.model.origin) {
    result.model.origin->errors = report.errors_after;
  }
  return result;
}

}  // namespace polefit
