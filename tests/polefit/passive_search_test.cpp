#include "polefit/passive_search.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "enforcement_cases.hpp"
#include "independent_passivity.hpp"
#include "numerics/angular_frequency.hpp"
#include "passive_networks.hpp"
#include "polefit/error.hpp"
#include "polefit/passivity/scaled_model.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using enforcement_cases::band;
using testing_support::address_space_is_ours;
using testing_support::Complex;

/// With noise of one of three sizes.
Network random_network(std::uint64_t seed, std::size_t most_ports, char parameter) {
  const std::size_t ports = 2 + seed % (most_ports - 1);
  Network network = passive_networks::passive_network(seed, ports, ports <= 8 ? 300 : 150, parameter);
  constexpr std::array noises{0.0, 1e-6, 1e-4};
  const double noise = noises[seed % 3];
  if (noise > 0.0) {
    passive_networks::add_noise(network, noise, seed);
  }
  return network;
}

struct Tally {
  std::vector<double> growths;      // of the error, by enforcement
  std::vector<std::uint64_t> lost;  // of targets that the fit alone meets
};

enum class Judged { all, those_that_take_little_time };

/// Searches whose models are passive, which the tests' own code confirms.
void search(std::uint64_t seed, const Network& network, Tally& tally,
            Judged judged = Judged::those_that_take_little_time) {
  const NetworkMatrix& matrix = *network.matrix;
  const Target target;
  const PassiveSearch found = fit_to_error_passively(network.data(), matrix, target);
  const Model& model = found.search.fit.model;
  EXPECT_TRUE(found.enforcement.passivity.passive) << seed;
  EXPECT_TRUE(passivity(model).passive) << seed;
  const std::size_t ports = matrix.ports();
  if (judged == Judged::all || ports <= 6 || seed % 4 == 0) {
    const bool of_s = matrix.parameter == 'S';
    const double limit = of_s ? 1.0 + 1e-9 : 1e-9 * scaled_model(model).scale;
    const double top = *std::max_element(network.frequencies.begin(), network.frequencies.end());
    EXPECT_LE(independent::worst_measure(model, top).measure, limit) << seed;
  }
  EXPECT_EQ(found.search.fit.report.errors.front().rms, errors(model, network.data()).front().rms) << seed;
  tally.growths.push_back(found.enforcement.error_after / found.enforcement.error_before);
  if (found.search.error > target.error && fit_to_error(network.data(), target).error <= target.error) {
    tally.lost.push_back(seed);
  }
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// No target is lost, half of the errors grow by less than 2 per cent and 90 per cent by less than a fifth.
void search_scattering(std::uint64_t first, std::uint64_t last, Judged judged) {
  Tally tally;
  for (std::uint64_t seed = first; seed < last; ++seed) {
    search(seed, random_network(seed, 12, 'S'), tally, judged);
  }
  const auto much =
      std::count_if(tally.growths.begin(), tally.growths.end(), [](double growth) { return growth > 1.2; });
  std::printf("%td of %zu errors grew by more than a fifth, half by less than %.4f\n", much,
              tally.growths.size(), median(tally.growths));
  EXPECT_LE(10 * much, static_cast<std::ptrdiff_t>(tally.growths.size()));
  EXPECT_TRUE(tally.lost.empty()) << "first: " << (tally.lost.empty() ? 0 : tally.lost.front());
  EXPECT_LE(median(tally.growths), 1.02);
}

TEST(PassiveSearch, models_of_passive_networks_are_passive_and_keep_their_targets) {
  search_scattering(0, address_space_is_ours ? 40 : 6, Judged::those_that_take_little_time);
}

/// The same of 200, which take minutes.
TEST(PassiveSearch, DISABLED_models_of_many_passive_networks_are_passive_and_keep_their_targets) {
  search_scattering(0, 100, Judged::all);
}

TEST(PassiveSearch, DISABLED_models_of_many_more_passive_networks_are_passive_and_keep_their_targets) {
  search_scattering(100, 200, Judged::all);
}

TEST(PassiveSearch, admittances_and_impedances_are_made_passive_too) {
  for (const char parameter : {'Y', 'Z'}) {
    Tally tally;
    for (std::uint64_t seed = 0; seed < (address_space_is_ours ? 20 : 3); ++seed) {
      search(seed, random_network(seed, 4, parameter), tally);
    }
    EXPECT_TRUE(tally.lost.empty()) << parameter << tally.lost.front();
    EXPECT_LE(median(tally.growths), 1.02) << parameter;
  }
}

/// Of data that exceed 1 by a tenth no passive model is nearer than a part of that.
TEST(PassiveSearch, tries_other_orders_where_the_target_is_lost_and_tells_of_all) {
  Network network = random_network(3, 4, 'S');
  const double extreme = sampled_passivity(network.data(), *network.matrix).extreme;
  for (Complex& value : network.values) {
    value *= 1.1 / extreme;
  }
  const Target target;
  const Search alone = fit_to_error(network.data(), target);
  ASSERT_EQ(alone.end, SearchEnd::target_met);
  const PassiveSearch found = fit_to_error_passively(network.data(), *network.matrix, target);
  EXPECT_TRUE(found.enforcement.passivity.passive);
  EXPECT_EQ(found.search.end, SearchEnd::lost_to_passivity);
  EXPECT_GT(found.search.error, target.error);
  ASSERT_GT(found.search.steps.size(), alone.steps.size());
  for (std::size_t i = 0; i < alone.steps.size(); ++i) {
    EXPECT_EQ(found.search.steps[i].order, alone.steps[i].order);
  }
}

Network amplified(Network network, double factor) {
  for (Complex& value : network.values) {
    value *= factor;
  }
  return network;
}

/// Of data that exceed 1 by much other orders serve as badly, and one of them is taken.
TEST(PassiveSearch, the_first_fit_is_told_whichever_was_taken) {
  std::size_t others = 0;
  for (const std::uint64_t seed : {0U, 3U, 6U, 9U}) {
    const Network network = amplified(passive_networks::passive_network(seed, 2, 150, 'S'), 1.5);
    const Search alone = fit_to_error(network.data(), {});
    const PassiveSearch found = made_passive(alone, network.data(), *network.matrix, {});
    others += found.enforcement.error_before != found.first.error ? 1 : 0;
    EXPECT_EQ(found.first.order, alone.fit.model.poles.size()) << seed;
    // An error of 1e-6 and more: the rounding of values is nothing beside it.
    ASSERT_GT(alone.fit.report.relative_error, 1e-6) << seed;
    EXPECT_NEAR(found.first.error / alone.fit.report.relative_error, 1.0, 1e-6) << seed;
  }
  EXPECT_GT(others, 0U);  // else nothing was tested
}

/// Relative to data in which a response counts by the inverse of what it is allowed by the noise.
TEST(PassiveSearch, the_error_of_the_model_taken_has_the_weights_of_the_first_fit) {
  const Target target;
  std::size_t others = 0;
  for (const std::uint64_t seed : {0U, 3U, 6U, 9U}) {
    Network network = passive_networks::passive_network(seed, 2, 150, 'S');
    passive_networks::add_noise(network, 1e-2, seed);
    network = amplified(std::move(network), 1.5);
    const Search alone = fit_to_error(network.data(), target);
    const PassiveSearch found = made_passive(alone, network.data(), *network.matrix, target);
    if (found.enforcement.error_before == found.first.error) {
      continue;
    }
    ++others;
    double weights = 0.0;
    double squares = 0.0;
    double squares_before = 0.0;
    for (std::size_t r = 0; r < 4; ++r) {
      const double noise = 1.1 * std::min(alone.findings.noise[r], alone.fit.report.errors[r].relative);
      const double weight = std::pow(target.error / std::max(target.error, noise), 2);
      weights += weight;
      squares += weight * std::pow(found.search.fit.report.errors[r].relative, 2);
      squares_before += weight * std::pow(alone.fit.report.errors[r].relative, 2);
    }
    EXPECT_NEAR(found.enforcement.error_after / std::sqrt(squares / weights), 1.0, 1e-6) << seed;
    EXPECT_NEAR(found.first.error / std::sqrt(squares_before / weights), 1.0, 1e-6) << seed;
  }
  EXPECT_GT(others, 0U);  // else nothing was tested
}

TEST(PassiveSearch, room_poles_count_for_the_limit_on_the_order) {
  const auto order = [](char parameter, std::uint64_t seed, std::size_t samples, const Target& target) {
    const Network network = passive_networks::passive_network(seed, 2, samples, parameter);
    const PassiveSearch found = fit_to_error_passively(network.data(), *network.matrix, target);
    return std::pair(found.search.fit.model.poles.size(), found.enforcement.room_pairs);
  };
  std::size_t with_room = 0;
  for (const auto& [parameter, seed] :
       {std::pair{'S', 3U}, std::pair{'S', 6U}, std::pair{'Y', 0U}, std::pair{'Y', 2U}, std::pair{'Y', 3U},
        std::pair{'Y', 9U}, std::pair{'Z', 0U}, std::pair{'Z', 1U}}) {
    for (const std::size_t most : {8U, 12U, 16U}) {
      const auto [poles, pairs] = order(parameter, seed, 150, {.error = 1e-4, .most_poles = most});
      EXPECT_LE(poles, most) << parameter << seed;
      with_room += pairs;
    }
    const auto [poles, pairs] = order(parameter, seed, 24, {.error = 1e-4});
    EXPECT_LE(poles, 12U) << parameter << seed;  // half the samples
  }
  EXPECT_GT(with_room, 0U);  // else nothing was tested
}

/// Data with noise of 1e-6, which exceed 1 by a part in 500.
TEST(PassiveSearch, what_missed_its_target_and_grew_is_lost_to_passivity_and_not_to_noise) {
  Network network = passive_networks::passive_network(9, 2, 150, 'S');
  passive_networks::add_noise(network, 1e-6, 9);
  network = amplified(std::move(network), 1.002);
  const Target target{.error = 1e-7, .most_poles = 30};
  const Search alone = fit_to_error(network.data(), target);
  ASSERT_EQ(alone.end, SearchEnd::noise);
  ASSERT_TRUE(succeeded(alone));
  const PassiveSearch found = made_passive(alone, network.data(), *network.matrix, target);
  ASSERT_GT(found.search.error, 1.05 * alone.error);
  EXPECT_EQ(found.search.end, SearchEnd::lost_to_passivity);
  EXPECT_FALSE(succeeded(found.search));
  EXPECT_TRUE(found.search.fit.report.finding.ends_with(" before the model was made passive"))
      << found.search.fit.report.finding;
  EXPECT_EQ(found.search.fit.model.origin->finding, found.search.fit.report.finding);
}

TEST(PassiveSearch, passive_fits_are_those_of_the_plain_search) {
  // Losses of a tenth: a fit to a part in a thousand stays passive.
  const std::vector<double> frequencies = band(80, 0.0, 2.0);
  const enforcement_cases::Case made =
      enforcement_cases::exact(passivity_models::random_model(3, true, 0.9), frequencies);
  const Search alone = fit_to_error(made.data(), {});
  const PassiveSearch found = fit_to_error_passively(made.data(), *made.model.network, {});
  EXPECT_EQ(found.enforcement.remedy, Remedy::none);
  EXPECT_EQ(found.search.fit.model.poles, alone.fit.model.poles);
  EXPECT_EQ(found.search.fit.model.residues, alone.fit.model.residues);
  EXPECT_EQ(found.search.fit.report.relative_error, alone.fit.report.relative_error);
  EXPECT_EQ(found.search.error, alone.error);
}

TEST(PassiveSearch, a_search_that_is_cancelled_ends_with_a_passive_model) {
  const Network network = random_network(30, 12, 'S');
  for (const int last : {1, 2, 5, 12}) {
    int calls = 0;
    Options options;
    options.progress = [&](const Progress&) { return ++calls < last; };
    const PassiveSearch found = fit_to_error_passively(network.data(), *network.matrix, {}, options);
    EXPECT_EQ(found.search.end, SearchEnd::cancelled) << last;
    EXPECT_EQ(calls, last);
    EXPECT_TRUE(passivity(found.search.fit.model).passive) << last;
  }
}

TEST(PassiveSearch, data_that_are_not_passive_end_with_a_passive_model) {
  for (const double size : {1.02, 1.5, 30.0}) {
    Network network = random_network(9, 4, 'S');
    double largest = 0.0;
    for (const Complex value : network.values) {
      largest = std::max(largest, std::abs(value));
    }
    for (Complex& value : network.values) {
      value *= size / largest;
    }
    ASSERT_FALSE(sampled_passivity(network.data(), *network.matrix).passive) << size;
    const PassiveSearch found = fit_to_error_passively(network.data(), *network.matrix, {});
    EXPECT_TRUE(found.enforcement.passivity.passive) << size;
    EXPECT_TRUE(passivity(found.search.fit.model).passive) << size;
  }
}

TEST(PassiveSearch, refuses_what_cannot_be_made_passive) {
  const Network network = random_network(0, 12, 'S');
  const auto refused_as = [&](const NetworkMatrix& matrix, const Options& options, const Target& target) {
    try {
      fit_to_error_passively(network.data(), matrix, target, options);
    } catch (const Error& error) {
      return std::optional(error.kind());
    }
    return std::optional<ErrorKind>();
  };
  Options unstable;
  unstable.stable = false;
  EXPECT_EQ(refused_as(*network.matrix, unstable, {}), ErrorKind::bad_option);
  EXPECT_EQ(refused_as(*network.matrix, {}, {.error = 0.0}), ErrorKind::bad_option);
  NetworkMatrix twice = *network.matrix;
  twice.elements[0] = twice.elements[1];
  EXPECT_EQ(refused_as(twice, {}, {}), ErrorKind::bad_shape);
}

/// A fit of given order to 2 ports of a passive network, before and after refitting.
struct Refitting {
  Options options;
  Network network;
  Fit fit;
  PassiveFit alone;  // with the same poles
  PassiveFit refitted;
  int fitted_again = 0;  // relocations and steps of polishing

  Refitting(std::uint64_t seed, std::size_t poles, std::size_t samples, char parameter,
            const std::vector<Complex>& starting_poles = {}, bool polish = true)
      : network(passive_networks::passive_network(seed, 2, samples, parameter)) {
    options.complex_pairs = poles / 2;
    options.real_poles = poles % 2;
    options.starting_poles = starting_poles;
    const NetworkData data = network.data();
    fit = polefit::fit(data, options);
    alone = made_passive(fit, data, *network.matrix);
    options.polish = polish;  // else poles stay, and there is more reason for other orders
    options.progress = [this](const Progress&) { return ++fitted_again > 0; };
    refitted = made_passive_by_refitting(fit, data, *network.matrix, options);
  }
  Refitting(const Refitting&) = delete;  // its options know where it is
  Refitting& operator=(const Refitting&) = delete;

  /// Whether passivity costs so much that other orders are tried.
  bool is_costly() const {
    const double before = alone.enforcement.error_before;
    return alone.enforcement.error_after > std::max(1.05 * before, before + 1e-8);
  }
};

/// Networks of ten states: the poles beyond are led by rounding alone, and may stand where nothing but a
/// large change makes them passive.
TEST(PassiveRefitting, finds_fewer_poles_where_those_serve) {
  // Fits of 10 to 19 poles have errors of up to 1.6e-13, which is rounding; measured: 8.4e-15 and 3.5e-15.
  constexpr double of_rounding = 1e-12;
  for (const std::uint64_t seed : {14U, 51U}) {
    const Refitting made(seed, 20, 200, 'S');
    ASSERT_LE(made.alone.enforcement.error_before, of_rounding) << seed;
    ASSERT_GE(made.alone.enforcement.error_after, 1e-4) << seed;  // measured: 5.5e-4 and 8.8e-3
    EXPECT_LE(made.refitted.enforcement.error_after, of_rounding) << seed;
    EXPECT_LT(made.refitted.fit.model.poles.size(), 20U) << seed;
    EXPECT_TRUE(passivity(made.refitted.fit.model).passive) << seed;
  }
}

TEST(PassiveRefitting, room_poles_never_make_the_order_larger_than_was_asked_for) {
  std::size_t with_room = 0;
  for (const auto& [seed, poles] : {std::pair{16U, 20U}, std::pair{13U, 24U}}) {
    const Refitting made(seed, poles, 150, 'S', {}, false);
    EXPECT_LE(made.refitted.fit.model.poles.size(), poles) << seed;
    with_room += made.refitted.enforcement.room_pairs > 0 ? 1 : 0;
  }
  EXPECT_GT(with_room, 0U);  // else nothing was tested
}

TEST(PassiveRefitting, gives_up_four_poles_first) {
  const Refitting made(7, 20, 150, 'S', {}, false);
  ASSERT_TRUE(made.is_costly());
  EXPECT_EQ(made.refitted.fit.model.poles.size(), 16U);
}

TEST(PassiveRefitting, pairs_alone_may_be_followed_by_an_odd_order) {
  for (const std::uint64_t seed : {10U, 13U}) {
    const Refitting made(seed, 12, 150, 'S', {}, false);
    ASSERT_TRUE(made.is_costly()) << seed;
    EXPECT_EQ(made.refitted.fit.model.poles.size(), 9U) << seed;  // three quarters
  }
}

/// Of the orders that are tried here the last are worse than the first.
TEST(PassiveRefitting, takes_the_least_error_of_all_that_was_tried) {
  for (const auto& [seed, poles] : {std::pair{16U, 20U}, std::pair{13U, 24U}, std::pair{21U, 13U}}) {
    const Refitting made(seed, poles, 150, 'S', {}, false);
    ASSERT_GT(made.fitted_again, 0) << seed;
    EXPECT_LE(made.refitted.enforcement.error_after, made.alone.enforcement.error_after) << seed;
    EXPECT_EQ(made.refitted.fit.report.errors.front().rms,
              errors(made.refitted.fit.model, made.network.data()).front().rms)
        << seed;
  }
}

TEST(PassiveRefitting, nothing_is_fitted_again_where_passivity_costs_nothing) {
  const Refitting made(0, 20, 200, 'S');
  ASSERT_FALSE(made.is_costly());
  EXPECT_EQ(made.fitted_again, 0);
  EXPECT_EQ(made.refitted.fit.model.poles, made.fit.model.poles);
  EXPECT_EQ(made.refitted.fit.model.residues, made.alone.fit.model.residues);
}

TEST(PassiveRefitting, starting_poles_that_were_given_are_not_given_up) {
  const double top = numerics::two_pi * passive_networks::passive_network(21, 2, 150, 'S').frequencies.back();
  std::vector<Complex> starting_poles;
  for (int i = 0; i < 6; ++i) {
    const Complex pole = top * (i + 0.5) / 6.0 * Complex(-0.01, 1.0);
    starting_poles.insert(starting_poles.end(), {pole, std::conj(pole)});
  }
  const Refitting made(21, 12, 150, 'S', starting_poles);
  ASSERT_TRUE(made.is_costly());
  EXPECT_EQ(made.fitted_again, 0);
  EXPECT_EQ(made.refitted.fit.model.poles.size(), made.fit.model.poles.size());
  EXPECT_EQ(made.refitted.fit.model.residues,
            made_passive(made.fit, made.network.data(), *made.network.matrix, {.move_poles = true})
                .fit.model.residues);
}

/// Poles move as far as the options of the fit permit to polish them.
TEST(PassiveRefitting, poles_stay_where_they_are_not_to_be_polished) {
  Refitting made(21, 12, 150, 'S', {}, false);
  made.options.starting_poles = {Complex(-1.0, 0.0)};
  const PassiveFit found =
      made_passive_by_refitting(made.fit, made.network.data(), *made.network.matrix, made.options);
  EXPECT_EQ(found.fit.model.poles, made.fit.model.poles);
  EXPECT_GT(found.enforcement.error_after, 1.05 * found.enforcement.error_before);
}

TEST(PassiveRefitting, the_fit_that_was_given_is_told_whichever_was_taken) {
  const Refitting made(14, 20, 200, 'S');
  ASSERT_LT(made.refitted.fit.model.poles.size(), 20U);
  EXPECT_EQ(made.refitted.first.order, 20U);
  EXPECT_EQ(made.refitted.first.error, made.alone.enforcement.error_before);
  EXPECT_NE(made.refitted.first.error, made.refitted.enforcement.error_before);
  EXPECT_EQ(made.alone.first.order, 20U);
  EXPECT_EQ(made.alone.first.error, made.alone.enforcement.error_before);
}

TEST(PassiveRefitting, a_callback_that_ends_it_is_not_asked_again) {
  for (const int last : {1, 2, 3}) {
    // Data far above 1: every order is worth another one.
    Network network = amplified(passive_networks::passive_network(13, 2, 200, 'S'), 1.5);
    Options options;
    options.complex_pairs = 12;
    const Fit fit = polefit::fit(network.data(), options);
    int calls = 0;
    options.progress = [&](const Progress&) { return ++calls < last; };
    const PassiveFit found = made_passive_by_refitting(fit, network.data(), *network.matrix, options);
    EXPECT_EQ(calls, last);
    EXPECT_EQ(found.fit.report.reason, StopReason::cancelled) << last;
    EXPECT_TRUE(passivity(found.fit.model).passive) << last;
  }
}

TEST(PassiveRefitting, refuses_poles_that_need_not_be_stable) {
  Refitting made(0, 20, 200, 'S');
  made.options.stable = false;
  try {
    made_passive_by_refitting(made.fit, made.network.data(), *made.network.matrix, made.options);
    ADD_FAILURE() << "not refused";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::bad_option);
  }
}

/// Of a model that was passive, of one that was corrected, and of one that was fitted again.
TEST(PassiveRefitting, the_model_has_the_record_of_its_passivity) {
  for (const std::uint64_t seed : {0U, 3U, 14U}) {
    const Refitting made(seed, 20, 200, 'S');
    ASSERT_FALSE(made.fit.model.passivity) << seed;
    const std::optional<CertifiedPassivity>& record = made.refitted.fit.model.passivity;
    ASSERT_TRUE(record) << seed;
    const Passivity found = passivity(made.refitted.fit.model);
    EXPECT_TRUE(record->passive) << seed;
    EXPECT_EQ(record->passive, found.passive) << seed;
    EXPECT_EQ(record->tolerance, found.tolerance) << seed;
    EXPECT_EQ(record->extreme, found.extreme) << seed;
    EXPECT_EQ(record->frequency, found.frequency) << seed;
  }
}

}  // namespace
}  // namespace polefit
