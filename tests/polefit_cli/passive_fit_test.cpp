/// Whole runs of polefit fit on networks whose models are not passive as they come from a fit.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "polefit/independent_passivity.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"
#include "polefit/passive_networks.hpp"
#include "polefit/weights.hpp"
#include "run_program.hpp"
#include "support.hpp"

namespace {

using namespace testing_support;
using polefit::passive_networks::Kind;
using polefit::passive_networks::passive_network;

class PassiveFit : public InOwnDirectory {
 protected:
  static int run(const std::vector<std::string>& arguments) {
    return run_program(POLEFIT_PROGRAM, arguments, ".");
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }

  /// Of S whose model exceeds 1.
  static polefit::Network violating_two_port() { return passive_network(Kind::ladder, 4, 2, 150, 'S'); }
  /// Of S, whose model with eight poles exceeds 1; it has all its samples below.
  static polefit::Network violating_one_port() { return passive_network(Kind::ladder, 3, 1, 150, 'S'); }

  /// The same with values `factor` times as large.
  static polefit::Network amplified(polefit::Network network, double factor) {
    for (std::complex<double>& value : network.values) {
      value *= factor;
    }
    return network;
  }

  /// That a run of a fit leaves a model that is passive, judged by code of the tests' own.
  static void expect_passive_model(const std::string& file) {
    const polefit::Model model = polefit::load(file);
    ASSERT_TRUE(model.passivity);
    EXPECT_TRUE(model.passivity->passive);
    const polefit::independent::Worst worst =
        polefit::independent::worst_measure(model, model.origin->highest);
    const double size = model.network->parameter == 'S' ? 1.0 : largest_value(model);
    // The tolerance of a certificate, in units of the largest value of the model.
    EXPECT_LE(worst.measure, (model.network->parameter == 'S' ? 1.0 : 0.0) + 1e-9 * size);
    EXPECT_EQ(run({"passivity", file}), 0) << output();
  }

  static double largest_value(const polefit::Model& model) {
    return static_cast<double>(model.network->ports()) * polefit::largest_gain(model).largest;
  }

  static std::vector<std::string> with(std::vector<std::string> arguments, const std::string& one) {
    arguments.push_back(one);
    return arguments;
  }

  /// That the plain fit is not passive, and that of the command is.
  static void expect_corrected(const std::vector<std::string>& fit) {
    ASSERT_EQ(run(with(fit, "--no-passive")), 0) << errors();
    EXPECT_NE(output().find("  passive     no: "), std::string::npos) << output();
    const polefit::Model plain = polefit::load("m.json");
    ASSERT_TRUE(plain.passivity);
    EXPECT_FALSE(plain.passivity->passive);
    EXPECT_EQ(run({"passivity", "m.json"}), 1);
    ASSERT_EQ(run(fit), 0) << errors() << output();
    EXPECT_NE(output().find("  passive     certified at all frequencies ("), std::string::npos) << output();
    expect_passive_model("m.json");
  }
};

TEST_F(PassiveFit, the_model_of_passive_data_is_passive_whatever_the_parameter) {
  polefit::write_touchstone(violating_two_port(), "s.s2p");
  expect_corrected({"fit", "s.s2p", "-o", "m.json"});
  polefit::write_touchstone(passive_network(Kind::interconnect, 2, 3, 150, 'Y'), "y.s3p");
  expect_corrected({"fit", "y.s3p", "-o", "m.json"});
  polefit::write_touchstone(passive_network(Kind::interconnect, 6, 2, 150, 'Z'), "z.s2p");
  expect_corrected({"fit", "z.s2p", "-o", "m.json"});
}

TEST_F(PassiveFit, errors_are_those_of_the_model_that_is_written) {
  const polefit::Network network = violating_two_port();
  polefit::write_touchstone(network, "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "--poles", "8", "-o", "m.json"}), 0) << errors();
  const polefit::Model model = polefit::load("m.json");
  const std::vector<polefit::ResponseError> errors = polefit::errors(model, network.data());
  double largest = 0.0;
  double squares = 0.0;
  for (std::size_t r = 0; r < errors.size(); ++r) {
    EXPECT_EQ(model.origin->errors[r].rms, errors[r].rms);
    largest = std::max(largest, errors[r].largest);
    squares += errors[r].relative * errors[r].relative;
  }
  const auto shown = [](double value) {
    std::string text(20, '\0');
    text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%.2g", value)));
    return text;
  };
  const std::string table = output();
  const std::string row = table.substr(table.find("\n  all "), table.find("\n  S") - table.find("\n  all "));
  EXPECT_NE(row.find(" " + shown(std::sqrt(squares / 4.0)) + " "), std::string::npos) << row;
  EXPECT_TRUE(row.ends_with(" " + shown(largest))) << row;
}

TEST_F(PassiveFit, a_given_order_is_kept_and_a_growing_error_is_told_with_what_may_do_better) {
  polefit::write_touchstone(violating_two_port(), "s.s2p");
  // Poles that may move cost nothing here.
  ASSERT_EQ(run({"fit", "s.s2p", "--poles", "8", "--no-polish", "-o", "m.json"}), 0) << errors();
  EXPECT_EQ(polefit::load("m.json").poles.size(), 8U);
  EXPECT_NE(output().find("; a target (--error) or another order may do better\n"), std::string::npos)
      << output();
}

TEST_F(PassiveFit, data_that_are_not_passive_get_their_model_as_it_is_and_are_told) {
  polefit::write_touchstone(amplified(violating_two_port(), 1.25), "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "-o", "m.json"}), 0) << errors();
  const std::string table = output();
  EXPECT_NE(table.find("  passive     no: largest singular value 1."), std::string::npos) << table;
  EXPECT_NE(table.find("the data are not passive: largest singular value 1.2"), std::string::npos) << table;
  EXPECT_NE(table.find(" of 150 samples from "), std::string::npos) << table;
  EXPECT_NE(table.find("; --passive corrects the model all the same\n"), std::string::npos) << table;
  const std::string as_it_is = content_of("m.json");
  EXPECT_FALSE(polefit::load("m.json").passivity->passive);
  ASSERT_EQ(run({"fit", "s.s2p", "--no-passive", "-o", "m.json"}), 0) << errors();
  EXPECT_EQ(content_of("m.json"), as_it_is);
  EXPECT_EQ(output().find("the data are not passive"), std::string::npos) << output();
}

TEST_F(PassiveFit, a_target_that_is_lost_to_passivity_is_told_by_text_and_status) {
  polefit::write_touchstone(amplified(violating_two_port(), 1.25), "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "--passive", "-o", "m.json"}), 1) << errors();
  const std::string table = output();
  EXPECT_NE(table.find("target of 0.001 not met: it was met before the model was made passive\n"),
            std::string::npos)
      << table;
  EXPECT_NE(table.find("the data are not passive: "), std::string::npos) << table;
  EXPECT_EQ(table.find("--passive corrects"), std::string::npos) << table;
  expect_passive_model("m.json");
}

TEST_F(PassiveFit, a_model_that_does_not_follow_the_data_any_more_is_told_by_text_and_status) {
  polefit::write_touchstone(amplified(violating_two_port(), 30.0), "s.s2p");
  const std::string lost = "; it does not follow the data any more: the error was ";
  for (const std::vector<std::string>& order :
       {std::vector<std::string>{}, std::vector<std::string>{"--poles", "8"}}) {
    std::vector<std::string> fit{"fit", "s.s2p", "--passive", "-o", "m.json"};
    fit.insert(fit.end(), order.begin(), order.end());
    EXPECT_EQ(run(fit), 1) << errors();
    EXPECT_NE(output().find(lost), std::string::npos) << output();
    EXPECT_EQ(output().find(lost + "0 before"), std::string::npos) << output();
    expect_passive_model("m.json");
  }
}

TEST_F(PassiveFit, fewer_poles_than_were_asked_for_are_told_in_help_and_table) {
  ASSERT_EQ(run({"fit", "--help"}), 0);
  std::string help = output();
  std::replace(help.begin(), help.end(), '\n', ' ');
  EXPECT_NE(help.find("fewer"), std::string::npos) << help;
  polefit::write_touchstone(passive_network(14, 2, 200, 'S'), "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "--poles", "20", "-o", "m.json"}), 0) << errors() << output();
  const std::size_t poles = polefit::load("m.json").poles.size();
  ASSERT_LT(poles, 20U);
  EXPECT_NE(output().find("  order       " + std::to_string(poles) + " poles ("), std::string::npos);
  EXPECT_NE(output().find("); 20 made no better passive model\n"), std::string::npos) << output();
}

TEST_F(PassiveFit, a_single_response_takes_part_as_that_of_a_one_port) {
  const polefit::Network network = violating_one_port();
  std::ofstream file("f_data.in");
  file.precision(17);
  for (std::size_t k = 0; k < network.frequencies.size(); ++k) {
    file << network.frequencies[k] << ' ' << network.values[k].real() << ' ' << network.values[k].imag()
         << '\n';
  }
  file.close();
  const std::vector<std::string> fit{"fit", "f_data.in", "--poles", "8", "-o", "m.json"};
  ASSERT_EQ(run(fit), 0) << errors();
  EXPECT_EQ(output().find("  passive"), std::string::npos) << output();
  EXPECT_FALSE(polefit::load("m.json").passivity);
  EXPECT_EQ(run(with(fit, "--passive")), 2);
  EXPECT_NE(errors().find("f_data.in: found one response that is of no matrix, expected that of a one-port, "
                          "which --parameter S, Y or Z makes it"),
            std::string::npos)
      << errors();
  expect_corrected({"fit", "f_data.in", "--poles", "8", "--parameter", "S", "-o", "m.json"});
}

TEST_F(PassiveFit, single_responses_of_a_network_take_no_part_and_are_told) {
  polefit::write_touchstone(violating_two_port(), "s.s2p");
  const std::vector<std::string> fit{"fit", "s.s2p", "--responses", "S21", "-o", "m.json"};
  ASSERT_EQ(run(fit), 0) << errors();
  EXPECT_NE(output().find("  passive     not told: only S21 of a matrix of 2 ports\n"), std::string::npos)
      << output();
  EXPECT_FALSE(polefit::load("m.json").passivity);
  EXPECT_EQ(run(with(fit, "--passive")), 2);
  EXPECT_NE(errors().find("s.s2p: found only S21 of a matrix of 2 ports"), std::string::npos) << errors();
}

TEST_F(PassiveFit, a_model_that_may_be_unstable_is_told_and_not_corrected) {
  polefit::write_touchstone(violating_two_port(), "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "--no-stable", "--no-passive", "-o", "m.json"}), 0) << errors();
  const std::string as_it_is = content_of("m.json");
  ASSERT_EQ(run({"fit", "s.s2p", "--no-stable", "-o", "m.json"}), 0) << errors();
  EXPECT_NE(output().find("  passive     no: "), std::string::npos) << output();
  EXPECT_EQ(content_of("m.json"), as_it_is);
  EXPECT_EQ(run({"fit", "s.s2p", "--no-stable", "--passive"}), 2);
  EXPECT_NE(errors().find("--passive and --no-stable were given, expected one of them"), std::string::npos)
      << errors();
}

/// A two-port from 0 Hz on whose model violates.
polefit::Network network_from_zero() {
  const polefit::passive_networks::Circuit circuit(Kind::ladder, 2, 3);
  std::vector<double> frequencies;
  for (int k = 0; k <= 120; ++k) {
    frequencies.push_back(circuit.highest() * k / 120.0);
  }
  return sampled(circuit, frequencies, 'S');
}

TEST_F(PassiveFit, values_at_zero_hertz_stay_exact) {
  const polefit::Network network = network_from_zero();
  polefit::write_touchstone(network, "s.s2p");
  expect_corrected({"fit", "s.s2p", "--poles", "8", "--exact-dc", "-o", "m.json"});
  const polefit::Model model = polefit::load("m.json");
  const std::vector<double> zero{0.0};
  const std::vector<std::complex<double>> values = polefit::evaluate(model, zero);
  for (std::size_t r = 0; r < model.responses(); ++r) {
    double terms = std::abs(model.constants[r]);
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      terms += std::abs(model.residues_of(r)[i] / model.poles[i]);
    }
    // Rounding of the sum, of the constant that is what the sum leaves, and of the quotients.
    const double rounding =
        2.0 * static_cast<double>(model.poles.size() + 2) * std::numeric_limits<double>::epsilon() * terms;
    EXPECT_NEAR(values[r].real(), network.values[r * network.frequencies.size()].real(), rounding);
  }
}

TEST_F(PassiveFit, a_value_at_zero_hertz_that_is_kept_and_not_passive_is_told_by_text_and_status) {
  // 1 / (1 + s), a two-thousandth too large: as passive as data are taken for.
  std::string text = "# Hz S RI R 50\n";
  for (int k = 0; k <= 100; ++k) {
    const std::complex<double> value = 1.0005 / std::complex<double>(1.0, 0.05 * k);
    text +=
        std::to_string(k) + " " + std::to_string(value.real()) + " " + std::to_string(value.imag()) + "\n";
  }
  std::ofstream("s.s1p") << text;
  EXPECT_EQ(run({"fit", "s.s1p", "--poles", "1", "--exact-dc", "-o", "m.json"}), 1) << errors();
  EXPECT_NE(
      output().find("; not corrected: the value at 0 Hz, which is to be exact, is not passive itself\n"),
      std::string::npos)
      << output();
  EXPECT_FALSE(polefit::load("m.json").passivity->passive);
  EXPECT_EQ(run({"fit", "s.s1p", "--exact-dc", "-o", "m.json"}), 1) << errors();
  EXPECT_EQ(run({"fit", "s.s1p", "--poles", "1", "-o", "m.json"}), 0) << errors();
  expect_passive_model("m.json");
}

TEST_F(PassiveFit, the_model_of_a_reciprocal_network_stays_symmetric_to_the_last_bit) {
  polefit::write_touchstone(network_from_zero(), "s.s2p");
  expect_corrected({"fit", "s.s2p", "--poles", "8", "-o", "m.json"});
  const polefit::Model model = polefit::load("m.json");
  ASSERT_EQ(model.names[1], "S12");
  ASSERT_EQ(model.names[2], "S21");
  EXPECT_TRUE(std::equal(model.residues_of(1).begin(), model.residues_of(1).end(),
                         model.residues_of(2).begin(), model.residues_of(2).end()));
  EXPECT_EQ(model.constants[1], model.constants[2]);
}

TEST_F(PassiveFit, the_weights_of_the_fit_are_those_of_the_correction) {
  const polefit::Network network = violating_two_port();
  polefit::write_touchstone(network, "s.s2p");
  ASSERT_EQ(run({"fit", "s.s2p", "--poles", "8", "--weights", "relative", "-o", "m.json"}), 0) << errors();
  polefit::Options options;
  options.complex_pairs = 4;
  const std::vector<double> weights = polefit::weights(network.data(), polefit::Weighting::relative);
  const polefit::Fit plain = polefit::fit(network, options, weights);
  EXPECT_EQ(polefit::load("m.json").residues,
            polefit::made_passive(plain, network, {.move_poles = true}, weights).fit.model.residues);
  EXPECT_NE(polefit::load("m.json").residues,
            polefit::made_passive(plain, network, {.move_poles = true}).fit.model.residues);
}

}  // namespace
