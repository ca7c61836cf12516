#include <limits>

#include "polefit/model_file.hpp"
#include "values.hpp"

namespace polefit_python {
namespace {

using polefit::Model;

Model model_of(const Complexes& poles, const Complexes& residues, const Reals& constants,
               const Reals& proportionals, std::vector<std::string> names, const py::object& matrix) {
  Model model;
  model.poles = vector_of(poles);
  model.residues = vector_of(residues);
  model.constants = vector_of(constants);
  model.proportionals = vector_of(proportionals);
  model.names = std::move(names);
  model.network = matrix_of(matrix);
  polefit::check(model);
  return model;
}

py::object origin_of(const Model& model) {
  if (!model.origin) {
    return py::none();
  }
  py::dict result;
  result["lowest"] = model.origin->lowest;
  result["highest"] = model.origin->highest;
  result["samples"] = model.origin->samples;
  result["errors"] = python_of(model.origin->errors);
  result["finding"] = model.origin->finding;
  return result;
}

py::object record_of(const Model& model) {
  if (!model.passivity) {
    return py::none();
  }
  py::dict result;
  result["passive"] = model.passivity->passive;
  result["tolerance"] = model.passivity->tolerance;
  result["extreme"] = model.passivity->extreme;
  result["frequency"] = model.passivity->frequency;
  return result;
}

py::array_t<Complex> residues_of(const py::object& self) {
  const auto& model = self.cast<const Model&>();
  constexpr auto size = static_cast<py::ssize_t>(sizeof(Complex));
  const auto poles = static_cast<py::ssize_t>(model.poles.size());
  return view_of(model.residues, Shape{static_cast<py::ssize_t>(model.responses()), poles},
                 Shape{size * poles, size}, self);
}

py::array_t<Complex> evaluated(const Model& model, const Reals& frequencies) {
  std::vector<Complex> values;
  {
    const WithoutInterpreter released;
    values = polefit::evaluate(model, span_of(frequencies));
  }
  const auto responses = static_cast<py::ssize_t>(model.responses());
  constexpr auto size = static_cast<py::ssize_t>(sizeof(Complex));
  return array_of(std::move(values), Shape{frequencies.size(), responses},
                  Shape{size, size * frequencies.size()});
}

/// Column-major, as the library has it.
py::array_t<double> matrix(std::vector<double> values, std::size_t rows, std::size_t columns) {
  constexpr auto size = static_cast<py::ssize_t>(sizeof(double));
  const auto count = static_cast<py::ssize_t>(rows);
  return array_of(std::move(values), Shape{count, static_cast<py::ssize_t>(columns)},
                  Shape{size, size * count});
}

py::tuple states_of(const Model& model, bool by_ports) {
  polefit::StateSpace states;
  {
    const WithoutInterpreter released;
    states = by_ports ? polefit::port_state_space(model) : polefit::state_space(model);
  }
  return py::make_tuple(matrix(std::move(states.a), states.order, states.order),
                        matrix(std::move(states.b), states.order, states.inputs),
                        matrix(std::move(states.c), states.outputs, states.order),
                        matrix(std::move(states.d), states.outputs, states.inputs),
                        matrix(std::move(states.e), states.outputs, states.inputs));
}

py::dict errors_of(const Model& model, const Reals& frequencies, const Samples& samples) {
  const polefit::NetworkData data{
      .frequencies = span_of(frequencies), .responses = responses_of(samples), .names = {}, .weights = {}};
  std::vector<polefit::ResponseError> errors;
  {
    const WithoutInterpreter released;
    errors = polefit::errors(model, data);
  }
  return python_of(errors);
}

}  // namespace

void bind_models(py::module_& module) {
  using Released = py::call_guard<WithoutInterpreter>;
  py::class_<Model>(module, "Model")
      .def(py::init(&model_of), py::arg("poles"), py::arg("residues"), py::arg("constants"),
           py::arg("proportionals"), py::arg("names"), py::arg("matrix"))
      .def_property_readonly(
          "poles", [](const py::object& self) { return view_of(self.cast<const Model&>().poles, self); })
      .def_property_readonly("residues", &residues_of)
      .def_property_readonly(
          "constants",
          [](const py::object& self) { return view_of(self.cast<const Model&>().constants, self); })
      .def_property_readonly(
          "proportionals",
          [](const py::object& self) { return view_of(self.cast<const Model&>().proportionals, self); })
      .def_readonly("names", &Model::names)
      .def_property_readonly("matrix", [](const Model& model) { return python_of(model.network); })
      .def_property_readonly("origin", &origin_of)
      .def_property_readonly("record", &record_of)
      .def("evaluate", &evaluated, py::arg("frequencies"))
      .def("states", &states_of, py::arg("by_ports"))
      .def("errors", &errors_of, py::arg("frequencies"), py::arg("samples"))
      .def("largest_gain",
           [](const Model& model) {
             const polefit::Gain gain = polefit::largest_gain(model);
             return py::make_tuple(gain.largest, gain.frequency, gain.response);
           })
      .def("to_json", &polefit::to_json, Released())
      .def("save", &polefit::save, py::arg("file"), Released());
  module.def("load", &polefit::load, py::arg("file"), Released());
  module.def("model_from_json", &polefit::model_from_json, py::arg("text"), Released());
}

}  // namespace polefit_python
