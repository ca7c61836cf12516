#include "numerics/angular_frequency.hpp"
#include "polefit/exports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "circuits.hpp"
#include "ngspice.hpp"
#include "numerics.hpp"
#include "polefit/error.hpp"
#include "polefit/network.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace polefit {
namespace {

using namespace testing_support;
using polefit::Model;
using testing_support::Complex;
using testing_support::lines_of;
using testing_support::RandomNumbers;
using testing_support::words_of;

/// The worst error over an AC analysis.
double ac_error(const Model& model, const Resistances& r, const std::string& sweep,
                const std::string& ground = "dc 0 ac 0") {
  const std::size_t ports = model.network->references.size();
  const auto rows = run_ngspice(bench(model, r, "dc 0 ac 1", ground), "ac " + sweep, at_ports(ports));
  double worst = 0.0;
  for (const auto& row : rows) {
    const std::vector<double> frequency = {row.at(0)};
    std::vector<Complex> values;
    for (std::size_t i = 1; i + 1 < row.size(); i += 2) {
      values.emplace_back(row[i], row[i + 1]);
    }
    worst = std::max(worst, worst_error(model, values, polefit::evaluate(model, frequency)));
  }
  return worst;
}

/// The usual way to measure the parameter: S between the references, Y with voltage, Z with current sources.
/// Then a single element makes each quantity.
Resistances usual_drive(const Model& model) {
  switch (model.network->parameter) {
    case 'S':
      return model.network->references;
    case 'Y':
      return resistances(0.0, model.network->references.size());
    default:
      return resistances(-1.0, model.network->references.size());
  }
}

class SpiceTest : public testing_support::InOwnDirectory {};

// 1e-6 is promised, relative to each element of the matrix at each frequency. The circuit differs from the
// model by rounding only: worst seen 3e-14, and a wrong last digit of seven would still show.
constexpr double tolerance = 1e-10;

TEST_F(SpiceTest, the_circuit_has_the_models_matrix_over_eight_decades) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {1U, 2U, 4U}) {
      SCOPED_TRACE(parameter + std::to_string(ports));
      const Model model = wide_model(parameter, ports, 10 * ports + static_cast<std::size_t>(parameter));
      EXPECT_LE(ac_error(model, usual_drive(model), "dec 20 100 10g"), tolerance);
    }
  }
}

TEST_F(SpiceTest, the_circuit_has_the_models_matrix_between_any_sources) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 3, 5);
    EXPECT_LE(ac_error(model, {10.0, 300.0, -1.0}, "dec 20 100 10g"), tolerance);
  }
}

/// The states of a circuit: its capacitors, without those that take a derivative.
std::size_t states_of(const std::string& text) {
  std::size_t count = 0;
  for (const auto& words : elements_of(text)) {
    count += words[0].starts_with("Cx") ? 1 : 0;
  }
  return count;
}

TEST_F(SpiceTest, residues_of_low_rank_take_as_many_states_as_their_rank) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {2U, 4U, 8U}) {
      SCOPED_TRACE(parameter + std::to_string(ports));
      const Model model = low_rank_model(parameter, ports, ports);
      const std::string text = spice_subcircuit(model, "dut");
      EXPECT_EQ(states_of(text), model.poles.size());
      EXPECT_NE(text.find("* States: 8; as many of each port as there are poles would be " +
                          std::to_string(8 * ports) + ".\n"),
                std::string::npos);
      EXPECT_LE(ac_error(model, usual_drive(model), "dec 20 100 10g"), tolerance);
    }
  }
}

TEST_F(SpiceTest, residues_of_full_rank_take_states_of_each_port) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    EXPECT_EQ(states_of(spice_subcircuit(wide_model(parameter, 4, 9), "dut")), 32U) << parameter;
  }
}

TEST_F(SpiceTest, poles_of_different_rank_are_realised_each_as_it_takes_fewest_elements) {
  Model model = wide_model('Y', 4, 9);
  const Model low = low_rank_model('Y', 4, 9);
  const std::size_t order = model.poles.size();
  for (std::size_t r = 0; r < model.responses(); ++r) {
    std::copy_n(&low.residues[r * order], 3, &model.residues[r * order]);  // a real pole and a pair
  }
  EXPECT_EQ(states_of(spice_subcircuit(model, "dut")), 3U + 4U * 5U);
  EXPECT_LE(ac_error(model, usual_drive(model), "dec 20 100 10g"), tolerance);
}

TEST_F(SpiceTest, an_input_without_residues_takes_no_states) {
  Model model = wide_model('Z', 2, 9);
  const std::size_t order = model.poles.size();
  for (const std::size_t r : {1U, 3U}) {  // the second column
    std::fill_n(&model.residues[r * order], order, 0.0);
  }
  EXPECT_EQ(states_of(spice_subcircuit(model, "dut")), order);
  EXPECT_LE(ac_error(model, usual_drive(model), "dec 20 100 10g"), tolerance);
}

TEST_F(SpiceTest, what_is_below_the_error_of_a_fit_takes_no_states_and_changes_no_value_at_zero_hertz) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const double error = 1e-3 * unit_of(parameter);
    Model model = low_rank_model(parameter, 4, 3);
    const Model any = wide_model(parameter, 4, 5);
    for (std::size_t k = 0; k < model.residues.size(); ++k) {
      model.residues[k] += 1e-7 * any.residues[k];
    }
    EXPECT_EQ(states_of(spice_subcircuit(model, "dut")), 32U);
    model.origin =
        Origin{1e2, 1e10, 1001, std::vector<ResponseError>(16, ResponseError{error, error, error})};
    EXPECT_EQ(states_of(spice_subcircuit(model, "dut")), 8U);
    // The matrix changes by a hundredth of that error at most, of which the terms of a sum have each a part.
    const double drop = ac_error(model, usual_drive(model), "dec 20 100 10g");
    EXPECT_GT(drop, 1e-9);
    EXPECT_LE(drop, 1e-4);
    const auto rows =
        run_ngspice(bench(model, {40.0, 60.0, 50.0, 30.0}, "dc 1 ac 0", "dc 0"), "op", at_ports(4));
    ASSERT_EQ(rows.size(), 1U);
    const std::vector<Complex> values(rows[0].begin() + 1, rows[0].end());
    EXPECT_LE(worst_error(model, values, polefit::evaluate(model, std::vector<double>{0.0})), tolerance);
  }
}

TEST_F(SpiceTest, the_circuit_of_a_reciprocal_network_is_reciprocal_whatever_its_form) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    Model model = low_rank_model(parameter, 3, 3);
    model.network->references.assign(3, 50.0);
    for (auto* terms : {&model.constants, &model.proportionals}) {
      for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < row; ++column) {
          (*terms)[row * 3 + column] = (*terms)[column * 3 + row];
        }
      }
    }
    // Port k driven, port i heard, between equal resistances, and the other way round.
    const auto rows = run_ngspice(bench(model, {50.0, 50.0, 50.0}, "dc 0 ac 1", "dc 0"), "ac dec 5 100 10g",
                                  {"v(n1_2)", "v(n2_1)", "v(n1_3)", "v(n3_1)"});
    for (const auto& row : rows) {
      for (const std::size_t at : {1U, 5U}) {
        const Complex there(row.at(at), row.at(at + 1));
        const Complex back(row.at(at + 2), row.at(at + 3));
        EXPECT_LE(std::abs(there - back), 1e-13) << row[0];  // some hundred roundings of less than a volt
      }
    }
  }
}

TEST_F(SpiceTest, the_elements_may_stand_in_any_order) {
  const Model model = wide_model('S', 2, 3);
  Model other = model;
  const std::size_t order = model.poles.size();
  for (std::size_t r = 0; r < 4; ++r) {
    other.network->elements[3 - r] = model.network->elements[r];
    other.constants[3 - r] = model.constants[r];
    other.proportionals[3 - r] = model.proportionals[r];
    std::copy_n(&model.residues[r * order], order, &other.residues[(3 - r) * order]);
  }
  EXPECT_EQ(spice_subcircuit(other, "dut"), spice_subcircuit(model, "dut"));
}

TEST_F(SpiceTest, poles_on_the_axis_and_in_the_right_half_plane_come_out_as_they_are) {
  RandomNumbers numbers(11);
  Model poles;
  add_pole(poles, {0.0, 0.0});
  add_pole(poles, {0.0, numerics::two_pi * 3e8});
  add_pole(poles, {1e9, 0.0});
  add_pole(poles, {2e7, numerics::two_pi * 2e8});
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    Model model = poles;
    add_matrix(model, parameter, 2, 0.0, numbers);
    const std::size_t order = model.poles.size();
    for (std::size_t r = 0; r < 4; ++r) {  // an undamped pair is given no damping to take its residue from
      model.residues[r * order + 1] = unit_of(parameter) * 1e9 * numbers.complex();
      model.residues[r * order + 2] = std::conj(model.residues[r * order + 1]);
    }
    // At 0 Hz the pole at 0 is a short or an open circuit, which ideal and matched sources cannot drive.
    EXPECT_LE(ac_error(model, {10.0, 300.0}, "lin 60 1.05e7 6.05e8"), tolerance);
  }
}

TEST_F(SpiceTest, a_pole_too_slow_for_a_capacitor_counts_as_one_at_0) {
  Model model;
  add_pole(model, {-1e-310, 0.0});
  model.residues = {1e9};
  model.constants = {0.02};
  model.proportionals = {0.0};
  declare_one_port(model, 'Y', 50.0);
  EXPECT_LE(ac_error(model, {10.0}, "lin 10 1e8 1e9"), tolerance);
  model.poles[0] = 0.0;
  EXPECT_LE(ac_error(model, {10.0}, "lin 10 1e8 1e9"), tolerance);
}

TEST_F(SpiceTest, the_reference_terminal_need_not_be_ground) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 2, 8);
    const Resistances r = {40.0, 60.0};
    EXPECT_LE(ac_error(model, r, "dec 5 100 10g", "dc 0 ac 3"), tolerance);
    // What flows into the ports comes back through the reference: nothing is left for node 0.
    const auto rows =
        run_ngspice(bench(model, r, "dc 0 ac 1", "dc 0 ac 3"), "ac dec 5 100 10g", {"i(vg)", "i(vm1_1)"});
    for (const auto& row : rows) {
      EXPECT_LE(std::abs(Complex(row.at(1), row.at(2))), tolerance * std::abs(Complex(row.at(3), row.at(4))));
    }
  }
}

TEST_F(SpiceTest, the_operating_point_is_that_of_the_matrix_at_zero) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 2, 21);
    const auto rows = run_ngspice(bench(model, {40.0, 60.0}, "dc 1 ac 0", "dc 0"), "op", at_ports(2));
    ASSERT_EQ(rows.size(), 1U);
    const std::vector<Complex> values(rows[0].begin() + 1, rows[0].end());
    EXPECT_LE(worst_error(model, values, polefit::evaluate(model, std::vector<double>{0.0})), tolerance);
  }
}

constexpr double resonance = 1e9;  // hertz
constexpr double period = 1.0 / resonance;
constexpr double quality = 2e4;
const Complex ringing(-numerics::two_pi* resonance / (2.0 * quality), numerics::two_pi* resonance);

/// Ten periods of the resonance, and nothing after them.
const std::string burst = "dc 0 PULSE(0 1 0 0.2n 0.2n 0.3n 1n 10)";

/// The integral of the square of the signal in the second column about its mean, from `begin` to `end`
/// seconds: a capacitor without load keeps the mean that it was charged to.
double energy(const std::vector<std::vector<double>>& rows, double begin, double end) {
  double time = 0.0;
  double sum = 0.0;
  double sum_of_squares = 0.0;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    if (rows[i].at(0) >= begin && rows[i].at(0) < end) {
      const double step = rows[i][0] - rows[i - 1][0];
      const double value = rows[i].at(1);
      time += step;
      sum += step * value;
      sum_of_squares += step * value * value;
    }
  }
  return sum_of_squares - sum * sum / time;
}

/// The energies of a signal over the first and the last hundred of the 10,000 periods that follow the burst.
struct Energies {
  double first = 0.0;
  double last = 0.0;
};

/// Runs with the simulator's own tolerances, as a user does, and at least 20 steps a period.
Energies energies(const std::string& circuit, const std::string& signal) {
  constexpr double begin = 12.0 * period;
  constexpr double end = begin + 1e4 * period;
  const auto rows = run_ngspice(circuit, "tran 0.05n 10.012u 0 0.05n", {signal});
  EXPECT_GE(rows.size(), 200'000U);
  EXPECT_GE(rows.empty() ? 0.0 : rows.back().at(0), (1.0 - 1e-6) * end);
  return {energy(rows, begin, begin + 100.0 * period), energy(rows, end - 100.0 * period, end)};
}

/// Not grown, and not so far gone that growth of one mode would be hidden by what is lost in another.
void expect_decay(const Energies& energies) {
  EXPECT_LE(energies.last, energies.first);
  EXPECT_GT(energies.last, 1e-6 * energies.first);
}

TEST_F(SpiceTest, a_matched_port_rings_down_as_its_poles_say) {
  Model model;
  add_pole(model, ringing);
  const Complex residue = 0.5 * std::abs(ringing.real()) * Complex(0.8, 0.6);
  model.residues = {residue, std::conj(residue)};
  model.constants = {0.3};
  model.proportionals = {0.0};
  declare_one_port(model, 'S', 75.0);
  const auto [first, last] =
      energies(spice_subcircuit(model, "dut") + "V1 s 0 " + burst + "\nR1 s p 75\nX1 p 0 dut\n", "v(p)");
  // The trapezoidal rule with step h divides the damping of a' + j a'' by 1 + (a'' h / 2)^2, here with 20
  // steps a period. Shorter steps after the burst, and the windows' length, make 0.1 % of difference.
  const double step_angle = numerics::two_pi / 20.0;
  const double logarithm = 2.0 * ringing.real() * 9900.0 * period / (1.0 + step_angle * step_angle / 4.0);
  EXPECT_NEAR(std::log(last / first), logarithm, 0.005 * std::abs(logarithm));
}

TEST_F(SpiceTest, a_passive_two_port_does_not_grow_between_reactances) {
  // The norm of S is at most 0.9: 0.5 at the resonance, whose residue is of rank one, and 0.2 each for the
  // real pole and the constant.
  Model model;
  add_pole(model, ringing);
  add_pole(model, {-3e9, 0.0});
  const double c = 0.5 * std::abs(ringing.real());
  const double slow = 0.2 * 3e9;
  model.residues = {0.64 * c, 0.64 * c, slow, 0.48 * c, 0.48 * c, 0.0,
                    0.48 * c, 0.48 * c, 0.0,  0.36 * c, 0.36 * c, slow};
  model.constants = {0.2, 0.0, 0.0, -0.2};
  model.proportionals = {0.0, 0.0, 0.0, 0.0};
  model.network = polefit::NetworkMatrix{'S', {50.0, 75.0}, all_elements(2)};
  expect_decay(
      energies(spice_subcircuit(model, "dut") + "I1 0 p " + burst + "\nC1 p 0 5p\nL1 q 0 20n\nX1 p q 0 dut\n",
               "v(p)"));
}

TEST_F(SpiceTest, a_passive_admittance_does_not_grow_behind_a_current_source) {
  // A pair with a real residue is a series resonance; h is a capacitor of 1 pF. Left alone, they ring.
  Model model;
  add_pole(model, ringing);
  model.residues = {1e6, 1e6};
  model.constants = {0.0};
  model.proportionals = {1e-12};
  declare_one_port(model, 'Y', 50.0);
  expect_decay(energies(spice_subcircuit(model, "dut") + "I1 0 p " + burst + "\nX1 p 0 dut\n", "v(p)"));
}

TEST_F(SpiceTest, a_passive_impedance_does_not_grow_behind_a_voltage_source) {
  // The dual: a parallel resonance, and h is an inductor of 10 nH.
  Model model;
  add_pole(model, ringing);
  model.residues = {1e9, 1e9};
  model.constants = {0.0};
  model.proportionals = {1e-8};
  declare_one_port(model, 'Z', 50.0);
  expect_decay(energies(spice_subcircuit(model, "dut") + "V1 p 0 " + burst + "\nX1 p 0 dut\n", "i(v1)"));
}

const std::string longest_name = "n" + std::string(62, '_') + "9";

TEST_F(SpiceTest, another_unit_of_time_changes_the_capacitors_alone) {
  constexpr double unit = 0x1p40;  // exact, and from gigahertz to millihertz
  for (const char parameter : {'S', 'Y', 'Z'}) {
    const Model model = wide_model(parameter, 2, 6);
    Model slow = model;
    for (auto* numbers : {&slow.poles, &slow.residues}) {
      for (Complex& number : *numbers) {
        number /= unit;
      }
    }
    for (double& proportional : slow.proportionals) {
      proportional *= unit;
    }
    auto expected = elements_of(spice_subcircuit(model, "dut"));
    const auto found = elements_of(spice_subcircuit(slow, "dut"));
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (found[i].at(0).at(0) == 'C') {
        double value = 0.0;
        ASSERT_TRUE(text::parse_real(expected[i].back(), value));
        double slow_value = 0.0;
        ASSERT_TRUE(text::parse_real(found[i].back(), slow_value));
        EXPECT_EQ(slow_value, value * unit);
        expected[i].back() = found[i].back();
      }
      EXPECT_EQ(found[i], expected[i]);
    }
  }
}

TEST_F(SpiceTest, the_comments_say_what_the_circuit_is_and_how_it_is_used) {
  Model model = wide_model('S', 2, 9);
  model.origin = polefit::Origin{1e6, 2.5e9, 101, std::vector<polefit::ResponseError>(model.responses())};
  const std::string text = spice_subcircuit(model, "filter");
  for (const char* line :
       {"* filter\n", "S parameters of a network of 2 ports.\n", "in ohms: 50 75\n",
        "from 1e+06 to 2.5e+09 Hz", "*   .include FILE\n*   R1 n1 0 50\n*   X1 n1 n2 0 filter\n",
        "ports 1 to 2 in order, then the reference of all", "* States: 16; ", "* 1: -2000, 2\n",
        "* 2, 3: -30000 +- j 125664, 2\n", "\n.subckt filter p1 p2 ref\n", "\n.ends filter\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "is missing in\n" << text.substr(0, 1000);
  }
  EXPECT_EQ(text.find("Not stable"), std::string::npos);
  model.poles[0] = 2e3;
  EXPECT_NE(spice_subcircuit(model, "filter").find("* Not stable"), std::string::npos);
}

TEST_F(SpiceTest, terminals_of_mixed_modes_are_told_to_be_modes) {
  Model model = wide_model('S', 3, 9);
  EXPECT_EQ(spice_subcircuit(model, "dut").find("mode"), std::string::npos);
  model.network->references = {100.0, 50.0, 25.0};
  model.network->modes = {{'D', 1, 3}, {'S', 2, 0}, {'C', 1, 3}};
  EXPECT_NE(spice_subcircuit(model, "dut").find("\n* Its ports are modes, in order: D1,3 S2 C1,3\n"),
            std::string::npos);
}

TEST_F(SpiceTest, numbers_have_17_digits) {
  Model model = wide_model('Y', 1, 9);
  model.constants[0] = 0.1;
  EXPECT_NE(spice_subcircuit(model, "dut").find(" 0.10000000000000001\n"), std::string::npos);
}

TEST_F(SpiceTest, ngspice_reads_many_ports_and_the_longest_name) {
  Model model = wide_model('S', 30, 4);
  std::string circuit = spice_subcircuit(model, longest_name) + "V1 n1 0 dc 0 ac 1\nX1";
  for (int port = 1; port <= 30; ++port) {
    circuit += " n" + std::to_string(port);
  }
  circuit += " 0 " + longest_name + "\n";
  const auto rows = run_ngspice(circuit, "ac lin 1 1meg 1meg", {"v(n1)"});
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].at(1), 1.0);
}

/// The error that an action ends with; fails without one.
polefit::Error error_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const polefit::Error& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  return {{}, {}};
}

std::string refusal_of(const Model& model) {
  const auto error = error_of([&] { spice_subcircuit(model, "dut"); });
  EXPECT_EQ(error.kind(), polefit::ErrorKind::bad_shape);
  return error.what();
}

TEST_F(SpiceTest, elements_that_are_missing_are_named) {
  Model model = wide_model('S', 2, 1);
  const std::size_t order = model.poles.size();
  model.network->elements.resize(3);
  model.constants.resize(3);
  model.proportionals.resize(3);
  model.residues.resize(3 * order);
  EXPECT_TRUE(refusal_of(model).ends_with("2 ports; S22 is missing")) << refusal_of(model);
  model.network->references.assign(12, 50.0);
  EXPECT_TRUE(refusal_of(model).ends_with(
      "12 ports; S1_3, S1_4, S1_5, S1_6, S1_7, S1_8, S1_9, S1_10 and 133 more are missing"))
      << refusal_of(model);
}

TEST_F(SpiceTest, a_model_that_contradicts_itself_is_refused) {
  const Model model = wide_model('Z', 2, 1);
  Model other = model;
  other.network->parameter = 'H';
  EXPECT_NE(refusal_of(other).find("network.parameter"), std::string::npos);
  for (const double reference : {0.0, -50.0, testing_support::quiet_nan, testing_support::infinity}) {
    other = model;
    other.network->references[1] = reference;
    EXPECT_NE(refusal_of(other).find("network.references[1]"), std::string::npos);
  }
  other = model;
  other.network->elements[3] = {1, 2};
  EXPECT_NE(refusal_of(other).find("responses[3]"), std::string::npos);
  for (const polefit::MatrixElement element : {polefit::MatrixElement{3, 1}, {1, 3}, {0, 1}, {1, 0}}) {
    other.network->elements[3] = element;
    EXPECT_NE(refusal_of(other).find("responses[3]"), std::string::npos);
  }
  other.network->elements.resize(3);
  EXPECT_NE(refusal_of(other).find("3 matrix elements"), std::string::npos);
  other.network.reset();
  EXPECT_NE(refusal_of(other).find("no network matrix"), std::string::npos);
  other = model;
  other.network->references.clear();
  other.network->elements.clear();
  other.constants.clear();
  other.proportionals.clear();
  other.residues.clear();
  EXPECT_NE(refusal_of(other).find("network.references has 0"), std::string::npos);
  other = model;
  other.poles[2] = {-1.0, -3.0};
  EXPECT_NE(refusal_of(other).find("conjugate"), std::string::npos);
  other = model;
  other.residues[2 * other.poles.size()] = std::numeric_limits<double>::max();
  other.network->references = {1e-5, 50.0};  // the first divides the column
  EXPECT_NE(refusal_of(other).find("Gy1_1_2"), std::string::npos) << refusal_of(other);
}

TEST_F(SpiceTest, names_that_simulators_may_misread_are_refused) {
  const Model model = wide_model('S', 1, 1);
  for (const std::string& name :
       {std::string(), std::string("1a"), std::string("_a"), std::string("a b"), std::string("a-b"),
        std::string("a\n"), std::string("\xc3\xa4"), longest_name + "x", std::string("a\0b", 3)}) {
    EXPECT_EQ(error_of([&] { spice_subcircuit(model, name); }).kind(), polefit::ErrorKind::bad_option)
        << name;
  }
}

TEST_F(SpiceTest, a_single_response_is_a_one_port_only_when_it_is_declared_one) {
  Model model = wide_model('Z', 1, 1);
  const std::string expected = spice_subcircuit(model, "dut");
  model.network.reset();
  EXPECT_NE(refusal_of(model).find("does not say whether"), std::string::npos);
  declare_one_port(model, 'Z', 50.0);
  EXPECT_EQ(spice_subcircuit(model, "dut"), expected);
}

TEST_F(SpiceTest, what_is_not_a_one_port_is_not_declared_one) {
  Model model = wide_model('S', 1, 1);
  const auto kind = [&](char parameter, double reference) {
    return error_of([&] { declare_one_port(model, parameter, reference); }).kind();
  };
  EXPECT_EQ(kind('s', 50.0), polefit::ErrorKind::bad_option);
  EXPECT_EQ(kind('S', 0.0), polefit::ErrorKind::bad_option);
  EXPECT_EQ(kind('S', testing_support::quiet_nan), polefit::ErrorKind::bad_option);
  EXPECT_EQ(kind('Z', 50.0), polefit::ErrorKind::bad_shape) << "the model is one of S";
  model = wide_model('S', 2, 1);
  EXPECT_EQ(kind('S', 50.0), polefit::ErrorKind::bad_shape) << "four responses";
}

}  // namespace
}  // namespace polefit
