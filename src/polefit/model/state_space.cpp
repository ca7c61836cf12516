#include <complex>
#include <cstddef>

#include "polefit/model.hpp"
#include "polefit/model/model_faults.hpp"

namespace polefit {
StateSpace state_space(const Model& model) {
  check(model);
  const std::size_t order = model.poles.size();
  const std::size_t outputs = model.responses();
  StateSpace result{order, 1, outputs, {}, {}, {}, model.constants, model.proportionals};
  result.a.resize(order * order);
  result.b.resize(order);
  result.c.resize(outputs * order);
  const auto a = [&](std::size_t i, std::size_t j) -> double& { return result.a[i + j * order]; };

  for (std::size_t i = 0; i < order;) {
    const bool real = model.poles[i].imag() == 0.0;
    a(i, i) = model.poles[i].real();
    result.b[i] = real ? 1.0 : 2.0;
    if (!real) {
      a(i, i + 1) = model.poles[i].imag();
      a(i + 1, i) = -model.poles[i].imag();
      a(i + 1, i + 1) = model.poles[i].real();
    }
    // 2 (c' (s - a') - c'' a'') / |.|^2 is what a pair adds to a response, and what c' and c'' make of the
    // states.
    for (std::size_t r = 0; r < outputs; ++r) {
      const std::complex<double> residue = model.residues_of(r)[i];
      result.c[r + i * outputs] = residue.real();
      if (!real) {
        result.c[r + (i + 1) * outputs] = residue.imag();
      }
    }
    i += real ? 1 : 2;
  }
  return result;
}

StateSpace port_state_space(const Model& model) {
  const StateSpace single = state_space(model);
  const WholeMatrix matrix = matrix_of(model);
  const std::size_t n = single.order;
  const std::size_t ports = matrix.ports();
  const std::size_t order = ports * n;
  StateSpace result{order, ports, ports, {}, {}, {}, {}, {}};
  result.a.resize(order * order);
  result.b.resize(order * ports);
  result.c.resize(ports * order);
  for (std::size_t input = 0; input < ports; ++input) {
    for (std::size_t j = 0; j < n; ++j) {
      const std::size_t state = input * n + j;
      for (std::size_t i = 0; i < n; ++i) {
        result.a[input * n + i + state * order] = single.a[i + j * n];
      }
      result.b[state + input * order] = single.b[j];
      for (std::size_t output = 0; output < ports; ++output) {
        result.c[output + state * ports] = single.c[matrix.response(output, input) + j * single.outputs];
      }
    }
    for (std::size_t output = 0; output < ports; ++output) {
      result.d.push_back(single.d[matrix.response(output, input)]);
      result.e.push_back(single.e[matrix.response(output, input)]);
    }
  }
  return result;
}

}  // namespace polefit
