#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "matrix_model.hpp"
#include "numerics.hpp"
#include "polefit/error.hpp"
#include "polefit/time_response.hpp"

namespace polefit {
namespace {

using passivity_models::matrix_model;
using testing_support::Complex;
using testing_support::infinity;
using testing_support::quiet_nan;

const Waveform step_of_1{{0.0}, {1.0}};
const Waveform ramp{{0.0, 0.25}, {0.0, 1.0}};

/// One capacitor of C = 1 farad, as S with a reference of 50 ohms, as Y and as Z.
Model capacitor(char parameter) {
  switch (parameter) {
    case 'S':  // (1 - 50 s) / (1 + 50 s)
      return matrix_model('S', 1, {-0.02}, {0.04}, {-1.0});
    case 'Y':
      return matrix_model('Y', 1, {}, {}, {0.0}, {1.0});
    default:
      return matrix_model('Z', 1, {0.0}, {1.0}, {0.0});
  }
}

/// The voltage of a capacitor of 1 farad behind R ohms and a ramp to 1 V in 0.25 s.
double charged(double resistance, double time) {
  const auto part = [&](double t) { return t <= 0.0 ? 0.0 : t + resistance * std::expm1(-t / resistance); };
  return 4.0 * (part(time) - part(time - 0.25));
}

double worst_error(const PortSignals& found, const std::vector<double>& times,
                   const std::function<double(double)>& expected) {
  double worst = 0.0;
  for (std::size_t k = 0; k < times.size(); ++k) {
    worst = std::max(worst, std::abs(found.voltages[k] - expected(times[k])));
  }
  return worst;
}

TEST(TerminatedResponse, a_capacitor_is_charged_through_any_resistance_whatever_its_parameters) {
  const std::vector<double> times = even_times(0.005, 401);
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const double resistance : {0.2, 1.0, 30.0}) {
      const std::vector<Termination> ends{{resistance, ramp}};
      const auto expected = [&](double t) { return charged(resistance, t); };
      const PortSignals found = terminated_response(capacitor(parameter), ends, times);
      EXPECT_FALSE(found.exact);
      // Of the second order: what is linear over a step misses h^2 / 8 of a second derivative of 4 / R at
      // most, over the ramp and what is left of it; 4 times that for the parabola's rule.
      EXPECT_LE(worst_error(found, times, expected), 0.005 * 0.005 * 4.0 / resistance)
          << parameter << resistance;
      for (std::size_t k = 0; k < times.size(); ++k) {
        EXPECT_NEAR(found.voltages[k] + resistance * found.currents[k], values_at(ramp, times)[k], 1e-12);
      }
    }
  }
}

TEST(TerminatedResponse, the_error_falls_with_the_square_of_the_step) {
  const std::vector<double> times = even_times(0.05, 41);
  const auto expected = [](double t) { return charged(0.2, t); };
  for (const char parameter : {'S', 'Y', 'Z'}) {
    double last = 0.0;
    for (const double step : {0.0125, 0.00625, 0.003125, 0.0015625}) {
      const PortSignals found = terminated_response(
          capacitor(parameter), std::vector<Termination>{{0.2, ramp}}, times, {.largest_step = step});
      const double error = worst_error(found, times, expected);
      if (last > 0.0) {
        // A factor of 4, and what the next order still counts for.
        EXPECT_GT(last / error, 3.4) << parameter << step;
        EXPECT_LT(last / error, 4.8) << parameter << step;
      }
      last = error;
    }
  }
}

TEST(TerminatedResponse, it_is_exact_in_steps_of_any_length_where_the_model_is_given_what_it_gets) {
  const std::vector<double> times{0.1, 0.25, 7.0, 40.0};
  const PortSignals matched =
      terminated_response(capacitor('S'), std::vector<Termination>{{50.0, ramp}}, times);
  EXPECT_TRUE(matched.exact);
  const PortSignals driven =
      terminated_response(capacitor('Y'), std::vector<Termination>{{0.0, ramp}}, times);
  EXPECT_TRUE(driven.exact);
  const PortSignals open =
      terminated_response(capacitor('Z'), std::vector<Termination>{{infinity, ramp}}, times);
  EXPECT_TRUE(open.exact);
  for (std::size_t k = 0; k < times.size(); ++k) {
    EXPECT_NEAR(matched.voltages[k], charged(50.0, times[k]), 1e-14);
    EXPECT_EQ(driven.voltages[k], values_at(ramp, times)[k]);
    EXPECT_EQ(driven.currents[k], times[k] < 0.25 ? 4.0 : 0.0);
    EXPECT_EQ(open.voltages[k], 0.0);
    EXPECT_EQ(open.currents[k], 0.0);
  }
}

/// A short line without loss cannot be a model; a pi of capacitors and an inductor is, in all parameters that
/// it has: S here, of references 50 and 75 ohms, by numbers made with its poles.
Model coupled() {
  Model model = matrix_model('S', 2, {{-0.5, 2.0}, {-0.5, -2.0}, -1.0},
                             {{0.2, 0.1},
                              {0.2, -0.1},
                              0.3,
                              {0.3, -0.2},
                              {0.3, 0.2},
                              0.1,
                              {0.3, -0.2},
                              {0.3, 0.2},
                              0.1,
                              {0.1, 0.2},
                              {0.1, -0.2},
                              0.25},
                             {-0.4, 0.1, 0.1, -0.3});
  model.network->references = {50.0, 75.0};
  return model;
}

/// The loop as one set of equations, x' = A x + B in, in = (I - gamma D)^-1 (sigma e + gamma C x), integrated
/// by the rule of Runge and Kutta of order 4 in steps of 1/2000: an error of some 1e-13.
std::vector<double> integrated(const Model& model, const std::vector<double>& resistances, int seconds) {
  const StateSpace space = port_state_space(model);
  double sigma[2];
  double gamma[2];
  for (std::size_t port = 0; port < 2; ++port) {
    const double reference = model.network->references[port];
    const bool open = std::isinf(resistances[port]);
    sigma[port] = open ? 0.0 : std::sqrt(reference) / (reference + resistances[port]);
    gamma[port] = open ? 1.0 : (resistances[port] - reference) / (resistances[port] + reference);
  }
  const auto source = [](std::size_t port, double t) {
    return port == 0 ? std::min(1.0, t) : 0.5;  // a ramp, and a step at 0
  };
  const auto inputs = [&](const std::vector<double>& x, double t) {
    double right[2];
    double a[2][2];
    for (std::size_t i = 0; i < 2; ++i) {
      double out = 0.0;
      for (std::size_t n = 0; n < x.size(); ++n) {
        out += space.c[i + 2 * n] * x[n];
      }
      right[i] = sigma[i] * source(i, t) + gamma[i] * out;
      for (std::size_t j = 0; j < 2; ++j) {
        a[i][j] = (i == j ? 1.0 : 0.0) - gamma[i] * space.d[i + 2 * j];
      }
    }
    const double determinant = a[0][0] * a[1][1] - a[0][1] * a[1][0];
    return std::vector<double>{(right[0] * a[1][1] - right[1] * a[0][1]) / determinant,
                               (right[1] * a[0][0] - right[0] * a[1][0]) / determinant};
  };
  const auto slope = [&](const std::vector<double>& x, double t) {
    const std::vector<double> in = inputs(x, t);
    std::vector<double> d(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      for (std::size_t j = 0; j < x.size(); ++j) {
        d[i] += space.a[i + j * x.size()] * x[j];
      }
      d[i] += space.b[i] * in[0] + space.b[i + x.size()] * in[1];
    }
    return d;
  };
  const auto moved = [](std::vector<double> x, const std::vector<double>& k, double part) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      x[i] += part * k[i];
    }
    return x;
  };
  std::vector<double> x(space.order);
  const int steps = 2000;
  const double h = 1.0 / steps;
  std::vector<double> voltages;
  for (int second = 0; second < seconds; ++second) {
    for (int i = 0; i < steps; ++i) {
      const double t = second + i * h;
      const auto k1 = slope(x, t);
      const auto k2 = slope(moved(x, k1, 0.5 * h), t + 0.5 * h);
      const auto k3 = slope(moved(x, k2, 0.5 * h), t + 0.5 * h);
      const auto k4 = slope(moved(x, k3, h), t + h);
      x = moved(moved(moved(moved(x, k1, h / 6.0), k2, h / 3.0), k3, h / 3.0), k4, h / 6.0);
    }
    const std::vector<double> in = inputs(x, second + 1.0);
    for (std::size_t port = 0; port < 2; ++port) {
      double out = 0.0;
      for (std::size_t n = 0; n < x.size(); ++n) {
        out += space.c[port + 2 * n] * x[n];
      }
      for (std::size_t j = 0; j < 2; ++j) {
        out += space.d[port + 2 * j] * in[j];
      }
      voltages.push_back(std::sqrt(model.network->references[port]) * (in[port] + out));
    }
  }
  return voltages;
}

TEST(TerminatedResponse, coupled_ports_with_any_resistances_come_near_a_fine_integration_by_another_method) {
  const Model model = coupled();
  for (const std::vector<double>& resistances :
       {std::vector<double>{10.0, 300.0}, std::vector<double>{0.0, 75.0}, std::vector<double>{50.0, 1e6},
        std::vector<double>{5.0, infinity}, std::vector<double>{0.0, 0.0}}) {
    const std::vector<double> expected = integrated(model, resistances, 6);
    const std::vector<Termination> ends{{resistances[0], {{0.0, 1.0}, {0.0, 1.0}}},
                                        {resistances[1], step_of_1}};
    std::vector<Termination> halved = ends;
    halved[1].source.values[0] = 0.5;
    double last = 0.0;
    for (const double step : {0.02, 0.01, 0.005}) {
      const std::vector<double> times{1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
      const PortSignals found = terminated_response(model, halved, times, {.largest_step = step});
      double error = 0.0;
      for (std::size_t k = 0; k < times.size(); ++k) {
        for (std::size_t port = 0; port < 2; ++port) {
          error = std::max(error, std::abs(found.voltages[port * times.size() + k] - expected[2 * k + port]));
        }
      }
      // Waves of about 0.1 sqrt(W) whose second derivative is 4 times that, and the network amplifies no more
      // than 10 times: step^2.
      EXPECT_LE(error, 10.0 * step * step) << resistances[0] << " " << resistances[1];
      if (last > 1e-11) {
        EXPECT_GT(last / error, 3.5);
        EXPECT_LT(last / error, 4.5);
      }
      last = error;
    }
  }
}

TEST(TerminatedResponse, a_jump_divides_at_once_between_resistances) {
  // A resistor of 150 ohms as a one-port of each parameter.
  const std::vector<double> times{0.0, 1.0};
  for (const Model& model : {matrix_model('S', 1, {}, {}, {0.5}), matrix_model('Y', 1, {}, {}, {1.0 / 150.0}),
                             matrix_model('Z', 1, {}, {}, {150.0})}) {
    const PortSignals found = terminated_response(model, std::vector<Termination>{{100.0, step_of_1}}, times);
    for (const double voltage : found.voltages) {
      EXPECT_NEAR(voltage, 0.6, 1e-15);
    }
    for (const double current : found.currents) {
      EXPECT_NEAR(current, 0.004, 1e-17);
    }
  }
}

TEST(TerminatedResponse, break_points_between_the_times_are_met) {
  const Model model = coupled();
  const Waveform narrow{{0.31, 0.31, 0.33, 0.33}, {0.0, 1.0, 1.0, 0.0}};
  const std::vector<Termination> ends{{10.0, narrow}, {75.0, {}}};
  const std::vector<double> coarse{1.0, 2.0};
  const PortSignals found = terminated_response(model, ends, coarse, {.largest_step = 0.001});
  EXPECT_GT(std::abs(found.voltages[2]), 1e-4);
  const std::vector<double> fine = even_times(0.0005, 4001);
  const PortSignals expected = terminated_response(model, ends, fine);
  EXPECT_NEAR(found.voltages[2], expected.voltages[4001 + 2000], 1e-6);
  EXPECT_NEAR(found.voltages[3], expected.voltages[4001 + 4000], 1e-6);
}

TEST(TerminatedResponse, steps_of_any_lengths_may_follow_each_other) {
  std::vector<double> times{0.0};
  for (int k = 1; k < 400; ++k) {
    times.push_back(times.back() + (k % 3 == 0 ? 0.001 : k % 3 == 1 ? 0.0023 : 0.005));
  }
  for (const char parameter : {'S', 'Y', 'Z'}) {
    const PortSignals found =
        terminated_response(capacitor(parameter), std::vector<Termination>{{0.2, ramp}}, times);
    // As of even steps of the longest.
    EXPECT_LE(worst_error(found, times, [](double t) { return charged(0.2, t); }), 0.005 * 0.005 * 4.0 / 0.2)
        << parameter;
  }
}

TEST(TerminatedResponse, a_derivative_behind_a_break_point_knows_nothing_of_what_was_before) {
  Model model = capacitor('Y');
  model.proportionals[0] = 1e-6;
  const PortSignals found =
      terminated_response(model, std::vector<Termination>{{1.0, ramp}}, even_times(0.05, 11));
  // 4 V/s through a microfarad, and nothing behind the ramp: of the second, a thousandth of a step's charge.
  EXPECT_NEAR(found.currents[4], 4e-6, 1e-9);
  EXPECT_NEAR(found.currents[6], 0.0, 1e-9);
}

TEST(TerminatedResponse, what_contradicts_itself_is_refused) {
  const auto message = [](const Model& model, const Termination& end, const TerminatedOptions& options = {}) {
    try {
      static_cast<void>(
          terminated_response(model, std::vector<Termination>{end}, std::vector<double>{1.0}, options));
    } catch (const Error& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(message(capacitor('S'), {infinity, step_of_1}), "none");
  Model varying = capacitor('S');
  varying.network->references_vary = true;
  EXPECT_EQ(message(varying, {50.0, step_of_1}),
            "S refers to port impedances that vary with frequency, which tell no voltages and currents");
  EXPECT_EQ(message(capacitor('S'), {-1.0, step_of_1}),
            "the resistance at port 1 is not a number of at least 0");
  EXPECT_EQ(message(capacitor('S'), {quiet_nan, step_of_1}),
            "the resistance at port 1 is not a number of at least 0");
  EXPECT_EQ(message(capacitor('Y'), {infinity, ramp}),
            "the resistance at port 1 is infinite, expected a finite one with Y parameters");
  EXPECT_EQ(message(capacitor('Z'), {0.0, ramp}),
            "the resistance at port 1 is 0, expected more with Z parameters");
  EXPECT_EQ(message(capacitor('S'), {1.0, step_of_1}, {.largest_step = 0.0}),
            "the largest step is not a number above 0");
  EXPECT_EQ(message(capacitor('S'), {1.0, step_of_1}, {.largest_step = 1e-10}),
            "the largest step makes more than a billion steps of the time asked for");
  EXPECT_TRUE(message(capacitor('Y'), {1.0, step_of_1}).starts_with("what drives port 1 jumps"));
  // A negative resistance of the opposite size.
  EXPECT_EQ(
      message(matrix_model('Z', 1, {}, {}, {-10.0}), {10.0, ramp}),
      "the model and what its ports are terminated with contradict each other: the equations of the ports "
      "have no single solution");
  EXPECT_THROW(static_cast<void>(terminated_response(capacitor('S'), {}, std::vector<double>{1.0})), Error);
}

TEST(TerminatedResponse, currents_beyond_the_range_of_numbers_are_refused_with_matched_ports_too) {
  Model shorted = matrix_model('S', 1, {}, {}, {-1.0});
  shorted.network->references = {1e-4};
  for (const double resistance : {1e-4, 2e-4}) {
    try {
      static_cast<void>(terminated_response(shorted, std::vector<Termination>{{resistance, {{0.0}, {1e306}}}},
                                            std::vector<double>{1.0}));
      ADD_FAILURE() << "no error at " << resistance;
    } catch (const Error& error) {
      EXPECT_STREQ(error.what(), "the response is beyond the range of numbers from 1 s on");
    }
  }
}
}  // namespace
}  // namespace polefit
