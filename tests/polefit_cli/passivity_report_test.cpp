#include "polefit_cli/commands/passivity_report.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "polefit/network_matrix.hpp"

namespace polefit_cli {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

polefit::Model one_port(char parameter) {
  polefit::Model model;
  model.poles = {-1.0};
  model.residues = {0.5};
  model.constants = {0.0};
  model.proportionals = {0.0};
  model.network = polefit::NetworkMatrix{parameter, {50.0}, polefit::all_elements(1)};
  return model;
}

TEST(PassivityReport, of_a_passive_model_has_the_limit_and_what_comes_nearest) {
  polefit::Passivity passivity;
  passivity.passive = true;
  passivity.pieces = 8;
  passivity.extreme = 0.25;
  passivity.frequency = 2e6;
  EXPECT_EQ(passivity_report(one_port('S'), passivity, "m.json", most_intervals), R"(m.json
  model with 1 pole and 1 response
  1-port, S parameters, reference 50 ohms

  passive     yes, certified at all frequencies
  limit       no singular value of S above 1, with a tolerance of 1e-09
  largest     0.25 at 2 MHz
  decided     by bounds on 8 pieces of the frequency axis
)");
  EXPECT_EQ(passivity_verdict(passivity), "passive at all frequencies");
}

TEST(PassivityReport, lists_every_interval_up_to_infinity) {
  polefit::Passivity passivity;
  passivity.pieces = 20;
  passivity.extreme = -2.0;
  passivity.frequency = infinity;
  passivity.violations = {{0.0, 1e3, -0.5, 0.0}, {2e6, infinity, -2.0, infinity}};
  EXPECT_EQ(passivity_report(one_port('Z'), passivity, "m.json", most_intervals), R"(m.json
  model with 1 pole and 1 response
  1-port, Z parameters, reference 50 ohms

  passive     no
  limit       no eigenvalue of the Hermitian part below 0, with a tolerance of the value's norm times 1e-09
  smallest    -2 ohms at infinity
  decided     by bounds on 20 pieces of the frequency axis

  not passive in 2 intervals:
  from          to   smallest eigenvalue         at
  0 Hz       1 kHz             -0.5 ohms       0 Hz
  2 MHz   infinity               -2 ohms   infinity
)");
  EXPECT_EQ(passivity_verdict(passivity), "not passive in 2 intervals");
}

TEST(PassivityReport, of_many_intervals_lists_the_worst_by_frequency_and_says_how_many_there_are_more) {
  polefit::Passivity passivity;
  passivity.extreme = 1.4;
  for (const double excess : {0.2, 0.1, 0.4, 0.3}) {
    const double hertz = 1e3 * static_cast<double>(1 + passivity.violations.size());
    passivity.violations.push_back({hertz, 1.5 * hertz, 1.0 + excess, 1.25 * hertz});
  }
  const std::string some = passivity_report(one_port('S'), passivity, "m.json", 2);
  EXPECT_TRUE(some.ends_with(R"(
  not passive in 4 intervals, of which these are the 2 worst:
  from         to   largest singular value         at
  3 kHz   4.5 kHz                      1.4   3.75 kHz
  4 kHz     6 kHz                      1.3      5 kHz
  and 2 more, which --all lists
)")) << some;
  const std::string all = passivity_report(one_port('S'), passivity, "m.json", 4);
  EXPECT_NE(all.find("\n  1 kHz "), std::string::npos) << all;
  EXPECT_EQ(all.find("more"), std::string::npos) << all;
  for (polefit::Violation& violation : passivity.violations) {
    violation.worst = -violation.worst;  // the worst of an admittance are the smallest
  }
  const std::string smallest = passivity_report(one_port('Y'), passivity, "m.json", 1);
  EXPECT_NE(smallest.find("-1.4 S   3.75 kHz\n  and 3 more"), std::string::npos) << smallest;
}

TEST(PassivityReport, says_what_decided_and_calls_certified_only_what_a_certificate_told) {
  polefit::Passivity passivity;
  passivity.passive = true;
  passivity.pieces = 100000;
  passivity.method = polefit::PassivityMethod::hamiltonian;
  const auto report = [&] { return passivity_report(one_port('S'), passivity, "m.json", most_intervals); };
  EXPECT_NE(report().find("passive     yes, at all frequencies\n"), std::string::npos) << report();
  EXPECT_NE(
      report().find("decided     by a Hamiltonian matrix, after bounds on 100000 pieces of the frequency "
                    "axis\n"),
      std::string::npos)
      << report();
  passivity.passive = false;
  EXPECT_NE(report().find("passive     no\n"), std::string::npos) << report();
  passivity.method = polefit::PassivityMethod::certificate;
  passivity.decided = false;
  EXPECT_NE(report().find("passive     could not be told\n"), std::string::npos) << report();
  EXPECT_NE(report().find("decided     no, after bounds on 100000 pieces"), std::string::npos) << report();
  passivity.proportional_fault = "S grows with the frequency";  // whatever the rest does
  EXPECT_NE(report().find("passive     no\n"), std::string::npos) << report();
  EXPECT_EQ(passivity_verdict(passivity), "not passive: S grows with the frequency");
}

TEST(PassivityReport, names_a_fault_of_proportional_terms_and_what_could_not_be_told) {
  polefit::Passivity passivity;
  passivity.proportional_fault = "S grows with the frequency";
  const std::string fault = passivity_report(one_port('S'), passivity, "m.json", most_intervals);
  EXPECT_NE(fault.find("passive     no\n  fault       S grows with the frequency\n"), std::string::npos)
      << fault;
  EXPECT_EQ(passivity_verdict(passivity), "not passive: S grows with the frequency");
  passivity.proportional_fault.clear();
  passivity.decided = false;
  const std::string untold = passivity_report(one_port('S'), passivity, "m.json", most_intervals);
  EXPECT_NE(untold.find("passive     could not be told\n"), std::string::npos) << untold;
  EXPECT_EQ(passivity_verdict(passivity), "could not be told to be passive");
}

}  // namespace
}  // namespace polefit_cli
