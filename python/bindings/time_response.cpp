#include "polefit/time_response.hpp"

#include "values.hpp"

namespace polefit_python {
namespace {

using polefit::Model;
using polefit::Waveform;
/// Times in seconds, and values.
using Points = std::pair<Reals, Reals>;

Waveform waveform_of(const Points& points) {
  return {.times = vector_of(points.first), .values = vector_of(points.second)};
}

py::array_t<double> response(const Model& model, const std::vector<Points>& excitations, const Reals& times) {
  std::vector<Waveform> waveforms;
  waveforms.reserve(excitations.size());
  for (const Points& points : excitations) {
    waveforms.push_back(waveform_of(points));
  }
  std::vector<double> values;
  {
    const WithoutInterpreter released;
    values = polefit::time_response(model, waveforms, span_of(times));
  }
  return by_sample(std::move(values), waveforms.size());
}

py::tuple terminated(const Model& model, const std::vector<double>& resistances,
                     const std::vector<Points>& sources, const Reals& times, double largest_step) {
  if (resistances.size() != sources.size()) {
    throw polefit::Error(polefit::ErrorKind::bad_shape,
                         "there are not as many resistances as sources, one of each a port");
  }
  std::vector<polefit::Termination> terminations;
  terminations.reserve(sources.size());
  for (std::size_t port = 0; port < sources.size(); ++port) {
    terminations.push_back({.resistance = resistances[port], .source = waveform_of(sources[port])});
  }
  polefit::PortSignals signals;
  {
    const WithoutInterpreter released;
    signals =
        polefit::terminated_response(model, terminations, span_of(times), {.largest_step = largest_step});
  }
  return py::make_tuple(by_sample(std::move(signals.voltages), sources.size()),
                        by_sample(std::move(signals.currents), sources.size()), signals.exact);
}

}  // namespace

void bind_time_responses(py::module_& module) {
  module.def("time_response", &response, py::arg("model"), py::arg("excitations"), py::arg("times"));
  module.def("terminated_response", &terminated, py::arg("model"), py::arg("resistances"), py::arg("sources"),
             py::arg("times"), py::arg("largest_step"));
}

}  // namespace polefit_python
