#include "polefit/enforcement.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "enforcement_cases.hpp"
#include "independent_passivity.hpp"
#include "passive_networks.hpp"
#include "polefit/error.hpp"
#include "polefit/fit.hpp"
#include "polefit/order_search.hpp"
#include "polefit/passivity/scaled_model.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using enforcement_cases::band;
using enforcement_cases::Case;
using enforcement_cases::disturb;
using enforcement_cases::exact;
using enforcement_cases::random_case;
using enforcement_cases::symmetric_case;
using passivity_models::matrix_model;
using testing_support::address_space_is_ours;
using testing_support::Complex;
using testing_support::eps;
using testing_support::quiet_nan;
using testing_support::RandomNumbers;

bool scattering(const Model& model) { return model.network->parameter == 'S'; }

bool same(const Model& a, const Model& b) {
  return a.poles == b.poles && a.residues == b.residues && a.constants == b.constants &&
         a.proportionals == b.proportionals;
}

/// That the library and the tests' own code find a model passive, to what passivity() permits.
void expect_passive(const Model& model, double band_top, std::uint64_t seed) {
  const Passivity told = passivity(model);
  EXPECT_TRUE(told.passive) << seed;
  const double size = scattering(model) ? 1.0 : scaled_model(model).scale;
  const double limit = (scattering(model) ? 1.0 : 0.0) + told.tolerance * size;
  EXPECT_LE(independent::worst_measure(model, band_top).measure, limit) << seed;
}

double highest(const Case& made) {
  return *std::max_element(made.frequencies.begin(), made.frequencies.end());
}

/// The weighted error as the report means it, by sums over the samples.
double direct_error(const Model& model, const Case& made) {
  const std::vector<Complex> values = evaluate(model, made.frequencies);
  const std::size_t m = made.frequencies.size();
  double sum = 0.0;
  double of_data = 0.0;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    double differences = 0.0;
    double squares = 0.0;
    for (std::size_t i = r * m; i < (r + 1) * m; ++i) {
      const double weight = made.weights.empty()       ? 1.0
                            : made.weights.size() == m ? made.weights[i - r * m]
                                                       : made.weights[i];
      differences += std::norm(weight * (values[i] - made.values[i]));
      squares += std::norm(weight * made.values[i]);
    }
    sum += made.weights.empty() ? differences / squares : differences;
    of_data += made.weights.empty() ? 1.0 : squares;
  }
  return std::sqrt(sum / of_data);
}

/// What rounding does to sums of the partial fractions of a model, relative to data of the size of 1: a few
/// eps of what each is at most.
double rounding_of(const Model& model) {
  double most = 0.0;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    double sum = std::abs(model.constants[r]);
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      sum += std::abs(model.residues_of(r)[i] / model.poles[i].real());
    }
    most = std::max(most, sum);
  }
  return 10.0 * static_cast<double>(model.poles.size() + 1) * eps * most;
}

template <class Call>
std::optional<ErrorKind> refused_as(const Call& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.kind();
  }
  return std::nullopt;
}

TEST(Enforcement, passive_models_come_back_to_the_bit) {
  std::vector<Case> cases;
  for (std::uint64_t seed = 0; seed < 12; ++seed) {
    cases.push_back(random_case(seed, seed % 2 == 0, seed % 2 == 0 ? 0.99 : -1e-3, 1e-2));
  }
  // Without losses, and above 1 by what rounding makes.
  cases.push_back(exact(matrix_model('S', 2, {}, {}, {0.0, 1.0, 1.0, 0.0}), band(20, 0.0, 1.0)));
  cases.push_back(
      exact(matrix_model('S', 2, {}, {}, {0.0, 1.0 + 1e-10, 1.0 + 1e-10, 0.0}), band(20, 0.0, 1.0)));
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Enforcement found = enforce_passivity(cases[i].model, cases[i].data());
    EXPECT_TRUE(same(found.model, cases[i].model)) << i;
    EXPECT_EQ(found.report.remedy, Remedy::none) << i;
    EXPECT_EQ(found.report.rounds, 0U) << i;
    EXPECT_EQ(found.report.room_pairs, 0U) << i;
    EXPECT_EQ(found.report.error_after, found.report.error_before) << i;
    EXPECT_TRUE(found.report.passivity.passive) << i;
  }
}

TEST(Enforcement, makes_models_passive_at_every_frequency) {
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    const bool of_s = seed % 3 != 0;
    const double above = seed % 2 == 0 ? 0.3 : 0.003;
    const Case made = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + above, seed % 4 < 2 ? 1e-3 : 0.0);
    const Enforcement found = enforce_passivity(made.model, made.data(), {.most_room_pairs = seed % 7});
    EXPECT_NE(found.report.remedy, Remedy::none) << seed;
    EXPECT_EQ(found.report.passivity.passive, passivity(found.model).passive) << seed;
    EXPECT_EQ(found.report.passivity.extreme, passivity(found.model).extreme) << seed;
    expect_passive(found.model, highest(made), seed);
    polefit::check(found.model);  // conjugates are exact
  }
}

TEST(Enforcement, poles_stay_and_room_poles_stand_behind_them) {
  std::size_t with_room = 0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const Case made = random_case(seed, true, 1.3, 1e-4);
    const std::size_t order = made.model.poles.size();
    for (const std::size_t most : {0U, 2U, 6U}) {
      const Enforcement found = enforce_passivity(made.model, made.data(), {.most_room_pairs = most});
      ASSERT_EQ(found.model.poles.size(), order + 2 * found.report.room_pairs) << seed;
      EXPECT_LE(found.report.room_pairs, most) << seed;
      EXPECT_TRUE(std::equal(made.model.poles.begin(), made.model.poles.end(), found.model.poles.begin()))
          << seed;
      with_room += found.report.room_pairs > 0 ? 1 : 0;
      for (std::size_t i = order; i < found.model.poles.size(); ++i) {
        EXPECT_GT(std::abs(found.model.poles[i]), numerics::two_pi * highest(made)) << seed;
      }
    }
  }
  EXPECT_GT(with_room, 0U);
}

/// Three ports by a smooth response of seven poles, which fixed ones leave five times as far from the data.
TEST(Enforcement, poles_move_where_they_may_and_the_error_would_grow) {
  int moved = 0;
  for (const std::uint64_t seed : {12U, 78U, 24U}) {
    const Network network = passive_networks::passive_network(seed, 2 + seed % 11, 300, 'S');
    const Model model = fit_to_error(network, {}).fit.model;
    const Enforcement fixed = enforce_passivity(model, network.data());
    const Enforcement found = enforce_passivity(model, network.data(), {.move_poles = true});
    EXPECT_EQ(fixed.report.moves, 0U) << seed;
    EXPECT_EQ(fixed.model.poles, model.poles) << seed;
    EXPECT_GT(fixed.report.error_after, 1.2 * fixed.report.error_before) << seed;
    EXPECT_GT(found.report.moves, 0U) << seed;
    EXPECT_LE(found.report.error_after, 1.2 * found.report.error_before) << seed;
    ASSERT_EQ(found.model.poles.size(), model.poles.size()) << seed;
    EXPECT_EQ(found.report.remedy, Remedy::nearest) << seed;
    expect_passive(found.model, network.frequencies.back(), seed);
    moved += found.model.poles != model.poles ? 1 : 0;
  }
  EXPECT_EQ(moved, 3);
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    // What shrinking does costs less than 5 per cent.
    const Case made = random_case(seed, true, 1.0 + 1e-5, 1e-2);
    const Enforcement found = enforce_passivity(made.model, made.data(), {.move_poles = true});
    EXPECT_EQ(found.report.moves, 0U) << seed;
    EXPECT_EQ(found.model.poles, made.model.poles) << seed;
  }
}

/// A coil between two ports with a resonance between each and the ground, fitted to six digits.
TEST(Enforcement, resonances_without_losses_keep_what_they_are) {
  const Complex pole{-1e-11, 1.0};
  const std::vector<Complex> poles{-1e-11, pole, std::conj(pole)};
  const auto of_residues = [&](double off, double angle) {
    std::vector<Complex> residues;
    for (const double sign : {1.0, -1.0, -1.0, 1.0}) {
      const Complex residue = 0.5 * (sign > 0.0 ? Complex(1.0 - off, angle) : Complex(1.0, 0.0));
      residues.insert(residues.end(), {sign * 0.2, residue, std::conj(residue)});
    }
    return matrix_model('Y', 2, poles, residues, {0.0, 0.0, 0.0, 0.0});
  };
  Case made = exact(of_residues(0.0, 0.0), band(200, 0.05, 3.0));
  EXPECT_TRUE(passivity(made.model).passive);
  made.model = of_residues(1e-6, 2e-6);
  EXPECT_FALSE(passivity(made.model).passive);
  const Enforcement found = enforce_passivity(made.model, made.data(), {.move_poles = true});
  EXPECT_TRUE(found.report.passivity.passive);
  EXPECT_LE(found.report.error_before, 1e-5);
  // It is given 1e-8, of a modulus of 1, and moves a little from there; the data's 1e-11 are a thousandth.
  EXPECT_GE(-found.model.poles[1].real(), 0.5e-8);
  // A damping of 1e-8 changes the value at a distance of 1.2e-3 from a resonance, which is nearly all of the
  // data, by 8e-6 of that.
  EXPECT_LE(found.report.error_after, 2.0 * found.report.error_before + 1e-5);
}

TEST(Enforcement, ends_no_farther_from_the_data_than_nothing_is) {
  for (const auto& [seed, poles] : {std::pair{23U, 13U}, std::pair{2U, 12U}, std::pair{24U, 13U}}) {
    const Network network = passive_networks::passive_network(seed, 2, 150, 'Y');
    Options options;
    options.complex_pairs = poles / 2;
    options.real_poles = poles % 2;
    Model model = fit(network, options).model;
    const Enforcement found = enforce_passivity(model, network.data());
    EXPECT_TRUE(found.report.passivity.passive) << seed;
    EXPECT_LE(found.report.error_after, 1.0 + 1e-12) << seed;
  }
}

TEST(Enforcement, no_small_change_of_poles_that_were_moved_is_much_better) {
  for (const std::uint64_t seed : {12U, 78U, 24U}) {
    const Network network = passive_networks::passive_network(seed, 2 + seed % 11, 300, 'S');
    const Model model = fit_to_error(network, {}).fit.model;
    const Enforcement found = enforce_passivity(model, network.data(), {.move_poles = true});
    RandomNumbers numbers(seed);
    for (int i = 0; i < 10; ++i) {
      Model changed = found.model;
      for (Complex& pole : changed.poles) {
        const Complex by = 3e-2 * pole.real() * numbers.complex();
        pole += pole.imag() == 0.0 ? by.real() : pole.imag() > 0.0 ? by : 0.0;
      }
      for (std::size_t k = 1; k < changed.poles.size(); ++k) {
        if (changed.poles[k].imag() < 0.0) {
          changed.poles[k] = std::conj(changed.poles[k - 1]);
        }
      }
      const Enforcement other = enforce_passivity(changed, network.data());
      // Moves end where they gain 2 per cent, three times, and each error is within 1 per cent.
      EXPECT_GE(other.report.error_after, 0.93 * found.report.error_after) << seed;
    }
  }
}

TEST(Enforcement, poles_without_residues_keep_their_places) {
  Case made = random_case(1, true, 1.2, 1e-3);
  const std::size_t order = made.model.poles.size();
  Model larger = made.model;
  larger.poles.insert(larger.poles.begin(), {Complex(-1.0, 7.0), Complex(-1.0, -7.0)});
  larger.residues.clear();
  for (std::size_t r = 0; r < made.model.responses(); ++r) {
    larger.residues.insert(larger.residues.end(), 2, 0.0);
    const auto own = made.model.residues_of(r);
    larger.residues.insert(larger.residues.end(), own.begin(), own.end());
  }
  const Enforcement plain = enforce_passivity(made.model, made.data());
  const Enforcement found = enforce_passivity(larger, made.data());
  EXPECT_EQ(found.model.poles, larger.poles);
  ASSERT_EQ(found.model.residues.size(), larger.residues.size());
  for (std::size_t r = 0; r < larger.responses(); ++r) {
    const auto with = found.model.residues_of(r);
    EXPECT_EQ(with[0], 0.0);
    EXPECT_EQ(with[1], 0.0);
    EXPECT_EQ(with.size(), order + 2);
  }
  expect_passive(found.model, highest(made), 0);
  EXPECT_NEAR(found.report.error_after, plain.report.error_after,
              0.02 * plain.report.error_after);  // each is
                                                 // within 1 %
}

TEST(Enforcement, symmetric_models_stay_symmetric_to_the_bit) {
  int active = 0;
  for (std::uint64_t seed = 0; seed < 24; ++seed) {
    const bool of_s = seed % 3 != 0;
    Case made = symmetric_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.2, 1e-3);
    const std::size_t n = made.model.network->ports();
    if (n > 1 && seed % 2 == 0) {
      made.model.constants[1] *= 1.0 + 1e-13;  // becomes exactly symmetric
    }
    const Enforcement found =
        enforce_passivity(made.model, made.data(), {.move_poles = seed % 4 < 2, .most_room_pairs = 2});
    if (found.report.remedy == Remedy::none) {
      continue;
    }
    active += n > 1 ? 1 : 0;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        EXPECT_EQ(found.model.constants[i * n + j], found.model.constants[j * n + i]) << seed;
        EXPECT_TRUE(
            std::ranges::equal(found.model.residues_of(i * n + j), found.model.residues_of(j * n + i)))
            << seed;
      }
    }
  }
  EXPECT_GT(active, 8);
}

/// In long double.
Complex value_at_zero(const Model& model, std::size_t r) {
  std::complex<long double> sum = model.constants[r];
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    sum -= std::complex<long double>(model.residues_of(r)[i]) / std::complex<long double>(model.poles[i]);
  }
  return {static_cast<double>(sum.real()), static_cast<double>(sum.imag())};
}

TEST(Enforcement, keeps_the_value_at_zero_or_refuses_where_that_is_active) {
  int kept = 0;
  int moved = 0;
  int refused = 0;
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    const bool of_s = seed % 3 != 0;
    const Case made = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.1, 1e-3);
    const double size = of_s ? 1.0 : scaled_model(made.model).scale;
    const bool possible = independent::measure_at(made.model, 0.0L) <= (of_s ? 1.0 : 0.0) * size;
    const EnforcementOptions options{
        .move_poles = seed % 4 < 2, .most_room_pairs = 2 * (seed % 2), .keep_value_at_zero = true};
    if (!possible) {
      EXPECT_EQ(refused_as([&] { enforce_passivity(made.model, made.data(), options); }),
                ErrorKind::bad_option)
          << seed;
      ++refused;
      continue;
    }
    const Enforcement found = enforce_passivity(made.model, made.data(), options);
    expect_passive(found.model, highest(made), seed);
    for (std::size_t r = 0; r < made.model.responses(); ++r) {
      // The constant is what the partial fractions leave, each rounded.
      EXPECT_LE(std::abs(value_at_zero(found.model, r) - value_at_zero(made.model, r)),
                rounding_of(found.model) + rounding_of(made.model))
          << seed;
    }
    kept += found.report.remedy == Remedy::nearest ? 1 : 0;
    moved += found.report.moves > 0 ? 1 : 0;
  }
  EXPECT_GT(kept, 5);
  EXPECT_GT(moved, 0);
  EXPECT_GT(refused, 2);
}

TEST(Enforcement, keeps_a_value_at_zero_that_touches_the_limit) {
  // 1 at 0 Hz exactly, and above it beyond the band.
  const Complex pole{-0.2, 1.2};
  const Complex residue{0.25, 0.06};
  const double rest = 1.0 - 2.0 * (residue / -pole).real();
  const Case made =
      exact(matrix_model('S', 1, {pole, std::conj(pole)}, {residue, std::conj(residue)}, {rest}),
            band(50, 0.0, 1.0));
  ASSERT_FALSE(passivity(made.model).passive);
  const Enforcement found = enforce_passivity(made.model, made.data(), {.keep_value_at_zero = true});
  expect_passive(found.model, highest(made), 0);
  EXPECT_NEAR(value_at_zero(found.model, 0).real(), 1.0, rounding_of(found.model) + rounding_of(made.model));
}

TEST(Enforcement, terms_proportional_to_s_become_the_nearest_symmetric_ones_without_negative_eigenvalues) {
  // A coil, a capacitor and a resistor in series, and a negative capacitance beside them.
  const double damping = 0.1;
  const Complex pole{-damping, std::sqrt(1.0 - damping * damping)};
  // s / (s^2 + 2 damping s + 1)
  const Complex residue = pole / (pole - std::conj(pole));
  const std::vector<Complex> poles{pole, std::conj(pole)};
  Case one = exact(matrix_model('Y', 1, poles, {residue, std::conj(residue)}, {0.0}), band(60, 0.0, 2.0));
  one.model.proportionals[0] = -1e-3;
  const Enforcement of_one = enforce_passivity(one.model, one.data());
  EXPECT_EQ(of_one.model.proportionals[0], 0.0);
  EXPECT_EQ(of_one.model.residues, one.model.residues);
  // What touches 0 is lifted a little, in units of the value at resonance.
  EXPECT_NEAR(of_one.model.constants[0], 0.0, 1e-8 * 0.5 / damping);
  expect_passive(of_one.model, highest(one), 1);

  const std::vector<Complex> pair{residue, std::conj(residue)};
  std::vector<Complex> residues;
  for (const double part : {1.0, -0.5, -0.5, 1.0}) {
    residues.push_back(part * pair[0]);
    residues.push_back(part * pair[1]);
  }
  const std::vector<double> symmetric_part{1.0, 0.05, 0.05, 1.0};
  Case two =
      exact(matrix_model('Y', 2, poles, residues, {0.1, 0.0, 0.0, 0.1}, symmetric_part), band(60, 0.0, 2.0));
  two.model.proportionals = {1.0, 0.1, 0.0, 1.0};
  const Enforcement of_two = enforce_passivity(two.model, two.data());
  EXPECT_EQ(of_two.model.proportionals, symmetric_part);
  EXPECT_EQ(of_two.model.residues, two.model.residues);
  for (std::size_t r = 0; r < 4; ++r) {
    EXPECT_NEAR(of_two.model.constants[r], two.model.constants[r], 1e-8 * 0.5 / damping) << r;
  }
  expect_passive(of_two.model, highest(two), 2);

  // [[1, 2], [2, 1]] has the eigenvalues 3 and -1: half of 3 in each element is left.
  Case indefinite = two;
  indefinite.model.proportionals = {1.0, 2.5, 1.5, 1.0};
  const Enforcement cut = enforce_passivity(indefinite.model, indefinite.data());
  for (const double value : cut.model.proportionals) {
    EXPECT_NEAR(value, 1.5, 30.0 * eps);  // two eigenvectors of a matrix of norm 3
  }
  expect_passive(cut.model, highest(two), 3);
}

TEST(Enforcement, scattering_matrices_lose_their_terms_proportional_to_s) {
  Case made = random_case(4, true, 0.9, 1e-3);
  made.model.proportionals[0] = 1e-3;
  const Enforcement found = enforce_passivity(made.model, made.data());
  EXPECT_EQ(found.model.proportionals, std::vector<double>(made.model.responses(), 0.0));
  expect_passive(found.model, highest(made), 0);
}

TEST(Enforcement, the_report_tells_the_errors_of_the_models) {
  for (std::uint64_t seed = 0; seed < 24; ++seed) {
    const bool of_s = seed % 3 != 0;
    Case made = seed % 2 == 0 ? random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.1, 1e-3)
                              : symmetric_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.1, 1e-3);
    if (seed % 8 >= 6) {
      disturb(made, 1e-2, seed + 5);  // data that are not symmetric
    }
    RandomNumbers numbers(seed + 3);
    const std::size_t m = made.frequencies.size();
    if (seed % 4 == 1) {
      for (std::size_t k = 0; k < m; ++k) {
        made.weights.push_back(std::exp2(2.0 * numbers()));
      }
    } else if (seed % 4 == 2) {
      for (std::size_t r = 0; r < made.model.responses(); ++r) {
        made.weights.insert(made.weights.end(), m, std::exp2(2.0 * numbers()));
      }
    }
    const Enforcement found = enforce_passivity(made.model, made.data(), {.most_room_pairs = 2 * (seed % 2)});
    const EnforcementReport& report = found.report;
    const std::vector<ResponseError> before = errors(made.model, made.data());
    const std::vector<ResponseError> after = errors(found.model, made.data());
    ASSERT_EQ(report.errors_before.size(), before.size());
    ASSERT_EQ(report.errors_after.size(), after.size());
    for (std::size_t r = 0; r < before.size(); ++r) {
      EXPECT_EQ(report.errors_before[r].rms, before[r].rms) << seed;
      EXPECT_EQ(report.errors_before[r].relative, before[r].relative) << seed;
      EXPECT_EQ(report.errors_before[r].largest, before[r].largest) << seed;
      EXPECT_EQ(report.errors_after[r].rms, after[r].rms) << seed;
      EXPECT_EQ(report.errors_after[r].relative, after[r].relative) << seed;
      EXPECT_EQ(report.errors_after[r].largest, after[r].largest) << seed;
    }
    // Relative to the least response.
    const double rounding = 100.0 * (rounding_of(made.model) + rounding_of(found.model));
    EXPECT_NEAR(report.error_before, direct_error(made.model, made), rounding) << seed;
    EXPECT_NEAR(report.error_after, direct_error(found.model, made), rounding) << seed;
    if (report.remedy == Remedy::nearest) {
      EXPECT_GT(report.rounds, 0U) << seed;
    }
  }
}

TEST(Enforcement, the_origin_of_a_model_tells_its_new_errors) {
  Case made = random_case(2, true, 1.2, 1e-3);
  made.model.origin =
      Origin{0.0, highest(made), made.frequencies.size(), errors(made.model, made.data()), "found"};
  const Enforcement found = enforce_passivity(made.model, made.data());
  ASSERT_TRUE(found.model.origin);
  EXPECT_EQ(found.model.origin->finding, "found");
  EXPECT_EQ(found.model.origin->errors.front().rms, found.report.errors_after.front().rms);
  EXPECT_NE(found.model.origin->errors.front().rms, found.report.errors_before.front().rms);
}

TEST(Enforcement, refuses_what_cannot_be_made_passive_and_data_of_something_else) {
  const Case made = random_case(3, true, 1.2, 1e-3);
  ASSERT_GT(made.model.responses(), 1U);
  const auto with = [&](const auto& change) {
    Case changed = made;
    change(changed);
    return refused_as([&] { enforce_passivity(changed.model, changed.data()); });
  };
  EXPECT_EQ(with([](Case&) {}), std::nullopt);
  EXPECT_EQ(with([](Case& c) { c.model.network.reset(); }), ErrorKind::bad_shape);
  EXPECT_EQ(with([](Case& c) { c.model.network->elements[0] = c.model.network->elements[1]; }),
            ErrorKind::bad_shape);
  EXPECT_EQ(with([](Case& c) {
              for (Complex& pole : c.model.poles) {
                pole = {-pole.real(), pole.imag()};
              }
            }),
            ErrorKind::bad_shape);
  EXPECT_EQ(with([](Case& c) { c.model.constants[0] = quiet_nan; }), ErrorKind::bad_shape);
  EXPECT_EQ(with([](Case& c) { c.model.constants[0] = 1e200; }), ErrorKind::bad_shape);
  EXPECT_EQ(with([](Case& c) { c.values[0] = quiet_nan; }), ErrorKind::bad_sample);
  EXPECT_EQ(with([](Case& c) { c.frequencies[0] = -1.0; }), ErrorKind::bad_frequency);
  EXPECT_EQ(with([](Case& c) { c.weights = {1.0, 2.0}; }), ErrorKind::bad_shape);
  const Case other = exact(matrix_model('S', 1, {}, {}, {1.2}), made.frequencies);
  EXPECT_EQ(refused_as([&] { enforce_passivity(made.model, other.data()); }), ErrorKind::bad_shape);
  EXPECT_EQ(refused_as([&] { enforce_passivity(other.model, made.data()); }), ErrorKind::bad_shape);
}

TEST(Enforcement, ends_with_a_passive_model_whatever_the_data) {
  std::vector<Case> cases;
  for (std::uint64_t seed = 0; seed < (address_space_is_ours ? 2 : 1); ++seed) {
    const bool of_s = seed % 2 == 0;
    const Case plain = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.2, 0.0);
    Case far = plain;
    for (Complex& value : far.values) {
      value *= -1e3;
    }
    cases.push_back(far);
    Case zeros = plain;
    std::fill(zeros.values.begin(), zeros.values.end(), 0.0);
    cases.push_back(zeros);
    cases.push_back(exact(plain.model, band(1, 0.0, 2.0)));
    cases.push_back(exact(plain.model, {0.0}));
    cases.push_back(exact(plain.model, std::vector<double>(7, 0.3)));
    Case backwards = plain;
    std::reverse(backwards.frequencies.begin(), backwards.frequencies.end());
    cases.push_back(backwards);
    Case hidden = plain;
    hidden.weights.assign(hidden.frequencies.size(), 0.0);
    hidden.weights[5] = 1.0;
    cases.push_back(hidden);
  }
  for (const char parameter : {'S', 'Y', 'Z'}) {
    cases.push_back(
        exact(matrix_model(parameter, 1, {}, {}, {parameter == 'S' ? -1.2 : -0.1}), band(5, 0.0, 1.0)));
    cases.push_back(exact(matrix_model(parameter, 2, {}, {}, {-1.0, 2.0, 0.0, -1.0}), band(5, 0.0, 1.0)));
    // A wide and a narrow resonance 14 decades apart.
    cases.push_back(
        exact(matrix_model(parameter, 1, {-1e-7, -1e7}, {-2e-7, -3e7}, {0.5}), band(9, 0.0, 1.0)));
  }
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Enforcement found = enforce_passivity(cases[i].model, cases[i].data(), {.most_room_pairs = 6});
    EXPECT_TRUE(found.report.passivity.passive) << i;
    expect_passive(found.model, std::max(highest(cases[i]), 0.1), i);
    EXPECT_TRUE(std::isfinite(found.report.error_after)) << i;
  }
}

/// A model and its data in other units, of frequency and of value.
Case in_units(const Case& made, double hertz, double value) {
  Case scaled = made;
  for (double& frequency : scaled.frequencies) {
    frequency *= hertz;
  }
  for (Complex& sample : scaled.values) {
    sample *= value;
  }
  for (Complex& pole : scaled.model.poles) {
    pole *= hertz;
  }
  for (Complex& residue : scaled.model.residues) {
    residue = residue * hertz * value;
  }
  for (double& constant : scaled.model.constants) {
    constant *= value;
  }
  return scaled;
}

TEST(Enforcement, powers_of_two_as_units_of_frequency_and_admittance_change_nothing_else) {
  for (std::uint64_t seed = 0; seed < 6; ++seed) {
    const bool of_s = seed % 2 == 0;
    const Case made = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.1, 1e-3);
    const Enforcement plain = enforce_passivity(made.model, made.data());
    for (const auto& [hertz, value] :
         {std::pair{0x1p30, 1.0}, std::pair{0x1p-300, 1.0}, std::pair{0x1p600, 1.0}, std::pair{1.0, 0x1p-20},
          std::pair{1.0, 0x1p20}}) {
      if (of_s && value != 1.0) {
        continue;
      }
      const Case scaled = in_units(made, hertz, value);
      const Enforcement found = enforce_passivity(scaled.model, scaled.data());
      EXPECT_TRUE(found.report.passivity.passive) << seed;
      // Sums in other units are rounded alike; ends of searches are where the same numbers are.
      EXPECT_NEAR(found.report.error_after, plain.report.error_after, 0.02 * plain.report.error_after)
          << seed << " " << hertz << " " << value;
    }
  }
}

TEST(Enforcement, numbers_at_the_ends_of_the_range_are_refused_or_made_passive) {
  int made_passive = 0;
  for (std::uint64_t seed = 0; seed < 6; ++seed) {
    const bool of_s = seed % 2 == 0;
    const Case made = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.1, 1e-3);
    for (const double hertz : {1e-300, 1e-150, 1e150, 1e300}) {
      for (const double value : {1e-150, 1.0, 1e90, 1e150, 1e290}) {
        if (of_s && value == 1e90) {
          continue;
        }
        const Case scaled = in_units(made, hertz, value);
        if (value > 1e100 || (!of_s && value < 1e-100) || std::isinf(hertz * value)) {
          EXPECT_EQ(refused_as([&] { enforce_passivity(scaled.model, scaled.data()); }),
                    ErrorKind::bad_shape);
          continue;
        }
        const Enforcement found = enforce_passivity(scaled.model, scaled.data(), {.most_room_pairs = 2});
        EXPECT_TRUE(found.report.passivity.passive) << seed << " " << hertz << " " << value;
        EXPECT_TRUE(std::isfinite(found.report.error_after)) << seed << " " << hertz << " " << value;
        made_passive += found.report.remedy == Remedy::none ? 0 : 1;
      }
    }
  }
  EXPECT_GT(made_passive, 10);
}

TEST(Enforcement, weights_say_where_the_result_is_near_to_the_data) {
  for (std::uint64_t seed = 0; seed < 8; ++seed) {
    const Case made = random_case(seed + 2, true, 1.5, 1e-3);
    const std::size_t m = made.frequencies.size();
    const auto error_of = [&](const Model& model, std::size_t r, std::size_t first, std::size_t last) {
      const std::vector<Complex> values = evaluate(model, made.frequencies);
      double squares = 0.0;
      for (std::size_t k = first; k < last; ++k) {
        squares += std::norm(values[r * m + k] - made.values[r * m + k]);
      }
      return squares;
    };
    const auto over_all = [&](const Model& model, std::size_t first, std::size_t last) {
      double squares = 0.0;
      for (std::size_t r = 0; r < model.responses(); ++r) {
        squares += error_of(model, r, first, last);
      }
      return squares;
    };
    const auto with = [&](const std::vector<double>& weights) {
      Case weighed = made;
      weighed.weights = weights;
      return enforce_passivity(weighed.model, weighed.data()).model;
    };
    std::vector<double> lower(m, 0.01);
    std::fill_n(lower.begin(), m / 2, 1.0);
    std::vector<double> upper(lower.rbegin(), lower.rend());
    const Model low = with(lower);
    const Model high = with(upper);
    // What is least for one weight is not larger there than anything else; 4 per cent of a square for each
    // that is within 1 per cent.
    EXPECT_LE(over_all(low, 0, m / 2), 1.04 * over_all(high, 0, m / 2) + 1e-4 * over_all(high, m / 2, m))
        << seed;
    EXPECT_LE(over_all(high, m / 2, m), 1.04 * over_all(low, m / 2, m) + 1e-4 * over_all(low, 0, m / 2))
        << seed;
    if (made.model.responses() == 1) {
      continue;
    }
    std::vector<double> first(m * made.model.responses(), 0.01);
    std::fill_n(first.begin(), m, 1.0);
    std::vector<double> last(first.rbegin(), first.rend());
    const std::size_t end = made.model.responses() - 1;
    const Model of_first = with(first);
    const Model of_last = with(last);
    EXPECT_LT(error_of(of_first, 0, 0, m), error_of(of_last, 0, 0, m)) << seed;
    EXPECT_LT(error_of(of_last, end, 0, m), error_of(of_first, end, 0, m)) << seed;
  }
}

TEST(Enforcement, an_error_that_is_wanted_ends_it_sooner) {
  std::size_t plain = 0;
  std::size_t with_room = 0;
  for (std::uint64_t seed = 0; seed < 12; ++seed) {
    const Case made = random_case(seed, true, 1.3, 1e-3);
    const Enforcement strict = enforce_passivity(made.model, made.data(), {.most_room_pairs = 6});
    const Enforcement content =
        enforce_passivity(made.model, made.data(), {.most_room_pairs = 6, .error_wanted = 1.0});
    EXPECT_LE(content.report.rounds, strict.report.rounds) << seed;
    EXPECT_EQ(content.report.room_pairs, 0U) << seed;
    EXPECT_TRUE(content.report.passivity.passive) << seed;
    plain += content.report.rounds;
    with_room += strict.report.rounds;
  }
  EXPECT_LT(plain, with_room);
}

TEST(Enforcement, no_trial_begins_when_its_operations_are_used_up) {
  for (std::uint64_t seed = 0; seed < 6; ++seed) {
    const Case made = random_case(seed, true, 1.3, 1e-3);
    const Enforcement free = enforce_passivity(made.model, made.data());
    EXPECT_GT(free.report.rounds, 0U) << seed;
    EXPECT_GT(free.report.operations, 0.0) << seed;
    const Enforcement bound = enforce_passivity(made.model, made.data(), {.most_operations = 0.0});
    EXPECT_EQ(bound.report.operations, 0.0) << seed;
    EXPECT_EQ(bound.report.rounds, 0U) << seed;
    EXPECT_NE(bound.report.remedy, Remedy::nearest) << seed;
    expect_passive(bound.model, highest(made), seed);
  }
}

TEST(Enforcement, few_rounds_are_enough_for_a_passive_model) {
  for (std::uint64_t seed = 0; seed < 12; ++seed) {
    const bool of_s = seed % 3 != 0;
    const Case made = random_case(seed, of_s, (of_s ? 1.0 : 0.0) + 0.3, 1e-3);
    for (const std::size_t most : {0U, 1U, 3U}) {
      for (const bool keep : {false, true}) {
        if (keep && refused_as([&] {
              enforce_passivity(made.model, made.data(), {.keep_value_at_zero = true, .most_rounds = 0});
            })) {
          continue;
        }
        const Enforcement found =
            enforce_passivity(made.model, made.data(), {.keep_value_at_zero = keep, .most_rounds = most});
        EXPECT_TRUE(found.report.passivity.passive) << seed << " " << most << keep;
        EXPECT_LE(found.report.rounds, 3 * most) << seed;  // of three trials without room poles
      }
    }
  }
}

}  // namespace
}  // namespace polefit
