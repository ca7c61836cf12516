#include "polefit/passivity.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "independent_passivity.hpp"
#include "numerics/angular_frequency.hpp"
#include "passivity_models.hpp"
#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/hamiltonian.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using passivity_models::all_pass_residues;
using passivity_models::matrix_model;
using passivity_models::random_model;
using testing_support::address_space_is_ours;
using testing_support::Complex;
using testing_support::infinity;
using testing_support::quiet_nan;
using testing_support::RandomNumbers;

/// Whether the measure is above the limit anywhere between crossings, before and behind them.
bool exceeds_between(const ScaledModel& model, const std::vector<double>& crossings, double limit) {
  std::vector<double> places{0.0};
  for (std::size_t i = 0; i < crossings.size(); ++i) {
    places.push_back(0.5 * (crossings[i] + (i == 0 ? 0.0 : crossings[i - 1])));
  }
  places.push_back(crossings.empty() ? 1.0 : 2.0 * crossings.back());
  return std::any_of(places.begin(), places.end(),
                     [&](double place) { return measure_at(model, place) > limit; });
}

TEST(Certificate, agrees_with_the_hamiltonian_on_random_models) {
  int passive = 0;
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    const bool scattering = seed % 3 != 0;
    RandomNumbers numbers(seed + 7777);
    const double away = 0.1 * numbers();
    const ScaledModel model = scaled_model(random_model(seed, scattering, (scattering ? 1.0 : 0.0) + away));
    const double limit = scattering ? 1.0 : 0.0;
    const std::optional<std::vector<double>> crossings = hamiltonian_crossings(model, limit);
    ASSERT_TRUE(crossings) << seed;
    const bool exceeds = exceeds_between(model, *crossings, limit);
    const Certificate certificate = certify(model, limit, Thoroughness::yes_or_no);
    EXPECT_TRUE(certificate.decided) << seed;
    EXPECT_EQ(certificate.holds, !exceeds) << seed << " " << away;
    EXPECT_EQ(certify(model, limit, Thoroughness::intervals).holds, !exceeds) << seed;
    if (certificate.witness) {
      EXPECT_GT(measure_at(model, *certificate.witness), limit) << seed;
    }
    passive += certificate.holds ? 1 : 0;
  }
  // Both happen often enough for the agreement to mean something.
  EXPECT_GT(passive, 300);
  EXPECT_LT(passive, 700);
}

TEST(Certificate, no_sample_of_a_model_for_which_it_holds_is_above_the_limit) {
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const bool scattering = seed % 3 != 0;
    // So near to the limit that a resonance missed by the bound would show.
    const ScaledModel model = scaled_model(random_model(seed, scattering, (scattering ? 1.0 : 0.0) - 1e-4));
    const double limit = scattering ? 1.0 : 0.0;
    ASSERT_TRUE(certify(model, limit, Thoroughness::yes_or_no).holds) << seed;
    for (int i = -300; i <= 600; ++i) {
      EXPECT_LE(measure_at(model, std::pow(10.0, 0.01 * i)), limit) << seed;
    }
  }
}

TEST(Certificate, takes_no_more_pieces_than_some_minutes_allow) {
  ScaledModel model;
  model.poles.resize(40);
  for (const auto& [ports, pieces] :
       {std::pair{1U, 100000U}, std::pair{20U, 100000U}, std::pair{245U, 2000U}}) {
    model.ports = ports;
    EXPECT_EQ(affordable_pieces(model), pieces) << ports;
  }
  model.ports = 83;  // a piece is some 13 ms: in between
  EXPECT_GT(affordable_pieces(model), 2000U);
  EXPECT_LT(affordable_pieces(model), 10000U);
  // And those are looked at that are allowed.
  const ScaledModel flat = scaled_model(matrix_model('S', 1, {-1.0}, {1e-17}, {1.0}));
  EXPECT_EQ(certify(flat, 1.0, Thoroughness::yes_or_no).pieces, 100000U);
  EXPECT_EQ(certify(flat, 1.0, Thoroughness::yes_or_no, 100).pieces, 100U);
}

/// Two ports with a series element: what both have in common passes without losses, and the difference is
/// reflected by resonances whose largest value is 1 - `loss`, or conducted by resonances and a conductance of
/// that size, all there is at infinity.
Model series_element(std::uint64_t seed, bool scattering, double loss) {
  RandomNumbers numbers(seed);
  std::vector<Complex> poles;
  std::vector<Complex> of_difference;
  const int pairs = 1 + numbers.below(4);
  for (int i = 0; i < pairs; ++i) {
    const double omega = i + numbers.between(0.7, 1.3);
    const Complex pole{-omega * std::pow(10.0, numbers.between(-5.0, -1.0)), omega};
    poles.insert(poles.end(), {pole, std::conj(pole)});
    const double size = scattering ? numbers() : numbers.between(0.1, 1.0);
    of_difference.insert(of_difference.end(), 2, std::abs(pole.real()) * size);
  }
  if (scattering) {
    const ScaledModel alone = scaled_model(matrix_model('S', 1, poles, of_difference, {0.0}));
    const double largest = Scan(alone).certified_largest(100000).measure;
    for (Complex& residue : of_difference) {
      residue *= (1.0 - loss) / largest;
    }
  }
  std::vector<Complex> residues;
  std::vector<double> constants;
  for (const double sign : {1.0, -1.0, -1.0, 1.0}) {
    for (const Complex residue : of_difference) {
      residues.push_back(0.5 * sign * residue);
    }
    constants.push_back(0.5 * (scattering ? 1.0 : sign * loss));
  }
  return matrix_model(scattering ? 'S' : 'Y', 2, poles, residues, constants);
}

TEST(Certificate, a_direction_without_losses_takes_few_pieces_whatever_others_do) {
  for (std::uint64_t seed = 0; seed < 400; ++seed) {
    const bool scattering = seed % 2 == 0;
    RandomNumbers numbers(seed + 99);
    // Larger than the tolerance by more than what the largest value is certified to.
    const double size = std::pow(10.0, numbers.between(-7.5, -1.0));
    const double loss = seed % 4 < 2 ? size : -size;
    const ScaledModel model = scaled_model(series_element(seed, scattering, loss));
    const Certificate found = certify(model, scattering ? 1.0 + 1e-9 : 1e-9, Thoroughness::yes_or_no);
    EXPECT_TRUE(found.decided) << seed;
    EXPECT_EQ(found.holds, loss > 0.0) << seed << " " << loss;
    EXPECT_LT(found.pieces, 5000U) << seed;  // 100000 where norms alone count
  }
}

TEST(Certificate, judges_admittances_by_the_norm_of_their_values_where_that_is_wanted) {
  int holding = 0;
  int other = 0;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    ScaledModel model = scaled_model(random_model(seed, false, seed % 2 == 0 ? 0.05 : -0.01));
    const double by_scale = Scan(model).largest().measure;
    model.by_norm = true;
    const double largest = Scan(model).largest().measure;
    other += std::abs(largest - by_scale) > 0.1 * std::abs(by_scale) ? 1 : 0;
    for (const double away : {-0.2, -0.01, 0.01, 0.2}) {
      const double limit = largest + away * std::abs(largest);
      const Certificate certificate = certify(model, limit, Thoroughness::yes_or_no);
      if (away > 0.0 || certificate.witness) {
        EXPECT_EQ(certificate.holds, away > 0.0) << seed << " " << away;
      }
      EXPECT_TRUE(certificate.decided || certificate.witness) << seed << " " << away;
      if (certificate.witness) {
        EXPECT_GT(measure_at(model, *certificate.witness), limit) << seed;
      }
      const Certificate all = certify(model, limit, Thoroughness::intervals);
      EXPECT_EQ(all.violating.empty(), certificate.holds) << seed << " " << away;
      holding += certificate.holds ? 1 : 0;
    }
  }
  EXPECT_EQ(holding, 400);
  EXPECT_GT(other, 20);  // else by the scale would do as well
}

/// A parallel resonance of quality 5e11, whose height is as many times what it is beside it.
TEST(Passivity, what_is_active_beside_a_resonance_does_not_pass_for_its_height) {
  const Complex pole{-1e-12, 1.0};
  const std::vector<Complex> poles{pole, std::conj(pole)};
  for (const char parameter : {'Y', 'Z'}) {
    const Passivity lossless = passivity(matrix_model(parameter, 1, poles, {0.5, 0.5}, {0.0}));
    EXPECT_TRUE(lossless.passive) << parameter;
    const Passivity active = passivity(matrix_model(parameter, 1, poles, {0.5, 0.5}, {-1e-6}));
    EXPECT_FALSE(active.passive) << parameter;
    EXPECT_TRUE(active.decided) << parameter;
    // The resonance itself adds to the real part, by a part in 1e12 of the square of the distance.
    EXPECT_NEAR(active.extreme, -1e-6, 1e-11) << parameter;
    ASSERT_FALSE(active.violations.empty()) << parameter;
    EXPECT_EQ(active.violations.front().lowest, 0.0) << parameter;
    EXPECT_EQ(active.violations.back().highest, infinity) << parameter;
  }
}

TEST(Passivity, intervals_of_violation_end_at_the_crossings_of_the_hamiltonian) {
  std::size_t compared = 0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    const Model model = random_model(seed, true, 1.05);
    const Passivity found = passivity(model);
    const ScaledModel scaled = scaled_model(model);
    const std::optional<std::vector<double>> crossings = hamiltonian_crossings(scaled, 1.0 + found.tolerance);
    ASSERT_TRUE(crossings) << seed;
    EXPECT_FALSE(found.passive) << seed;
    EXPECT_NEAR(found.extreme, 1.05, 1e-9) << seed;
    std::vector<double> ends;
    for (const Violation& violation : found.violations) {
      EXPECT_LE(violation.lowest, violation.frequency) << seed;
      EXPECT_GE(violation.highest, violation.frequency) << seed;
      EXPECT_GT(violation.worst, 1.0) << seed;
      ends.push_back(violation.lowest);
      ends.push_back(violation.highest);
    }
    for (const double end : ends) {
      if (end > 0.0 && end < infinity) {
        const double omega = end * numerics::two_pi / scaled.unit;
        const auto nearest = std::min_element(crossings->begin(), crossings->end(), [&](double a, double b) {
          return std::abs(a - omega) < std::abs(b - omega);
        });
        ASSERT_NE(nearest, crossings->end()) << seed;
        EXPECT_NEAR(omega, *nearest, 3e-6 * omega)
            << seed;  // the resolution of the pieces, and of their gaps
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 100U);
}

/// The largest measure of frequencies that are dense over an interval and about every resonance.
double largest_of_many(const ScaledModel& model, double lowest, double highest) {
  constexpr int even = 2000;
  constexpr int about_a_pole = 400;
  constexpr double widths = 4.0;
  std::vector<double> omegas;
  for (int i = 0; i <= even; ++i) {
    omegas.push_back(lowest + (highest - lowest) * i / even);
  }
  for (const Complex pole : model.poles) {
    for (int i = -about_a_pole; i <= about_a_pole; ++i) {
      omegas.push_back(pole.imag() - pole.real() * widths * i / about_a_pole);
    }
  }
  double largest = -infinity;
  for (const double omega : omegas) {
    largest = omega >= lowest && omega <= highest ? std::max(largest, measure_at(model, omega)) : largest;
  }
  return largest;
}

/// Resonances that turn the phase of each port by another angle, so that the ports' largest conductances lie
/// beside each other in nearly the same height.
Model twin_peaks(std::uint64_t seed) {
  RandomNumbers numbers(seed);
  const int pairs = 1 + numbers.below(3);
  std::vector<Complex> poles;
  std::vector<Complex> residues(static_cast<std::size_t>(8 * pairs));
  for (int i = 0; i < pairs; ++i) {
    const double omega = 1.0 + 0.2 * i;
    const Complex pole{-omega * std::pow(10.0, numbers.between(-4.0, -1.0)), omega};
    poles.insert(poles.end(), {pole, std::conj(pole)});
    for (const int port : {0, 1}) {
      const Complex residue =
          std::polar(std::abs(pole.real()) * numbers.between(0.9, 1.1), numbers.between(-2.0, 2.0));
      const auto place = static_cast<std::size_t>(port * 6 * pairs + 2 * i);
      residues[place] = -residue;
      residues[place + 1] = -std::conj(residue);
    }
  }
  return matrix_model('Y', 2, poles, residues, {0.1, 0.0, 0.0, 0.1});
}

TEST(Passivity, the_worst_value_of_an_interval_is_the_largest_of_all_its_peaks) {
  const std::size_t models = address_space_is_ours ? 600 : 60;
  std::size_t compared = 0;
  for (std::uint64_t seed = 0; seed < models; ++seed) {
    const bool scattering = seed % 3 == 0;
    const Model model = seed % 3 == 2 ? random_model(seed, scattering, 0.3)
                        : scattering  ? random_model(seed, scattering, 1.5)
                                      : twin_peaks(seed);
    const ScaledModel scaled = scaled_model(model);
    for (const Violation& violation : passivity(model).violations) {
      if (std::isinf(violation.highest)) {
        continue;
      }
      const auto omega = [&](double hertz) { return hertz * numerics::two_pi / scaled.unit; };
      const double told = scattering ? violation.worst : -violation.worst / scaled.scale;
      const double seen = largest_of_many(scaled, omega(violation.lowest), omega(violation.highest));
      EXPECT_GE(told, seen - 1e-9 * std::abs(seen)) << seed << " " << (seen - told) / seen;
      ++compared;
    }
  }
  EXPECT_GT(compared, models);
}

TEST(Passivity, of_peaks_that_differ_by_a_hundred_thousandth_the_larger_one_is_told) {
  // Re(e^(j phi) / (1 + j x)) is at most (1 + cos(phi)) / 2, at x = tan(phi / 2): between places, where the
  // lower peak of the other port is at one.
  constexpr double damping = 1e-6;
  constexpr double phi = 0.3;
  const double size = 2.0 * (1.0 + 1e-5) / (1.0 + std::cos(phi));
  const Complex turned(-damping, 1.0);
  const Complex plain(-damping, 2.0);
  const Complex residue = -damping * std::polar(size, phi);
  std::vector<Complex> residues(16);
  residues[0] = residue;
  residues[1] = std::conj(residue);
  residues[14] = residues[15] = -damping;
  const Passivity found = passivity(matrix_model('Y', 2, {turned, std::conj(turned), plain, std::conj(plain)},
                                                 residues, {-0.1, 0.0, 0.0, -0.1}));
  ASSERT_EQ(found.violations.size(), 1U);
  EXPECT_NEAR(found.violations[0].frequency * numerics::two_pi, 1.0, 1e-6);
  EXPECT_NEAR(found.violations[0].worst, -1.1 - 1e-5, 1e-6);  // of which the conjugate pole has some 1e-7
}

TEST(Passivity, lossless_networks_pass_and_those_above_by_more_than_the_tolerance_do_not) {
  for (const double excess : {0.0, 1e-12, 1e-10}) {
    EXPECT_TRUE(passivity(matrix_model('S', 2, {}, {}, {0.0, 1.0 + excess, 1.0 + excess, 0.0})).passive)
        << excess;
  }
  EXPECT_FALSE(passivity(matrix_model('S', 2, {}, {}, {0.0, 1.0 + 1e-8, 1.0 + 1e-8, 0.0})).passive);
  // An ideal transformer of 1 to 3.
  EXPECT_TRUE(passivity(matrix_model('S', 2, {}, {}, {-0.8, 0.6, 0.6, 0.8})).passive);
  // All-pass functions: the product of (s + a*) / (s - a).
  std::vector<Complex> poles;
  for (int i = 1; i <= 10; ++i) {
    const Complex pole(-0.02 * i, 0.3 * i);
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  const Passivity all_pass = passivity(matrix_model('S', 1, poles, all_pass_residues(poles), {1.0}));
  EXPECT_TRUE(all_pass.passive);
  EXPECT_NEAR(all_pass.extreme, 1.0, 1e-12);
  EXPECT_LT(all_pass.pieces, 500U);  // it has no curvature
}

TEST(Passivity, models_that_touch_the_limit_within_the_tolerance_pass) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    EXPECT_TRUE(passivity(random_model(seed, true, 1.0 + 1e-12)).passive) << seed;
    EXPECT_FALSE(passivity(random_model(seed, true, 1.0 + 1e-8)).passive) << seed;
  }
}

TEST(Passivity, a_constant_with_a_singular_value_of_1_is_no_obstacle) {
  const std::vector<double> constants{1.0, 0.0, 0.0, -0.5};
  // |1 - 0.1 / (1 + s)| is below 1 up to infinity, |1 + 0.1 / (1 + s)| above.
  EXPECT_TRUE(passivity(matrix_model('S', 2, {-1.0}, {-0.1, 0.0, 0.0, 0.1}, constants)).passive);
  const Passivity above = passivity(matrix_model('S', 2, {-1.0}, {0.1, 0.0, 0.0, 0.1}, constants));
  EXPECT_FALSE(above.passive);
  ASSERT_EQ(above.violations.size(), 1U);
  EXPECT_NEAR(above.violations[0].worst, 1.1, 1e-12);
  EXPECT_EQ(above.violations[0].frequency, 0.0);
}

TEST(Passivity, resonances_between_samples_and_poles_far_away_are_seen) {
  // A resonance of a width of 1e-5 beside a smooth term.
  const Complex narrow(-1e-5, 0.6);
  const Passivity spike =
      passivity(matrix_model('S', 1, {narrow, std::conj(narrow), -1.0}, {1.02e-5, 1.02e-5, 0.1}, {0.0}));
  EXPECT_FALSE(spike.passive);
  EXPECT_NEAR(spike.frequency * numerics::two_pi, 0.6, 1e-5);
  // A pole far away whose value cancels that of the constant over the band.
  EXPECT_TRUE(passivity(matrix_model('S', 1, {-6e7, -1.0}, {5.4e7, 0.1}, {-0.3})).passive);
  EXPECT_FALSE(passivity(matrix_model('S', 1, {-6e7, -1.0}, {5.4e7, 0.6}, {-0.3})).passive);
  EXPECT_TRUE(passivity(matrix_model('S', 1, {-1e9, -1.0}, {0.0, 0.5}, {0.4})).passive);
}

TEST(Passivity, an_interval_that_begins_gently_is_found_without_end_of_pieces) {
  // |d - 0.5 / (1 + s)|^2 = d^2 - (d - 0.25) / (1 + omega^2), with a pole far beyond in place of d. So near
  // to the limit it hides in rounding over a ten-thousandth of the frequency.
  constexpr double above = 1e-11;
  constexpr double far = 1e13;
  const double d = 1.0 + 1e-9 + above;
  const Passivity found = passivity(matrix_model('S', 1, {-1.0, -far}, {-0.5, far * d}, {0.0}));
  EXPECT_FALSE(found.passive);
  EXPECT_LT(found.pieces, 2000U);
  ASSERT_EQ(found.violations.size(), 1U);
  const double lowest = found.violations.front().lowest * numerics::two_pi;
  const double highest = found.violations.back().highest * numerics::two_pi;
  EXPECT_NEAR(lowest / std::sqrt(0.75 / (2.0 * above)), 1.0, 1e-2);  // where the squares are told by 1e-13
  EXPECT_NEAR(highest / (far * std::sqrt(2.0 * above)), 1.0, 1e-2);
}

/// Two pairs of poles beside each other, whose residues nearly cancel: of this size where the largest value
/// of all is `top`.
Model cancelling_model(double distance, double top) {
  const Complex p(-0.1, 1.0);
  const Complex q = p * (1.0 + distance);
  Model model = matrix_model('S', 1, {p, std::conj(p), q, std::conj(q)}, {1.0, 1.0, -1.0, -1.0}, {0.0});
  const double found = independent::worst_measure(model, 1.0).measure;
  for (Complex& residue : model.residues) {
    residue *= top / found;
  }
  return model;
}

TEST(Passivity, the_hamiltonian_decides_where_bounds_on_rounding_do_not) {
  // Residues of 2e9: what rounding could do, at worst, is as much as is left below 1.
  const Model model = cancelling_model(5e-11, 1.0 - 1e-6);
  const Passivity found = passivity(model);
  EXPECT_TRUE(found.passive);
  EXPECT_TRUE(found.decided);
  EXPECT_EQ(found.method, PassivityMethod::hamiltonian);
  EXPECT_EQ(found.violations.size(), 0U);
  // With residues of 2e7 it is the certificate.
  const Passivity sound = passivity(cancelling_model(5e-9, 1.0 - 1e-6));
  EXPECT_TRUE(sound.passive);
  EXPECT_EQ(sound.method, PassivityMethod::certificate);
  // A resonance in less than any piece, above 1 by more than the tolerance.
  const Complex pole(-1e-11, 1.0);
  const double residue = 1e-11 * (1.0 + 1e-8);
  const Passivity sharp = passivity(matrix_model('S', 1, {pole, std::conj(pole)}, {residue, residue}, {0.0}));
  EXPECT_FALSE(sharp.passive);
  EXPECT_TRUE(sharp.decided);
  EXPECT_EQ(sharp.method, PassivityMethod::hamiltonian);
  ASSERT_EQ(sharp.violations.size(), 1U);
  EXPECT_NEAR(sharp.violations[0].worst, 1.0 + 1e-8, 1e-12);
  EXPECT_LT(sharp.violations[0].lowest, sharp.violations[0].frequency);
  EXPECT_GT(sharp.violations[0].highest, sharp.violations[0].frequency);
}

TEST(Passivity, what_rounding_hides_from_both_is_left_undecided) {
  const Passivity flat = passivity(matrix_model('S', 1, {-1.0}, {1e-17}, {1.0 + 1e-9}));
  EXPECT_FALSE(flat.passive);
  EXPECT_FALSE(flat.decided);
  EXPECT_EQ(flat.method, PassivityMethod::certificate);
  // Crossings that may be touches: a resonance as sharp as rounding of its frequency, and below 1.
  const Complex pole(-1e-14, 1.0);
  const Passivity sharp =
      passivity(matrix_model('S', 1, {pole, std::conj(pole)}, {0.99e-14, 0.99e-14}, {0.0}));
  EXPECT_FALSE(sharp.passive);
  EXPECT_FALSE(sharp.decided);
}

TEST(Passivity, lossless_networks_of_several_ports_pass_at_all_their_frequencies) {
  // Q diag(all-pass functions) Q^T with an orthogonal Q: S^H S = I everywhere, and D too.
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    RandomNumbers numbers(seed);
    const auto ports = static_cast<std::size_t>(1 + numbers.below(5));
    const std::vector<double> v = numbers.values(static_cast<int>(ports));
    double square = 0.0;
    for (const double element : v) {
      square += element * element;
    }
    std::vector<Complex> poles;
    std::vector<std::vector<Complex>> of_port;
    for (std::size_t port = 0; port < ports; ++port) {
      std::vector<Complex> own;
      for (int i = 0; i < 3; ++i) {
        const double omega = numbers.between(0.2, 2.0);
        own.emplace_back(-omega * numbers.between(0.01, 0.3), omega);
        own.push_back(std::conj(own.back()));
      }
      of_port.push_back(all_pass_residues(own));
      poles.insert(poles.end(), own.begin(), own.end());
    }
    const auto q = [&](std::size_t i, std::size_t j) {
      return (i == j ? 1.0 : 0.0) - 2.0 * v[i] * v[j] / square;
    };
    for (const double excess : {0.0, 1e-8}) {
      std::vector<Complex> residues;
      std::vector<double> constants;
      for (std::size_t i = 0; i < ports; ++i) {
        for (std::size_t j = 0; j < ports; ++j) {
          double constant = 0.0;
          for (std::size_t port = 0; port < ports; ++port) {
            const double share = (1.0 + excess) * q(i, port) * q(j, port);
            constant += share;
            for (const Complex residue : of_port[port]) {
              residues.push_back(share * residue);
            }
          }
          constants.push_back(constant);
        }
      }
      const Passivity found = passivity(matrix_model('S', ports, poles, residues, constants));
      EXPECT_EQ(found.passive, excess == 0.0) << seed;
      EXPECT_TRUE(found.decided) << seed;
      EXPECT_NEAR(found.extreme, 1.0 + excess, 2e-9) << seed;
    }
  }
}

TEST(Passivity, a_resonance_narrower_than_rounding_of_its_frequency_does_not_pass) {
  for (const double damping : {1e-15, 1e-17, 1e-20, 1e-75}) {
    const Complex pole(-damping, 1.0);
    const double residue = 2.0 * damping;
    const std::vector<Complex> poles{pole, std::conj(pole)};
    EXPECT_FALSE(passivity(matrix_model('S', 1, poles, {residue, residue}, {0.0})).passive) << damping;
    EXPECT_FALSE(passivity(matrix_model('Y', 1, poles, {-residue, -residue}, {1.0})).passive) << damping;
    // Beside the end of one of the first pieces.
    const Complex beside(-damping, 1.0 / 3.0 - 1e-17);
    EXPECT_FALSE(passivity(matrix_model('Y', 1, {beside, std::conj(beside)}, {-1.0, -1.0}, {1.0})).passive)
        << damping;
  }
}

TEST(Passivity, admittances_and_impedances_that_are_active_by_little_do_not_pass) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    for (const char parameter : {'Y', 'Z'}) {
      for (const double top : {-1e-4, 1e-4}) {
        Model model = random_model(seed, false, top);
        model.network->parameter = parameter;
        EXPECT_EQ(passivity(model).passive, top < 0.0) << seed << parameter << top;
      }
    }
  }
}

TEST(Passivity, terms_proportional_to_s_have_to_be_those_of_a_capacitance_or_inductance) {
  const Complex pole(-0.1, 1.0);
  const auto circuit = [&](double capacitance) {
    return matrix_model('Y', 1, {pole, std::conj(pole)}, {0.5, 0.5}, {0.0}, {capacitance});
  };
  EXPECT_TRUE(passivity(circuit(1e-3)).passive);
  EXPECT_FALSE(passivity(circuit(-1e-3)).passive);
  EXPECT_EQ(passivity(circuit(-1e-3)).proportional_fault,
            "the terms proportional to s have a negative eigenvalue");
  const std::vector<double> unit{1.0, 0.0, 0.0, 1.0};
  EXPECT_TRUE(passivity(matrix_model('Z', 2, {}, {}, unit, {1.0, 0.1, 0.1, 1.0})).passive);
  EXPECT_EQ(passivity(matrix_model('Z', 2, {}, {}, unit, {1.0, 0.1, 0.0, 1.0})).proportional_fault,
            "the terms proportional to s are not symmetric");
  EXPECT_EQ(passivity(matrix_model('S', 1, {}, {}, {0.0}, {1e-12})).proportional_fault,
            "S grows with the frequency");
}

TEST(PassivityCurve, of_a_one_port_is_the_modulus_or_the_real_part) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    RandomNumbers numbers(seed);
    const double omega = numbers.between(0.5, 2.0);
    const Complex pole(-numbers.between(0.01, 1.0), omega);
    const Complex residue = numbers.complex();
    Model model = matrix_model('S', 1, {pole, std::conj(pole)}, {residue, std::conj(residue)}, {numbers()});
    const std::vector<double> frequencies{0.3, 0.0, -0.2, infinity};
    const std::vector<Complex> values = evaluate(model, std::span(frequencies).first(3));
    // A few roundings of each term.
    const double rounding =
        32.0 * testing_support::eps * (std::abs(model.constants[0]) + 2.0 * std::abs(residue / pole.real()));
    const std::vector<double> moduli = passivity_curve(model, frequencies);
    ASSERT_EQ(moduli.size(), 4U);
    for (std::size_t k = 0; k < values.size(); ++k) {
      EXPECT_NEAR(moduli[k], std::abs(values[k]), rounding) << seed;
    }
    EXPECT_NEAR(moduli[3], std::abs(model.constants[0]), rounding) << seed;
    for (const char parameter : {'Y', 'Z'}) {
      model.network->parameter = parameter;
      model.proportionals = {7.0};  // adds nothing to the real part
      const std::vector<double> real_parts = passivity_curve(model, frequencies);
      for (std::size_t k = 0; k < values.size(); ++k) {
        EXPECT_NEAR(real_parts[k], values[k].real(), rounding) << seed;
      }
      EXPECT_NEAR(real_parts[3], model.constants[0], rounding) << seed;
      model.proportionals = {0.0};
    }
  }
}

TEST(PassivityCurve, of_two_ports_is_the_value_of_the_matrix) {
  // [[0, 2], [1, 0]] has the singular values 2 and 1, and a Hermitian part with the eigenvalues -1.5 and 1.5.
  const std::vector<double> constants{0.0, 2.0, 1.0, 0.0};
  const std::vector<double> somewhere{1.0};
  EXPECT_NEAR(passivity_curve(matrix_model('S', 2, {}, {}, constants), somewhere)[0], 2.0, 1e-15);
  EXPECT_NEAR(passivity_curve(matrix_model('Z', 2, {}, {}, constants), somewhere)[0], -1.5, 1e-15);
  EXPECT_TRUE(passivity_curve(matrix_model('S', 2, {}, {}, constants), {}).empty());
}

TEST(PassivityCurve, reaches_the_extreme_value_where_that_is_and_goes_no_further) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    const Model model = random_model(seed, seed % 3 != 0, seed % 3 != 0 ? 1.05 : 0.05);
    const Passivity found = passivity(model);
    std::vector<double> frequencies{found.frequency};
    for (int i = 0; i < 500; ++i) {
      frequencies.push_back(0.001 * i);
    }
    const std::vector<double> curve = passivity_curve(model, frequencies);
    const double sign = model.network->parameter == 'S' ? 1.0 : -1.0;
    // The frequency in hertz is rounded, which is 1e-12 of the width of a resonance with a damping of 1e-4.
    const double size = std::max(scaled_model(model).scale, std::abs(found.extreme));
    const double rounding = 1e-11 * size;
    EXPECT_NEAR(curve[0], found.extreme, rounding) << seed;
    for (const double value : curve) {
      // What is certified to be the largest is so to a part in a billion.
      EXPECT_LE(sign * value, sign * found.extreme + 1e-9 * size) << seed;
    }
  }
}

TEST(PassivityCurve, of_what_is_no_stable_matrix_is_refused) {
  Model model = matrix_model('S', 1, {-1.0}, {0.5}, {0.0});
  const std::vector<double> somewhere{1.0};
  model.poles = {1.0};
  EXPECT_THROW(static_cast<void>(passivity_curve(model, somewhere)), Error);
  model.poles = {-1.0};
  model.network.reset();
  EXPECT_THROW(static_cast<void>(passivity_curve(model, somewhere)), Error);
}

TEST(Passivity, of_what_is_no_stable_matrix_is_refused) {
  Model model = matrix_model('S', 1, {-1.0}, {0.5}, {0.0});
  EXPECT_NO_THROW(static_cast<void>(passivity(model)));
  model.poles = {1.0};
  EXPECT_THROW(static_cast<void>(passivity(model)), Error);
  model.poles = {-1.0};
  model.residues = {quiet_nan};
  EXPECT_THROW(static_cast<void>(passivity(model)), Error);
  for (const double extreme : {1e-300, 1e150}) {
    model.poles = {-1.0, -extreme};
    model.residues = {0.5, 0.5 * extreme};
    EXPECT_THROW(static_cast<void>(passivity(model)), Error) << extreme;
  }
  model.poles = {-1.0};
  model.residues = {1e200};
  EXPECT_THROW(static_cast<void>(passivity(model)), Error);
  model.residues = {0.5};
  model.network.reset();
  EXPECT_THROW(static_cast<void>(passivity(model)), Error);
  // Squares of these vanish, and with them what is active.
  EXPECT_THROW(static_cast<void>(passivity(matrix_model('Y', 1, {-1.0}, {0.5e-300}, {-1e-300}))), Error);
  EXPECT_FALSE(passivity(matrix_model('Y', 1, {-1.0}, {0.5e-90}, {-1e-90})).passive);
  EXPECT_TRUE(passivity(matrix_model('Y', 1, {}, {}, {0.0})).passive);
}

TEST(Passivity, a_shallow_violation_of_poles_over_eighteen_decades_is_found) {
  // Made passive once, and told to be: 1e-7 of the value is lost at 28 MHz, of which the eigenvalues tell
  // nothing.
  Model model;
  model.poles = {{-2596145791.497019, 0.0},
                 {-759066867.7805424, 0.0},
                 {-3142.7404085194157, 295680.9000801105},
                 {-3142.7404085194157, -295680.9000801105},
                 {-166595.41414965253, 0.0},
                 {-27241.664138652504, 208739.17417278182},
                 {-27241.664138652504, -208739.17417278182},
                 {-1.428993833216997e-09, 0.0}};
  const std::vector<std::complex<double>> first = {{6166783848.058777, 0.0},
                                                   {-1806454495.2552795, 0.0},
                                                   {828.3356946493963, 121.20353775733241},
                                                   {828.3356946493963, -121.20353775733241},
                                                   {0.09272596999380767, 0.0},
                                                   {334.3096706692045, -83.00892199143439},
                                                   {334.3096706692045, 83.00892199143439},
                                                   {-6.617641837142336e-13, 0.0}};
  const std::vector<std::complex<double>> between = {{-8398747317.661316, 0.0},
                                                     {2462098950.076538, 0.0},
                                                     {-165.29475864848035, 111.7619494831762},
                                                     {-165.29475864848035, -111.7619494831762},
                                                     {6.088252779472896, 0.0},
                                                     {544.9013701921216, 42.39976398541114},
                                                     {544.9013701921216, -42.39976398541114},
                                                     {6.456394284902544e-13, 0.0}};
  const std::vector<std::complex<double>> second = {{11434929947.43454, 0.0},
                                                    {-3355607704.8422966, 0.0},
                                                    {11.14024194412923, -46.23435005430147},
                                                    {11.14024194412923, 46.23435005430147},
                                                    {399.1151426737006, 0.0},
                                                    {799.1826292441403, 336.65393495293654},
                                                    {799.1826292441403, -336.65393495293654},
                                                    {-6.299073808609763e-13, 0.0}};
  for (const auto& residues : {first, between, between, second}) {
    model.residues.insert(model.residues.end(), residues.begin(), residues.end());
  }
  model.constants = {0.004504358519217216, -0.008494397918024456, -0.008494397918024456, 0.01604240915771374};
  model.proportionals.assign(4, 0.0);
  model.network = NetworkMatrix{'Y', {50.0, 50.0}, all_elements(2)};
  model.origin = Origin{
      .lowest = 0.0, .highest = 51757.83409401638, .samples = 5, .errors = std::vector<ResponseError>(4)};
  const Passivity found = passivity(model);
  EXPECT_FALSE(found.passive);
  ASSERT_EQ(found.violations.size(), 1U);
  const Violation& violation = found.violations.front();
  EXPECT_LT(violation.worst, 0.0);
  const long double omega =
      2.0L * std::numbers::pi_v<long double> * static_cast<long double>(violation.frequency);
  EXPECT_GT(independent::measure_at(model, omega), 5e-8L);  // above the tolerance of 1e-9 of a value of 0.5
}

}  // namespace
}  // namespace polefit
