#include "polefit/time_response.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "linear_segments.hpp"
#include "matrix_model.hpp"
#include "numerics.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using passivity_models::matrix_model;
using testing_support::Complex;
using testing_support::infinity;
using testing_support::RandomNumbers;
using LongComplex = std::complex<long double>;

const Waveform step_of_1{{0.0}, {1.0}};

std::vector<double> response(const Model& model, const Waveform& excitation,
                             const std::vector<double>& times) {
  return time_response(model, std::vector<Waveform>{excitation}, times);
}

double largest(const std::vector<double>& values) {
  double most = 0.0;
  for (const double value : values) {
    most = std::max(most, std::abs(value));
  }
  return most;
}

double largest_difference(const std::vector<double>& a, const std::vector<double>& b) {
  EXPECT_EQ(a.size(), b.size());
  double most = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    most = std::max(most, std::abs(a[i] - b[i]));
  }
  return most;
}

void expect_follows(const std::vector<double>& found, const std::vector<double>& times,
                    const std::function<double(double)>& expected) {
  ASSERT_EQ(found.size(), times.size());
  for (std::size_t k = 0; k < times.size(); ++k) {
    EXPECT_NEAR(found[k], expected(times[k]), 1e-12) << "at " << times[k];
  }
}

/// The impedance of a resistor of 1 beside a capacitor of 0.5: pole -2, residue 2.
Model resistor_and_capacitor() { return matrix_model('Z', 1, {-2.0}, {2.0}, {0.0}); }

TEST(TimeResponse, a_step_charges_a_capacitor_beside_a_resistor) {
  const std::vector<double> times = even_times(0.05, 200);
  expect_follows(response(resistor_and_capacitor(), step_of_1, times), times,
                 [](double t) { return -std::expm1(-2.0 * t); });
}

TEST(TimeResponse, a_ramp_is_followed_and_its_end_too) {
  const std::vector<double> times = even_times(0.1, 100);
  const auto after_ramp = [](double t) { return t <= 0.0 ? 0.0 : t + 0.5 * std::expm1(-2.0 * t); };
  expect_follows(response(resistor_and_capacitor(), {{0.0, 3.0}, {0.0, 3.0}}, times), times,
                 [&](double t) { return after_ramp(t) - after_ramp(t - 3.0); });
}

TEST(TimeResponse, a_resonance_rings) {
  // Y of R = 0.4, L = 1, C = 1 in series: s / (s^2 + 0.4 s + 1).
  const double omega = std::sqrt(1.0 - 0.04);
  const Complex pole(-0.2, omega);
  const Complex residue = pole / (pole - std::conj(pole));
  const Model model = matrix_model('Y', 1, {pole, std::conj(pole)}, {residue, std::conj(residue)}, {0.0});
  const std::vector<double> times = even_times(0.07, 600);
  expect_follows(response(model, step_of_1, times), times,
                 [&](double t) { return std::exp(-0.2 * t) * std::sin(omega * t) / omega; });
}

TEST(TimeResponse, a_pole_at_zero_integrates_steps_and_ramps) {
  const Model capacitor = matrix_model('Z', 1, {0.0}, {4.0}, {0.0});
  const std::vector<double> times = even_times(0.125, 80);
  expect_follows(response(capacitor, step_of_1, times), times, [](double t) { return 4.0 * t; });
  expect_follows(response(capacitor, {{0.0, 10.0}, {0.0, 10.0}}, times), times,
                 [](double t) { return 2.0 * t * t; });
}

TEST(TimeResponse, a_term_proportional_to_s_gives_the_slope_behind_each_point) {
  const Model inductor = matrix_model('Z', 1, {}, {}, {0.5}, {3.0});
  const std::vector<double> times{-1.0, 0.0, 0.5, 1.0, 1.5, 2.0, 5.0};
  const std::vector<double> expected{0.0, 6.0, 6.5, 1.0 - 3.0, 0.75 - 3.0, 0.5, 0.5};
  EXPECT_EQ(response(inductor, {{0.0, 1.0, 2.0}, {0.0, 2.0, 1.0}}, times), expected);
}

TEST(TimeResponse, nothing_comes_before_the_first_point) {
  const std::vector<double> times{-2.0, -1e-9, 0.0, 1.0};
  const std::vector<double> found = response(matrix_model('S', 1, {-1.0}, {1.0}, {0.5}), step_of_1, times);
  EXPECT_EQ(found[0], 0.0);
  EXPECT_EQ(found[1], 0.0);
  EXPECT_EQ(found[2], 0.5);
  EXPECT_NEAR(found[3], 0.5 - std::expm1(-1.0), 1e-15);
  EXPECT_EQ(response(resistor_and_capacitor(), {}, times), std::vector<double>(4));
}

TEST(TimeResponse, a_jump_that_rounding_moved_behind_an_output_is_at_the_output) {
  const double later = 3.0 * 0.1;
  ASSERT_GT(later, 0.3);
  const Model model = matrix_model('S', 1, {-1.0}, {1.0}, {0.5});
  EXPECT_EQ(response(model, {{later}, {1.0}}, {0.3})[0], 0.5);
  EXPECT_EQ(response(model, {{0.3}, {1.0}}, {later})[0], 0.5);
}

TEST(TimeResponse, a_short_ramp_comes_near_a_step_as_half_its_time) {
  const std::vector<double> times{1.0, 2.0};
  const Model model = resistor_and_capacitor();
  const std::vector<double> exact = response(model, step_of_1, times);
  for (const double rise : {1e-3, 1e-6}) {
    const std::vector<double> found = response(model, {{0.0, rise}, {0.0, 1.0}}, times);
    for (std::size_t k = 0; k < times.size(); ++k) {
      // The step response half a rise earlier, to the second order in the rise.
      const double expected = exact[k] - 0.5 * rise * 2.0 * std::exp(-2.0 * times[k]);
      EXPECT_NEAR(found[k], expected, rise * rise + 1e-15);
    }
  }
}

/// The sum over all ramps and jumps that a waveform is made of, each in closed form and in long double: not a
/// recursion, and nothing is stepped. What ramps cancel of each other costs it 1e-19 times their slopes.
std::vector<double> superposed(const Model& model, const std::vector<Waveform>& excitations,
                               const std::vector<double>& times) {
  const WholeMatrix matrix = *whole_matrix(model.network);
  const std::size_t ports = matrix.ports();
  std::vector<double> result(ports * times.size());
  const auto exponential_sums = [](LongComplex a, long double t) {
    const linear_segments::Sums sums = linear_segments::sums(a * t);
    return std::pair(t * sums.phi1, t * t * sums.phi2);
  };
  for (std::size_t row = 0; row < ports; ++row) {
    for (std::size_t k = 0; k < times.size(); ++k) {
      long double sum = 0.0L;
      for (std::size_t column = 0; column < ports; ++column) {
        const std::size_t r = matrix.response(row, column);
        const Waveform& waveform = excitations[column];
        long double slope = 0.0L;
        long double value = 0.0L;  // extrapolated from the last point
        for (std::size_t i = 0; i < waveform.times.size() && waveform.times[i] <= times[k]; ++i) {
          const long double before =
              i == 0 ? 0.0L
                     : value + slope * (static_cast<long double>(waveform.times[i]) - waveform.times[i - 1]);
          const bool last = i + 1 == waveform.times.size();
          const long double next_slope =
              last || waveform.times[i + 1] == waveform.times[i]
                  ? 0.0L
                  : (static_cast<long double>(waveform.values[i + 1]) - waveform.values[i]) /
                        (static_cast<long double>(waveform.times[i + 1]) - waveform.times[i]);
          const long double jump = waveform.values[i] - before;
          const long double t = static_cast<long double>(times[k]) - waveform.times[i];
          for (std::size_t p = 0; p < model.poles.size(); ++p) {
            const LongComplex a(model.poles[p].real(), model.poles[p].imag());
            const Complex c = model.residues_of(r)[p];
            const auto [of_jump, of_ramp] = exponential_sums(a, t);
            sum +=
                (LongComplex(c.real(), c.imag()) * (jump * of_jump + (next_slope - slope) * of_ramp)).real();
          }
          value = waveform.values[i];
          slope = next_slope;
          if (last || waveform.times[i + 1] > times[k]) {
            sum += static_cast<long double>(model.constants[r]) * (value + slope * t) +
                   static_cast<long double>(model.proportionals[r]) * slope;
          }
        }
      }
      result[row * times.size() + k] = static_cast<double>(sum);
    }
  }
  return result;
}

Model random_model(RandomNumbers& numbers, std::size_t ports, char parameter, bool proportional) {
  std::vector<Complex> poles;
  const int pairs = 1 + numbers.below(6);
  for (int i = 0; i < pairs; ++i) {
    const double imaginary = numbers.between(0.1, 20.0);
    const Complex pole(-numbers.between(0.01, 3.0), imaginary);
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  for (int i = numbers.below(5); i > 0; --i) {
    poles.emplace_back(-std::pow(10.0, numbers.between(-3.0, 1.5)), 0.0);
  }
  std::vector<Complex> residues;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    for (const Complex pole : poles) {
      if (pole.imag() < 0.0) {
        residues.push_back(std::conj(residues.back()));
      } else {
        const Complex residue = numbers.complex();
        residues.push_back(pole.imag() == 0.0 ? Complex(residue.real()) : residue);
      }
    }
  }
  std::vector<double> constants = numbers.values(static_cast<int>(ports * ports));
  std::vector<double> proportionals =
      proportional ? numbers.values(static_cast<int>(ports * ports)) : std::vector<double>();
  return matrix_model(parameter, ports, poles, residues, constants, proportionals);
}

/// Up to thirty points between -1 and 9, with jumps where they are allowed.
Waveform random_waveform(RandomNumbers& numbers, bool jumping) {
  Waveform waveform;
  double time = numbers.between(-1.0, 1.0);
  for (int i = 0; i < 30 && time < 9.0; ++i) {
    waveform.times.push_back(time);
    waveform.values.push_back(i == 0 && !jumping ? 0.0 : numbers());
    const bool jump =
        jumping && i > 0 && numbers.below(5) == 0 && waveform.times[waveform.times.size() - 2] != time;
    time += jump ? 0.0 : std::pow(10.0, numbers.between(-3.0, 0.3));
  }
  return waveform;
}

std::vector<double> random_times(RandomNumbers& numbers) {
  std::vector<double> times{-2.0};
  while (times.back() < 10.0) {
    times.push_back(times.back() + std::pow(10.0, numbers.between(-4.0, -0.3)));
  }
  return times;
}

TEST(TimeResponse, random_models_follow_the_sum_over_ramps_and_jumps_at_even_and_uneven_times) {
  double worst = 0.0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t ports = 1 + static_cast<std::size_t>(numbers.below(3));
    const bool proportional = seed % 3 == 0;
    const Model model = random_model(numbers, ports, "SYZ"[seed % 3], proportional);
    std::vector<Waveform> excitations;
    for (std::size_t port = 0; port < ports; ++port) {
      excitations.push_back(random_waveform(numbers, !proportional));
    }
    const std::vector<double> times = seed % 2 == 0 ? random_times(numbers) : even_times(0.065, 140);
    const std::vector<double> found = time_response(model, excitations, times);
    const std::vector<double> expected = superposed(model, excitations, times);
    worst = std::max(worst, largest_difference(found, expected) / largest(expected));
  }
  EXPECT_LE(
      worst,
      1e-12);  // times are rounded to 2e-15 and poles up to 32: 6e-14, and a hundred steps' own rounding
}

TEST(TimeResponse, a_fine_integration_by_another_method_ends_in_the_same) {
  RandomNumbers numbers(77);
  const Model model = matrix_model('S', 2, {{-0.5, 3.0}, {-0.5, -3.0}, -1.5},
                                   {{0.3, 0.2},
                                    {0.3, -0.2},
                                    0.5,
                                    {0.1, -0.6},
                                    {0.1, 0.6},
                                    0.25,
                                    {-0.4, 0.3},
                                    {-0.4, -0.3},
                                    1.0,
                                    {0.7, 0.1},
                                    {0.7, -0.1},
                                    -0.5},
                                   {0.1, 0.2, 0.3, 0.4});
  const std::vector<Waveform> excitations{{{0.0, 1.0, 4.0}, {0.0, 1.0, -1.0}}, {{0.0, 2.0}, {1.0, 0.5}}};
  const StateSpace space = port_state_space(model);
  std::vector<long double> x(space.order);
  const auto u = [&](std::size_t port, long double t) -> long double {
    if (port == 0) {
      return t < 1.0L ? t : t < 4.0L ? 1.0L - 2.0L * (t - 1.0L) / 3.0L : -1.0L;
    }
    return t < 2.0L ? 1.0L - 0.25L * t : 0.5L;
  };
  const auto derivative = [&](const std::vector<long double>& y, long double t) {
    std::vector<long double> d(y.size());
    for (std::size_t i = 0; i < y.size(); ++i) {
      for (std::size_t j = 0; j < y.size(); ++j) {
        d[i] += space.a[i + j * space.order] * y[j];
      }
      for (std::size_t port = 0; port < 2; ++port) {
        d[i] += space.b[i + port * space.order] * u(port, t);
      }
    }
    return d;
  };
  // The rule of Runge and Kutta of order 4: with |a| h = 3 / 2000 an error of (|a| h)^4 |a| T / 120 = 6e-13.
  const int steps = 2000;
  std::vector<double> times;
  std::vector<double> expected;
  for (int second = 0; second < 5; ++second) {
    const long double h = 1.0L / steps;
    for (int i = 0; i < steps; ++i) {
      const long double t = second + i * h;
      const auto moved = [&](const std::vector<long double>& k, long double part) {
        std::vector<long double> y = x;
        for (std::size_t n = 0; n < y.size(); ++n) {
          y[n] += part * k[n];
        }
        return y;
      };
      const auto k1 = derivative(x, t);
      const auto k2 = derivative(moved(k1, 0.5L * h), t + 0.5L * h);
      const auto k3 = derivative(moved(k2, 0.5L * h), t + 0.5L * h);
      const auto k4 = derivative(moved(k3, h), t + h);
      for (std::size_t n = 0; n < x.size(); ++n) {
        x[n] += h / 6.0L * (k1[n] + 2.0L * k2[n] + 2.0L * k3[n] + k4[n]);
      }
    }
    times.push_back(second + 1.0);
    for (std::size_t port = 0; port < 2; ++port) {
      long double y = 0.0L;
      for (std::size_t n = 0; n < x.size(); ++n) {
        y += space.c[port + n * 2] * x[n];
      }
      for (std::size_t input = 0; input < 2; ++input) {
        y += space.d[port + input * 2] * u(input, second + 1.0L);
      }
      expected.push_back(static_cast<double>(y));
    }
  }
  const std::vector<double> found = time_response(model, excitations, times);
  for (std::size_t k = 0; k < times.size(); ++k) {
    for (std::size_t port = 0; port < 2; ++port) {
      EXPECT_NEAR(found[port * times.size() + k], expected[2 * k + port], 1e-11);
    }
  }
}

TEST(TimeResponse, values_and_times_scale_by_powers_of_two_to_the_bit) {
  RandomNumbers numbers(9);
  const Model model = random_model(numbers, 2, 'S', false);
  const std::vector<Waveform> excitations{random_waveform(numbers, true), random_waveform(numbers, true)};
  const std::vector<double> times = even_times(0.02, 500);
  const std::vector<double> found = time_response(model, excitations, times);

  std::vector<Waveform> louder = excitations;
  for (Waveform& waveform : louder) {
    for (double& value : waveform.values) {
      value = std::ldexp(value, 70);
    }
  }
  std::vector<double> expected = found;
  for (double& value : expected) {
    value = std::ldexp(value, 70);
  }
  EXPECT_EQ(time_response(model, louder, times), expected);

  Model faster = model;
  for (Complex& pole : faster.poles) {
    pole *= std::ldexp(1.0, 33);
  }
  for (Complex& residue : faster.residues) {
    residue *= std::ldexp(1.0, 33);
  }
  std::vector<Waveform> sooner = excitations;
  for (Waveform& waveform : sooner) {
    for (double& time : waveform.times) {
      time = std::ldexp(time, -33);
    }
  }
  EXPECT_EQ(time_response(faster, sooner, even_times(std::ldexp(0.02, -33), 500)), found);
}

TEST(TimeResponse, it_is_linear_and_does_not_depend_on_when_it_begins) {
  RandomNumbers numbers(10);
  const Model model = random_model(numbers, 1, 'S', false);
  const std::vector<double> times = even_times(0.01, 1000);
  const Waveform first = random_waveform(numbers, false);
  const Waveform second{{0.5, 1.25, 3.0}, {1.0, 0.5, 2.0}};
  std::vector<double> all_times = first.times;
  all_times.insert(all_times.end(), {0.5 - 1e-12, 0.5, 1.25, 3.0});
  std::sort(all_times.begin(), all_times.end());
  Waveform sum;
  for (const double time : all_times) {
    const std::vector<double> here{time};
    sum.times.push_back(time);
    sum.values.push_back(2.0 * values_at(first, here)[0] - 3.0 * values_at(second, here)[0]);
  }
  const std::vector<double> of_first = response(model, first, times);
  const std::vector<double> of_second = response(model, second, times);
  const std::vector<double> of_sum = response(model, sum, times);
  const double size = largest(of_first) + largest(of_second);
  for (std::size_t k = 0; k < times.size(); ++k) {
    // The jump of the second takes 1e-12 in the sum.
    EXPECT_NEAR(of_sum[k], 2.0 * of_first[k] - 3.0 * of_second[k], 1e-10 * size);
  }

  Waveform later = first;
  std::vector<double> later_times = times;
  for (double& time : later.times) {
    time += 8.0;
  }
  for (double& time : later_times) {
    time += 8.0;
  }
  // Shifted times are rounded to 1e-15, of ramps that take a thousandth.
  EXPECT_LE(largest_difference(response(model, later, later_times), of_first), 1e-12 * size);
}

TEST(TimeResponse, ports_are_driven_one_by_one_and_together) {
  const Model model = matrix_model('S', 2, {-1.0}, {1.0, 2.0, 3.0, 4.0}, {0.5, 0.25, 0.125, 1.0});
  const std::vector<double> times{1.0, 2.0};
  const auto part = [](double t) { return -std::expm1(-t); };
  const std::vector<double> found =
      time_response(model, std::vector<Waveform>{step_of_1, {{0.0}, {-2.0}}}, times);
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_NEAR(found[k], (0.5 - 0.5) + (1.0 - 4.0) * part(times[k]), 1e-14);
    EXPECT_NEAR(found[2 + k], (0.125 - 2.0) + (3.0 - 8.0) * part(times[k]), 1e-14);
  }
}

TEST(TimeResponse, an_unstable_model_grows_and_is_told_where_it_leaves_the_range_of_numbers) {
  const Model model = matrix_model('S', 1, {1.0}, {1.0}, {0.0});
  EXPECT_NEAR(response(model, step_of_1, {2.0})[0], std::expm1(2.0), 1e-14);
  try {
    response(model, step_of_1, even_times(100.0, 11));
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::numerical_breakdown);
    EXPECT_STREQ(
        error.what(),
        "the response is beyond the range of numbers from 800 s on; the model has poles in the right "
        "half-plane");
  }
}

TEST(TimeResponse, what_cannot_be_followed_is_refused) {
  const auto message = [](const Model& model, const std::vector<Waveform>& excitations,
                          const std::vector<double>& times) -> std::string {
    try {
      static_cast<void>(time_response(model, excitations, times));
    } catch (const Error& error) {
      return error.what();
    }
    return "none";
  };
  const Model model = resistor_and_capacitor();
  EXPECT_EQ(message(model, {step_of_1}, {}), "none");
  EXPECT_EQ(message(model, {}, {1.0}), "found 0 waveforms, expected 1, one a port");
  EXPECT_EQ(message(model, {{{0.0}, {}}}, {1.0}),
            "the excitation of port 1 has 1 times and 0 values, expected one a time");
  EXPECT_EQ(message(model, {step_of_1}, {1.0, 1.0}), "time 2 is not above the one before it");
  EXPECT_EQ(message(model, {step_of_1}, {infinity}), "time 1 is not a finite number");
  Model other = model;
  other.network = std::nullopt;
  EXPECT_EQ(message(other, {step_of_1}, {1.0}),
            "the model has no network matrix of which its responses are elements");
  other = model;
  other.poles[0] = infinity;
  EXPECT_EQ(message(other, {step_of_1}, {1.0}), "poles[0] is not a finite number");
  other = model;
  other.proportionals[0] = 1.0;
  EXPECT_EQ(
      message(other, {step_of_1}, {1.0}),
      "what drives port 1 jumps, which the model's terms proportional to s make an impulse without an end; "
      "a ramp takes its time");
  EXPECT_EQ(message(other, {{{0.0, 1.0}, {0.0, 1.0}}}, {1.0}), "none");
}

}  // namespace
}  // namespace polefit
