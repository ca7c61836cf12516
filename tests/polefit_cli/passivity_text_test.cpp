#include "polefit_cli/commands/passivity_text.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <vector>

#include "polefit/network_matrix.hpp"

namespace polefit_cli {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(PassivityText, says_where_a_passive_model_is_nearest_to_its_limit) {
  polefit::Passivity passivity;
  passivity.passive = true;
  passivity.extreme = 0.99998;
  passivity.frequency = 1.42e10;
  EXPECT_EQ(passivity_text(passivity, 'S'),
            "certified at all frequencies (largest singular value 0.99998 at 14.2 GHz)");
  passivity.frequency = infinity;
  EXPECT_EQ(passivity_text(passivity, 'Y'),
            "certified at all frequencies (least eigenvalue of the real part 0.99998 at infinite frequency)");
  passivity.method = polefit::PassivityMethod::hamiltonian;
  EXPECT_EQ(
      passivity_text(passivity, 'S'),
      "at all frequencies, by a Hamiltonian matrix (largest singular value 0.99998 at infinite frequency)");
}

TEST(PassivityText, says_from_where_to_where_a_model_is_not_passive) {
  polefit::Passivity passivity;
  passivity.extreme = 2.0;
  passivity.frequency = 3e9;
  passivity.violations = {{1e9, 4e9, 2.0, 3e9}};
  EXPECT_EQ(passivity_text(passivity, 'S'),
            "no: largest singular value 2 at 3 GHz, above 1 from 1 GHz to 4 GHz");
  passivity.violations.push_back({5e9, infinity, 1.5, 6e9});
  EXPECT_EQ(passivity_text(passivity, 'S'),
            "no: largest singular value 2 at 3 GHz, above 1 in 2 intervals from 1 GHz on");
  passivity.violations.front().lowest = 0.0;  // with a gap between them
  EXPECT_EQ(passivity_text(passivity, 'S'),
            "no: largest singular value 2 at 3 GHz, above 1 in 2 intervals from 0 Hz on");
  passivity.violations = {{0.0, infinity, 2.0, 3e9}};
  EXPECT_EQ(passivity_text(passivity, 'S'),
            "no: largest singular value 2 at 3 GHz, above 1 at all frequencies");
  passivity.extreme = -0.5;
  passivity.violations = {{0.0, 1e3, -0.5, 0.0}};
  EXPECT_EQ(passivity_text(passivity, 'Z'),
            "no: least eigenvalue of the real part -0.5 at 3 GHz, below 0 from 0 Hz to 1 kHz");
}

TEST(PassivityText, names_what_is_wrong_with_proportional_terms_and_what_could_not_be_told) {
  polefit::Passivity passivity;
  passivity.proportional_fault = "S grows with the frequency";
  EXPECT_EQ(passivity_text(passivity, 'S'), "no: S grows with the frequency");
  passivity.proportional_fault.clear();
  passivity.decided = false;
  passivity.extreme = 1.0;
  EXPECT_EQ(passivity_text(passivity, 'S'), "could not be told: largest singular value 1 at 0 Hz");
}

TEST(PassivityText, a_value_has_as_many_digits_as_tell_it_from_1) {
  EXPECT_EQ(judged_number(1.0, 'S'), "1");
  EXPECT_EQ(judged_number(1.0 + 3.456e-8, 'S'), "1.0000000346");
  EXPECT_EQ(judged_number(1.0 - 3.456e-8, 'S'), "0.9999999654");
  EXPECT_EQ(judged_number(0.1234567, 'S'), "0.123457");
  EXPECT_EQ(judged_number(20.0 / 3.0, 'S'), "6.66667");
  EXPECT_EQ(judged_number(1.0 + 3.456e-8, 'Z'), "1");
}

TEST(PassivityText, a_line_about_any_model_of_a_network_says_why_nothing_is_told) {
  polefit::Model model;
  model.poles = {-1.0};
  model.residues = {0.5};
  model.constants = {0.0};
  model.proportionals = {0.0};
  EXPECT_EQ(passivity_line(model), std::nullopt);
  model.network = polefit::NetworkMatrix{'S', std::vector<double>(4, 50.0), {{2, 1}}};
  EXPECT_EQ(passivity_line(model), "not told: only S21 of a matrix of 4 ports");
  model.network->elements.push_back({2, 2});
  EXPECT_EQ(part_text(*model.network), "only 2 elements of a matrix of 4 ports");
  model.network = polefit::NetworkMatrix{'S', {50.0}, polefit::all_elements(1)};
  EXPECT_EQ(passivity_line(model), "certified at all frequencies (largest singular value 0.5 at 0 Hz)");
  model.poles = {0.0};
  EXPECT_EQ(passivity_line(model), "no: 1 pole not in the left half-plane");
  model.poles = {-1.0};
  model.residues = {std::numeric_limits<double>::quiet_NaN()};
  EXPECT_EQ(passivity_line(model), "not told: the model has numbers that are not finite");
  model.residues = {1e200};
  EXPECT_EQ(passivity_line(model),
            "not told: the model has numbers that are too large or too small to tell whether it is passive");
}

TEST(PassivityText, of_what_is_no_stable_whole_matrix_is_none) {
  polefit::Model model;
  model.poles = {-1.0};
  model.residues = {0.5};
  model.constants = {0.0};
  model.proportionals = {0.0};
  EXPECT_FALSE(judgement_of(model).passivity);
  model.network = polefit::NetworkMatrix{'S', {50.0}, polefit::all_elements(1)};
  ASSERT_TRUE(judgement_of(model).passivity);
  EXPECT_TRUE(judgement_of(model).passivity->passive);
  model.poles = {1.0};
  EXPECT_FALSE(judgement_of(model).passivity);
  model.poles = {-1.0};
  model.residues = {std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(judgement_of(model).passivity);
}

TEST(PassivityText, a_model_of_tens_of_thousands_of_poles_is_not_judged_in_passing) {
  polefit::Model model;
  for (int i = 1; i <= 40000; ++i) {
    model.poles.emplace_back(-static_cast<double>(i), 0.0);
  }
  model.residues.assign(model.poles.size(), 0.0);
  model.constants = {0.0};
  model.proportionals = {0.0};
  model.network = polefit::NetworkMatrix{'S', {50.0}, polefit::all_elements(1)};
  EXPECT_FALSE(judgement_in_passing(model).passivity);
  EXPECT_EQ(passivity_line(model),
            "not told: the model is too large to be judged in passing, polefit passivity does it");
  model.poles.resize(1);
  model.residues.resize(1);
  EXPECT_TRUE(judgement_in_passing(model).passivity);
}

}  // namespace
}  // namespace polefit_cli
