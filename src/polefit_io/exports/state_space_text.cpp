#include "polefit/exports.hpp"

#include <cstddef>
#include <functional>
#include <optional>

#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit_io/exports/finite_model.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

using Element = std::function<double(std::size_t row, std::size_t column)>;

// The square is the number of A's elements; the zeros of A alone are then 200 MB of text.
constexpr std::size_t most_states = 10'000;

void check_size(std::size_t order, std::size_t inputs) {
  if (order > most_states / inputs) {
    throw Error(ErrorKind::bad_shape, "the state space of " + std::to_string(order) + " poles for each of " +
                                          std::to_string(inputs) + " inputs is too large for a text");
  }
}

void append_matrix(std::string& text, char name, std::size_t rows, std::size_t columns,
                   const Element& element) {
  text += std::string("# ") + name + ' ' + std::to_string(rows) + " x " + std::to_string(columns) + '\n';
  if (columns == 0) {
    return;
  }
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      text += column == 0 ? "" : " ";
      text += text::significant(element(row, column));
    }
    text += '\n';
  }
}

constexpr const char* form =
    "% x' = A x + B u, y = C x + D u + E u', time in seconds\n"
    "% Each matrix: a line '# NAME ROWS x COLUMNS', then its rows.\n";

std::string single_input_text(const StateSpace& space) {
  const std::size_t n = space.order;
  const std::size_t outputs = space.outputs;
  std::string text = form;
  text += "% One input; the outputs are the responses of the model, in its order.\n";
  append_matrix(text, 'A', n, n, [&](std::size_t i, std::size_t j) { return space.a[i + j * n]; });
  append_matrix(text, 'B', n, 1, [&](std::size_t i, std::size_t) { return space.b[i]; });
  append_matrix(text, 'C', outputs, n,
                [&](std::size_t r, std::size_t j) { return space.c[r + j * outputs]; });
  append_matrix(text, 'D', outputs, 1, [&](std::size_t r, std::size_t) { return space.d[r]; });
  append_matrix(text, 'E', outputs, 1, [&](std::size_t r, std::size_t) { return space.e[r]; });
  return text;
}

std::string matrix_text(const StateSpace& space, const WholeMatrix& matrix, char parameter) {
  const std::size_t n = space.order;
  const std::size_t ports = matrix.ports();
  const std::size_t states = ports * n;
  std::string text = form;
  text += "% The ";
  text += parameter;
  text +=
      " matrix of a network: inputs and outputs are its ports. The states of the\n"
      "% first port's input stand first.\n";
  append_matrix(text, 'A', states, states, [&](std::size_t i, std::size_t j) {
    return i / n == j / n ? space.a[i % n + j % n * n] : 0.0;
  });
  append_matrix(text, 'B', states, ports,
                [&](std::size_t i, std::size_t port) { return i / n == port ? space.b[i % n] : 0.0; });
  append_matrix(text, 'C', ports, states, [&](std::size_t port, std::size_t j) {
    return space.c[matrix.response(port, j / n) + j % n * space.outputs];
  });
  append_matrix(text, 'D', ports, ports,
                [&](std::size_t i, std::size_t j) { return space.d[matrix.response(i, j)]; });
  append_matrix(text, 'E', ports, ports,
                [&](std::size_t i, std::size_t j) { return space.e[matrix.response(i, j)]; });
  return text;
}

}  // namespace

std::string state_space_text(const Model& model) {
  check(model);
  refuse_numbers_not_finite(model);
  const auto matrix = whole_matrix(model.network);
  check_size(model.poles.size(), matrix ? matrix->ports() : 1);  // before there are matrices of that size
  const StateSpace space = state_space(model);
  return matrix ? matrix_text(space, *matrix, model.network->parameter) : single_input_text(space);
}

void write_state_space(const Model& model, const std::string& file) {
  write_file(ErrorKind::bad_network_file, file, state_space_text(model));
}

}  // namespace polefit
