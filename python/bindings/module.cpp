#include <array>
#include <exception>
#include <utility>

#include "values.hpp"

namespace polefit_python {
namespace {

/// In the order of polefit::ErrorKind.
constexpr std::array<const char*, 11> kinds{"no_samples",     "bad_shape",         "bad_frequency",
                                            "bad_sample",     "bad_weight",        "zero_data",
                                            "bad_option",     "too_many_unknowns", "numerical_breakdown",
                                            "bad_model_file", "bad_network_file"};

/// The class of errors, which is Python's own; never destroyed, since the interpreter is gone before statics.
py::object& error_class() {
  static auto* const held = new py::object(py::module_::import("polefit._errors").attr("Error"));
  return *held;
}

}  // namespace

void bind_errors(py::module_& module) {
  module.attr("Error") = error_class();
  py::register_exception_translator([](std::exception_ptr pointer) {
    try {
      if (pointer) {
        std::rethrow_exception(std::move(pointer));
      }
    } catch (const polefit::Error& error) {
      const auto kind = static_cast<std::size_t>(error.kind());
      const py::object raised = error_class()(text_of(error.what()), kinds.at(kind));
      PyErr_SetObject(error_class().ptr(), raised.ptr());
    }
  });
}

}  // namespace polefit_python

PYBIND11_MODULE(_polefit, module) {
  using namespace polefit_python;
  module.doc() = "The library polefit as it is; the package polefit is what is meant to be used.";
  module.attr("version") = POLEFIT_VERSION;
  watch_for_the_end();
  bind_errors(module);
  bind_models(module);
  bind_networks(module);
  bind_fits(module);
  bind_passivity(module);
  bind_time_responses(module);
  bind_exports(module);
}
