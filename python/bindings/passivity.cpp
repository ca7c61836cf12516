#include "polefit/passivity.hpp"

#include "polefit/enforcement.hpp"
#include "values.hpp"

namespace polefit_python {
namespace {

using polefit::Model;

/// What `action` returns, without the interpreter's lock.
template <class Action>
auto released(const Action& action) {
  const WithoutInterpreter release;
  return action();
}

polefit::NetworkData data_of(const Reals& frequencies, const Samples& samples,
                             std::span<const double> weights) {
  return {.frequencies = span_of(frequencies),
          .responses = responses_of(samples),
          .names = {},
          .weights = weights};
}

py::tuple enforced(const Model& model, const Reals& frequencies, const Samples& samples, const Reals& weights,
                   const py::dict& given) {
  polefit::EnforcementOptions options;
  options.move_poles = option<bool>(given, "move_poles", "True or False");
  options.most_room_pairs = option<std::size_t>(given, "max_room_pairs", "a whole number from 0 on");
  options.error_wanted = option<double>(given, "error", "a number");
  options.keep_value_at_zero = option<bool>(given, "exact_dc", "True or False");
  options.check_in = check_signals;
  const polefit::NetworkData data = data_of(frequencies, samples, span_of(weights));
  polefit::Enforcement found = released([&] { return polefit::enforce_passivity(model, data, options); });
  return py::make_tuple(std::move(found.model), python_of(found.report));
}

}  // namespace

void bind_passivity(py::module_& module) {
  module.def(
      "passivity",
      [](const Model& model) { return python_of(released([&] { return polefit::passivity(model); })); },
      py::arg("model"));
  module.def(
      "passivity_curve",
      [](const Model& model, const Reals& frequencies) {
        return array_of(released([&] { return polefit::passivity_curve(model, span_of(frequencies)); }));
      },
      py::arg("model"), py::arg("frequencies"));
  module.def("enforce_passivity", &enforced, py::arg("model"), py::arg("frequencies"),
             py::arg("samples").noconvert(), py::arg("weights"), py::arg("options"));
  module.def(
      "sampled_passivity",
      [](const Reals& frequencies, const Samples& samples, const py::object& matrix) {
        const polefit::NetworkData data = data_of(frequencies, samples, {});
        const auto known = matrix_of(matrix);
        if (!known) {
          throw polefit::Error(polefit::ErrorKind::bad_shape,
                               "the responses are of no matrix, expected those of a whole one");
        }
        return python_of(released([&] { return polefit::sampled_passivity(data, *known); }));
      },
      py::arg("frequencies"), py::arg("samples").noconvert(), py::arg("matrix"));
}

}  // namespace polefit_python
