#include "polefit/exports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"
#include "polefit/network.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace polefit {
namespace {

using polefit::ErrorKind;
using polefit::Model;
using testing_support::Complex;
using testing_support::eps;
using testing_support::lines_of;
using testing_support::Matrix;
using testing_support::RandomNumbers;
using testing_support::words_of;

/// The matrices of a text, read by the rule that its comments give.
std::map<std::string, Matrix> matrices_of(const std::string& text) {
  std::map<std::string, Matrix> matrices;
  const auto lines = lines_of(text);
  for (std::size_t at = 0; at < lines.size();) {
    const auto words = words_of(lines[at++]);
    if (words.at(0) == "%") {
      continue;
    }
    EXPECT_TRUE(words.size() == 5 && words[0] == "#" && words[3] == "x") << lines[at - 1];
    const int rows = std::stoi(words.at(2));
    const int columns = std::stoi(words.at(4));
    Matrix matrix(rows, columns);
    for (int i = 0; columns > 0 && i < rows; ++i) {
      const auto row = words_of(lines.at(at++));
      EXPECT_EQ(row.size(), static_cast<std::size_t>(columns));
      for (int j = 0; j < columns; ++j) {
        EXPECT_TRUE(text::parse_real(row.at(static_cast<std::size_t>(j)), matrix(i, j)));
      }
    }
    EXPECT_TRUE(matrices.emplace(words[1], matrix).second);
  }
  EXPECT_EQ(matrices.size(), 5U);
  return matrices;
}

/// Element of C (s - A)^-1 B + D + s E, for an A of blocks [a] and [a', a''; -a'', a'].
Complex transfer(const std::map<std::string, Matrix>& m, Complex s, int row, int column) {
  const Matrix& a = m.at("A");
  Complex value = m.at("D")(row, column) + s * m.at("E")(row, column);
  for (int i = 0; i < a.rows; ++i) {
    const bool leads = i + 1 < a.rows && a(i, i + 1) != 0.0;
    const Complex b1 = m.at("B")(i, column);
    Complex x1 = b1 / (s - a(i, i));
    if (leads) {
      const Complex b2 = m.at("B")(i + 1, column);
      const Complex determinant = (s - a(i, i)) * (s - a(i + 1, i + 1)) - Complex(a(i, i + 1) * a(i + 1, i));
      x1 = ((s - a(i + 1, i + 1)) * b1 + a(i, i + 1) * b2) / determinant;
      const Complex x2 = (a(i + 1, i) * b1 + (s - a(i, i)) * b2) / determinant;
      value += m.at("C")(row, i + 1) * x2;
    }
    value += m.at("C")(row, i) * x1;
    i += leads ? 1 : 0;
  }
  return value;
}

/// Responses of size 1 to 10 at s of size 1 to 10.
Model random_model(std::size_t responses) {
  RandomNumbers numbers(7);
  Model model;
  model.poles = {{-3.0, 0.0}, {-0.5, 4.0}, {-0.5, -4.0}, {-7.0, 0.0}};
  for (std::size_t r = 0; r < responses; ++r) {
    const Complex pair = numbers.complex();
    model.residues.insert(model.residues.end(), {numbers(), pair, std::conj(pair), numbers()});
    model.constants.push_back(numbers());
    model.proportionals.push_back(numbers());
  }
  return model;
}

constexpr double frequency = 0.4;
const Complex s_there(0.0, 6.283185307179586 * frequency);

// About ten terms of size 1, each with some ten roundings; numbers read back to the same bits.
constexpr double tolerance = 100.0 * eps;

TEST(StateSpaceText, a_single_input_has_the_responses_as_outputs) {
  Model model = random_model(3);
  for (const bool named : {false, true}) {
    if (named) {  // elements of a matrix, but not all of it
      model.network = polefit::NetworkMatrix{'S', {50.0, 50.0}, {{1, 1}, {2, 2}, {2, 1}}};
    }
    const auto matrices = matrices_of(state_space_text(model));
    EXPECT_EQ(matrices.at("A").rows, 4);
    EXPECT_EQ(matrices.at("B").columns, 1);
    const auto expected = polefit::evaluate(model, std::vector<double>{frequency});
    for (int r = 0; r < 3; ++r) {
      EXPECT_LE(std::abs(transfer(matrices, s_there, r, 0) - expected.at(static_cast<std::size_t>(r))),
                tolerance);
    }
  }
}

TEST(StateSpaceText, a_whole_matrix_has_its_ports_as_inputs_and_outputs) {
  Model model = random_model(9);
  auto elements = all_elements(3);
  std::swap(elements[1], elements[5]);  // not row by row
  model.network = polefit::NetworkMatrix{'Z', {50.0, 50.0, 50.0}, elements};
  const auto matrices = matrices_of(state_space_text(model));
  EXPECT_EQ(matrices.at("A").rows, 12);
  EXPECT_EQ(matrices.at("A").columns, 12);
  EXPECT_EQ(matrices.at("B").columns, 3);
  const auto expected = polefit::evaluate(model, std::vector<double>{frequency});
  for (std::size_t r = 0; r < 9; ++r) {
    const int row = static_cast<int>(elements[r].row) - 1;
    const int column = static_cast<int>(elements[r].column) - 1;
    EXPECT_LE(std::abs(transfer(matrices, s_there, row, column) - expected.at(r)), tolerance);
  }
}

TEST(StateSpaceText, numbers_read_back_to_the_same_bits) {
  Model model = random_model(1);
  model.constants = {0.1};
  EXPECT_NE(state_space_text(model).find("# D 1 x 1\n0.10000000000000001\n"), std::string::npos);
  const auto matrices = matrices_of(state_space_text(model));
  const auto space = polefit::state_space(model);
  EXPECT_EQ(matrices.at("A").elements, space.a);
  EXPECT_EQ(matrices.at("B").elements, space.b);
  EXPECT_EQ(matrices.at("C").elements, space.c);
  EXPECT_EQ(matrices.at("E").elements, space.e);
}

TEST(StateSpaceText, a_whole_matrix_is_written_with_the_numbers_of_its_state_space) {
  Model model = random_model(9);
  auto elements = all_elements(3);
  std::swap(elements[1], elements[5]);
  std::swap(elements[0], elements[7]);
  model.network = polefit::NetworkMatrix{'Y', {50.0, 50.0, 50.0}, elements};
  const auto matrices = matrices_of(state_space_text(model));
  const auto space = polefit::port_state_space(model);
  EXPECT_EQ(matrices.at("A").elements, space.a);
  EXPECT_EQ(matrices.at("B").elements, space.b);
  EXPECT_EQ(matrices.at("C").elements, space.c);
  EXPECT_EQ(matrices.at("D").elements, space.d);
  EXPECT_EQ(matrices.at("E").elements, space.e);
}

TEST(StateSpaceText, a_model_without_poles_has_matrices_without_rows) {
  Model model;
  model.constants = {1.0, 2.0};
  model.proportionals = {0.0, 3.0};
  const std::string text = state_space_text(model);
  EXPECT_TRUE(text.ends_with("# A 0 x 0\n# B 0 x 1\n# C 2 x 0\n# D 2 x 1\n1\n2\n# E 2 x 1\n0\n3\n")) << text;
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

TEST(StateSpaceText, a_model_that_does_not_fit_together_or_is_too_large_is_refused) {
  Model model = random_model(2);
  model.poles[1] = {-1.0, 3.0};
  EXPECT_EQ(kind_of([&] { state_space_text(model); }), ErrorKind::bad_shape) << "no conjugate";
  model = random_model(2);
  model.residues.pop_back();
  EXPECT_EQ(kind_of([&] { state_space_text(model); }), ErrorKind::bad_shape) << "a residue missing";
  model = random_model(2);
  model.network = polefit::NetworkMatrix{'S', {50.0, 50.0}, {{1, 1}, {1, 3}}};
  EXPECT_EQ(kind_of([&] { state_space_text(model); }), ErrorKind::bad_shape) << "no third port";
  model = random_model(0);
  model.poles.assign(10'001, {-1.0, 0.0});
  EXPECT_EQ(kind_of([&] { state_space_text(model); }), ErrorKind::bad_shape) << "too large";
  model = random_model(4);
  model.network = polefit::NetworkMatrix{'S', {50.0, 50.0}, all_elements(2)};
  model.poles.assign(5'001, {-1.0, 0.0});
  model.residues.assign(std::size_t{4} * 5'001, 1.0);
  EXPECT_EQ(kind_of([&] { state_space_text(model); }), ErrorKind::bad_shape) << "too large for two ports";
}

}  // namespace
}  // namespace polefit
