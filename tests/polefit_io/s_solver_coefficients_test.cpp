#include "polefit/exports.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"
#include "s_solver/output/write_coefficients.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace polefit {
namespace {

using polefit::ErrorKind;
using polefit::Model;
using testing_support::Complex;
using testing_support::content_of;
using testing_support::eps;
using testing_support::lines_of;
using testing_support::records_of;
using testing_support::words_of;

Model two_responses() {
  Model model;
  model.poles = {{-1e9 / 11.0, 0.0}, {-1e8 / 3.0, 1e10 / 7.0}, {-1e8 / 3.0, -1e10 / 7.0}};
  model.residues = {{1e7, 0.0},       {1.0, 2.0},         {1.0, -2.0},
                    {1e7 / 3.0, 0.0}, {2e6 / 3.0, -1e-7}, {2e6 / 3.0, 1e-7}};
  model.constants = {0.5, -1.0 / 7.0};
  model.proportionals = {0.0, 1e-12 / 3.0};
  model.origin = polefit::Origin{1e6, 1.1e9, 101, {{}, {}}};
  return model;
}

ErrorKind kind_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const polefit::Error& error) {
    return error.kind();
  }
  ADD_FAILURE() << "no error";
  return {};
}

class SSolverCoefficientsTest : public testing_support::InOwnDirectory {};

TEST_F(SSolverCoefficientsTest, the_text_is_the_file_that_s_solver_writes_to_the_byte) {
  const Model model = two_responses();
  records_of([&] {
    s_solver::write_coefficients(3, model.poles.data(), &model.residues[3], nullptr, model.constants[1],
                                 model.proportionals[1], 1e6, 1.1e9, 101);
  });
  EXPECT_EQ(s_solver_coefficients(model, 1), content_of(data("Tarn.coe")));
}

TEST_F(SSolverCoefficientsTest, the_file_holds_the_response_on_the_normalised_axis) {
  const Model model = two_responses();
  const auto records = lines_of(s_solver_coefficients(model, 1, 2e9));
  const auto number = [&](std::size_t record, std::size_t word) {
    double value = 0.0;
    EXPECT_TRUE(text::parse_real(words_of(records.at(record)).at(word), value));
    return value;
  };
  const double frequency = 3e8;
  const Complex s(0.0, 6.283185307179586 * frequency);
  EXPECT_EQ(number(2, 0), 6.283185307179586 * 2e9);
  const Complex normalised = s / number(2, 0);
  Complex written = number(3, 0) + normalised * number(4, 0);
  for (std::size_t i = 6; i < 9; ++i) {
    written += Complex(number(i, 2), number(i, 3)) / (normalised - Complex(number(i, 0), number(i, 1)));
  }
  const Complex expected = polefit::evaluate(model, std::vector<double>{frequency}).at(1);
  // Some ten roundings a term; no term is larger than the constant.
  EXPECT_LE(std::abs(written - expected), 40.0 * eps * std::abs(model.constants[1]));
}

TEST_F(SSolverCoefficientsTest, a_given_highest_frequency_stands_in_place_of_the_origins) {
  Model model = two_responses();
  EXPECT_EQ(words_of(lines_of(s_solver_coefficients(model, 0, 2e9)).back()),
            (std::vector<std::string>{"0.00050000000000000001", "1", "101"}));
  model.origin.reset();
  EXPECT_EQ(words_of(lines_of(s_solver_coefficients(model, 0, 2e9)).back()),
            (std::vector<std::string>{"0", "1", "0"}));
}

TEST_F(SSolverCoefficientsTest, what_cannot_be_normalised_is_refused) {
  Model model = two_responses();
  const auto kind = [&](std::size_t response, std::optional<double> frequency) {
    return kind_of([&] { s_solver_coefficients(model, response, frequency); });
  };
  EXPECT_EQ(kind(2, std::nullopt), ErrorKind::bad_option);
  EXPECT_EQ(kind(0, 0.0), ErrorKind::bad_option);
  EXPECT_EQ(kind(0, -1.0), ErrorKind::bad_option);
  EXPECT_EQ(kind(0, testing_support::quiet_nan), ErrorKind::bad_option);
  EXPECT_EQ(kind(0, testing_support::infinity), ErrorKind::bad_option);
  EXPECT_EQ(kind(0, 1.7e308), ErrorKind::bad_option) << "2 pi times that overflows";
  EXPECT_EQ(kind(0, 1e-300), ErrorKind::bad_option) << "the poles over that overflow";
  for (const double pole : {-1e9, -1.0}) {
    Model real;
    real.poles = {pole};
    real.residues = {pole == -1.0 ? 1e9 : 1.0};
    real.constants = real.proportionals = {0.0};
    EXPECT_EQ(kind_of([&] { s_solver_coefficients(real, 0, 1e-301); }), ErrorKind::bad_option) << pole;
    real.proportionals = {1e301};
    EXPECT_EQ(kind_of([&] { s_solver_coefficients(real, 0, 1e10); }), ErrorKind::bad_option);
  }
  model.origin->highest = 0.0;
  EXPECT_EQ(kind(0, std::nullopt), ErrorKind::bad_option);
  model.origin.reset();
  EXPECT_EQ(kind(0, std::nullopt), ErrorKind::bad_option);
  model.residues.pop_back();
  EXPECT_EQ(kind(0, 1e9), ErrorKind::bad_shape);
}

}  // namespace
}  // namespace polefit
