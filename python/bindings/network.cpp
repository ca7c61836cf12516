#include "polefit/network.hpp"
#include "polefit/conversion.hpp"
#include "values.hpp"

namespace polefit_python {
namespace {

using polefit::Network;

polefit::NetworkFormat format_of(const std::string& name) {
  using enum polefit::NetworkFormat;
  if (name == "auto") {
    return by_name;
  }
  if (name == "touchstone") {
    return touchstone;
  }
  if (name == "csv") {
    return csv;
  }
  if (name == "samples") {
    return samples;
  }
  throw polefit::Error(polefit::ErrorKind::bad_option,
                       "format: found '" + name + "', expected 'auto', 'touchstone', 'csv' or 'samples'");
}

Network read(const std::string& file, const std::string& format) {
  const polefit::NetworkFormat kind = format_of(format);
  const WithoutInterpreter released;
  return polefit::read_network(file, kind);
}

char parameter_of(const std::string& parameter) {
  if (parameter.size() != 1) {
    throw polefit::Error(polefit::ErrorKind::bad_option, "parameter: found '" + parameter + "'");
  }
  return parameter.front();
}

/// Responses are told from the first to the last as the columns of `samples`.
Network network_of(const Reals& frequencies, const Samples& samples, std::vector<std::string> names,
                   const py::object& matrix, const std::string& file) {
  const polefit::Responses responses = responses_of(samples);
  Network network;
  network.file = file;
  network.frequencies = vector_of(frequencies);
  network.names = std::move(names);
  network.matrix = matrix_of(matrix);
  network.values.reserve(responses.responses * responses.samples);
  for (std::size_t r = 0; r < responses.responses; ++r) {
    for (std::size_t k = 0; k < responses.samples; ++k) {
      network.values.push_back(responses(r, k));
    }
  }
  polefit::check(network);
  return network;
}

py::array_t<Complex> samples_of(const py::object& self) {
  const auto& network = self.cast<const Network&>();
  constexpr auto size = static_cast<py::ssize_t>(sizeof(Complex));
  const auto samples = static_cast<py::ssize_t>(network.frequencies.size());
  return view_of(network.values, Shape{samples, static_cast<py::ssize_t>(network.names.size())},
                 Shape{size, size * samples}, self);
}

polefit::TouchstoneOptions touchstone_options(const py::dict& options) {
  const auto format = option<std::string>(options, "format", "'ri', 'ma' or 'db'");
  const auto unit = option<std::string>(options, "unit", "'Hz', 'kHz', 'MHz' or 'GHz'");
  const auto version = option<std::string>(options, "version", "'1', '1.1', '2' or '2.1'");
  polefit::TouchstoneOptions result;
  const auto refused = [](const char* name, const std::string& found) {
    throw polefit::Error(polefit::ErrorKind::bad_option,
                         std::string(name) + ": found '" + found + "', which Touchstone has not");
  };
  if (format == "ri") {
    result.format = polefit::ComplexFormat::ri;
  } else if (format == "ma") {
    result.format = polefit::ComplexFormat::ma;
  } else if (format == "db") {
    result.format = polefit::ComplexFormat::db;
  } else {
    refused("format", format);
  }
  if (unit == "Hz") {
    result.unit = polefit::FrequencyUnit::hz;
  } else if (unit == "kHz") {
    result.unit = polefit::FrequencyUnit::khz;
  } else if (unit == "MHz") {
    result.unit = polefit::FrequencyUnit::mhz;
  } else if (unit == "GHz") {
    result.unit = polefit::FrequencyUnit::ghz;
  } else {
    refused("unit", unit);
  }
  if (version == "1") {
    result.version = 1;
  } else if (version == "1.1") {
    result.version = 11;
  } else if (version == "2" || version == "2.0") {
    result.version = 2;
  } else if (version == "2.1") {
    result.version = 21;
  } else {
    refused("version", version);
  }
  return result;
}

py::tuple state_of(const Network& network) {
  return py::make_tuple(py::bytes(network.file), python_of(network.matrix), array_of(network.frequencies),
                        network.names, array_of(network.values), network.warnings,
                        array_of(network.impedances));
}

Network network_of_state(const py::tuple& state) {
  Network network;
  network.file = state[0].cast<std::string>();
  network.matrix = matrix_of(state[1]);
  network.frequencies = vector_of(state[2].cast<Reals>());
  network.names = state[3].cast<std::vector<std::string>>();
  network.values = vector_of(state[4].cast<Complexes>());
  network.warnings = state[5].cast<std::vector<std::string>>();
  network.impedances = vector_of(state[6].cast<Complexes>());
  polefit::check(network);
  return network;
}

}  // namespace

void bind_networks(py::module_& module) {
  using Released = py::call_guard<WithoutInterpreter>;
  py::class_<Network>(module, "Network")
      .def(py::init(&network_of), py::arg("frequencies"), py::arg("samples").noconvert(), py::arg("names"),
           py::arg("matrix"), py::arg("file"))
      .def_property_readonly("file", [](const Network& network) { return text_of(network.file); })
      .def_property_readonly(
          "frequencies",
          [](const py::object& self) { return view_of(self.cast<const Network&>().frequencies, self); })
      .def_property_readonly("samples", &samples_of)
      .def_readonly("names", &Network::names)
      .def_readonly("warnings", &Network::warnings)
      .def_property_readonly("matrix", [](const Network& network) { return python_of(network.matrix); })
      .def_property_readonly("impedances",
                             [](const Network& network) {
                               return by_sample(network.impedances,
                                                network.matrix ? network.matrix->ports() : 0);
                             })
      .def(
          "selected",
          [](const Network& network, const std::vector<std::string>& names) {
            return polefit::select_responses(network, names);
          },
          py::arg("names"), Released())
      .def(
          "declared",
          [](Network network, const std::string& parameter, double reference) {
            polefit::declare_one_port(network, parameter_of(parameter), reference);
            return network;
          },
          py::arg("parameter"), py::arg("reference"))
      .def(
          "converted",
          [](const Network& network, const std::string& parameter) {
            const char wanted = parameter_of(parameter);
            return wanted == 'H' || wanted == 'G' ? polefit::hybrid(network, wanted)
                                                  : polefit::converted(network, wanted);
          },
          py::arg("parameter"), Released())
      .def(
          "renormalised",
          [](const Network& network, const std::vector<double>& references) {
            return polefit::renormalised(network, references);
          },
          py::arg("references"), Released())
      .def(
          "touchstone_text",
          [](const Network& network, const py::dict& options) {
            const polefit::TouchstoneOptions wanted = touchstone_options(options);
            const WithoutInterpreter released;
            return polefit::touchstone_text(network, wanted);
          },
          py::arg("options"))
      .def(
          "write_touchstone",
          [](const Network& network, const std::string& file, const py::dict& options) {
            const polefit::TouchstoneOptions wanted = touchstone_options(options);
            const WithoutInterpreter released;
            polefit::write_touchstone(network, file, wanted);
          },
          py::arg("file"), py::arg("options"))
      .def("csv_text", &polefit::csv_text, Released())
      .def("write_csv", &polefit::write_csv, py::arg("file"), Released())
      .def("state", &state_of);
  module.def("network_of_state", &network_of_state, py::arg("state"));
  module.def("read_network", &read, py::arg("file"), py::arg("format"));
  module.def(
      "network_from_text",
      [](const std::string& text, const std::string& file, const std::string& format) {
        const polefit::NetworkFormat kind = format_of(format);
        const WithoutInterpreter released;
        return polefit::network_from_text(text, file, kind);
      },
      py::arg("text"), py::arg("file"), py::arg("format"));
  module.def(
      "sampled",
      [](const polefit::Model& model, std::vector<double> frequencies, const std::string& file) {
        return polefit::sampled(model, std::move(frequencies), file);
      },
      py::arg("model"), py::arg("frequencies"), py::arg("file"), Released());
  module.def(
      "element_names",
      [](const std::string& parameter, std::size_t ports) {
        std::vector<std::string> names;
        for (const polefit::MatrixElement& element : polefit::all_elements(ports)) {
          names.push_back(polefit::element_name(parameter_of(parameter), element, ports));
        }
        return names;
      },
      py::arg("parameter"), py::arg("ports"));
}

}  // namespace polefit_python
