#include "polefit_cli/commands/info_text.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <string>

namespace {

using namespace polefit_cli;

polefit::Model model_of_one_response() {
  polefit::Model model;
  const std::complex<double> pair(-3.0, 4.0);
  model.poles = {-2.0, pair, std::conj(pair)};
  model.residues = {1.0, pair, std::conj(pair)};
  model.constants = {0.5};
  model.proportionals = {0.25};
  return model;
}

TEST(InfoText, a_pole_has_frequency_quality_damping_and_parts) {
  const std::string text = info_text(model_of_one_response(), "m.json");
  // |a| = 5: 5 / 2 pi Hz, Q = 5 / 6, damping 3 / 5.
  EXPECT_NE(text.find("pair    0.795775 Hz   0.833       0.6                   -3             +- 4"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("real     0.31831 Hz"), std::string::npos) << text;
  EXPECT_NE(text.find("model with 3 poles and 1 response\n"), std::string::npos) << text;
}

TEST(InfoText, unstable_and_undamped_pairs_are_told_apart) {
  polefit::Model model = model_of_one_response();
  model.poles[1] = {3.0, 4.0};
  model.poles[2] = {3.0, -4.0};
  EXPECT_NE(info_text(model, "m.json").find("unstable"), std::string::npos);
  model.poles[1] = {0.0, 4.0};
  model.poles[2] = {0.0, -4.0};
  EXPECT_NE(info_text(model, "m.json").find("inf"), std::string::npos);
}

TEST(InfoText, errors_band_and_references_are_told_when_they_are_known) {
  polefit::Model model = model_of_one_response();
  EXPECT_EQ(info_text(model, "m.json").find("relative rms"), std::string::npos);
  model.origin = polefit::Origin{1e6, 1e9, 77, {{0.1, 0.2, 0.3}}};
  model.network = polefit::NetworkMatrix{'S', {50.0, 75.0}, {{2, 1}}};
  const std::string text = info_text(model, "m.json");
  EXPECT_NE(text.find("fitted to 77 samples from 1 MHz to 1 GHz"), std::string::npos) << text;
  EXPECT_NE(text.find("2-port, S parameters, reference 50, 75 ohms"), std::string::npos) << text;
  EXPECT_NE(text.find("0.2   0.1             0.3"), std::string::npos) << text;
}

TEST(InfoText, passivity_is_that_of_a_whole_matrix_and_a_part_of_one_is_said_to_be_a_part) {
  polefit::Model model = model_of_one_response();
  EXPECT_EQ(info_text(model, "m.json").find("passive"), std::string::npos);
  model.network = polefit::NetworkMatrix{'Z', {50.0, 75.0}, {{2, 1}}};
  const std::string text = info_text(model, "m.json");
  EXPECT_NE(text.find("\n  passive: not told: only Z21 of a matrix of 2 ports\n"), std::string::npos) << text;
}

TEST(InfoText, a_network_tells_the_range_of_each_response_and_where_its_peak_is) {
  polefit::Network network;
  network.file = "x.csv";
  network.frequencies = {1e3, 2e3, 3e3};
  network.names = {"f"};
  network.values = {{0.1, 0.0}, {0.0, 10.0}, {1.0, 0.0}};
  const std::string text = info_text(network);
  EXPECT_NE(text.find("f            -20 dB     20 dB   2 kHz"), std::string::npos) << text;
  EXPECT_NE(text.find("1 response, 3 samples from 1 kHz to 3 kHz"), std::string::npos) << text;
}

}  // namespace
