#include "polefit/exports.hpp"

#include "values.hpp"

namespace polefit_python {

void bind_exports(py::module_& module) {
  using Released = py::call_guard<WithoutInterpreter>;
  module.def("is_subcircuit_name", &polefit::is_subcircuit_name, py::arg("name"));
  module.def("spice_subcircuit", &polefit::spice_subcircuit, py::arg("model"), py::arg("name"), Released());
  module.def("write_spice", &polefit::write_spice, py::arg("model"), py::arg("file"), py::arg("name"),
             Released());
  module.def("state_space_text", &polefit::state_space_text, py::arg("model"), Released());
  module.def("write_state_space", &polefit::write_state_space, py::arg("model"), py::arg("file"), Released());
  module.def("s_solver_coefficients", &polefit::s_solver_coefficients, py::arg("model"), py::arg("response"),
             py::arg("highest_frequency"), Released());
  module.def("write_s_solver_coefficients", &polefit::write_s_solver_coefficients, py::arg("model"),
             py::arg("file"), py::arg("response"), py::arg("highest_frequency"), Released());
  module.def("write_export", &polefit::write_export, py::arg("file"), py::arg("content"), Released());
}

}  // namespace polefit_python
