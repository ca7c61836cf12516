#include "values.hpp"

namespace polefit_python {
namespace {

/// One member of all errors.
py::array_t<double> each(const std::vector<polefit::ResponseError>& errors,
                         double polefit::ResponseError::*member) {
  std::vector<double> values;
  values.reserve(errors.size());
  for (const polefit::ResponseError& error : errors) {
    values.push_back(error.*member);
  }
  return array_of(std::move(values));
}

const char* remedy_text(polefit::Remedy remedy) {
  switch (remedy) {
    case polefit::Remedy::shrinking:
      return "shrinking";
    case polefit::Remedy::nearest:
      return "nearest";
    case polefit::Remedy::drawn_inwards:
      return "drawn_inwards";
    default:
      return "none";
  }
}

}  // namespace

bool is_truth_value(const py::object& value) {
  const std::string_view type = Py_TYPE(value.ptr())->tp_name;
  return PyBool_Check(value.ptr()) || type == "numpy.bool_" || type == "numpy.bool";
}

py::str text_of(std::string_view text) {
  PyObject* const decoded =
      PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "surrogateescape");
  if (decoded == nullptr) {
    throw py::error_already_set();
  }
  return py::reinterpret_steal<py::str>(decoded);
}

polefit::Responses responses_of(const Samples& samples) {
  constexpr auto size = static_cast<py::ssize_t>(sizeof(Complex));
  if (samples.ndim() != 2) {
    throw polefit::Error(polefit::ErrorKind::bad_shape, "the samples are no array of two dimensions");
  }
  if (samples.strides(0) % size != 0 || samples.strides(1) % size != 0 ||
      reinterpret_cast<std::uintptr_t>(samples.data()) % alignof(Complex) != 0) {
    throw polefit::Error(polefit::ErrorKind::bad_shape, "the samples do not stand where complex numbers can");
  }
  return {.values = samples.data(),
          .responses = static_cast<std::size_t>(samples.shape(1)),
          .samples = static_cast<std::size_t>(samples.shape(0)),
          .response_stride = samples.strides(1) / size,
          .sample_stride = samples.strides(0) / size};
}

std::optional<polefit::NetworkMatrix> matrix_of(const py::object& matrix) {
  if (matrix.is_none()) {
    return std::nullopt;
  }
  const py::tuple parts(matrix);
  polefit::NetworkMatrix result;
  const auto parameter = parts[0].cast<std::string>();
  if (parameter.size() != 1) {
    throw polefit::Error(polefit::ErrorKind::bad_option,
                         "parameter: found '" + parameter + "', expected 'S', 'Y' or 'Z'");
  }
  result.parameter = parameter.front();
  result.references = parts[1].cast<std::vector<double>>();
  if (parts[2].is_none()) {
    result.elements = polefit::all_elements(result.references.size());
  } else {
    for (const py::handle element : parts[2]) {
      const auto place = element.cast<std::pair<std::size_t, std::size_t>>();
      result.elements.push_back({.row = place.first, .column = place.second});
    }
  }
  for (const py::handle element : parts[3]) {
    const auto mode = element.cast<std::tuple<char, std::size_t, std::size_t>>();
    result.modes.push_back(
        {.kind = std::get<0>(mode), .port = std::get<1>(mode), .other = std::get<2>(mode)});
  }
  result.references_vary = parts[4].cast<bool>();
  return result;
}

py::object python_of(const std::optional<polefit::NetworkMatrix>& matrix) {
  if (!matrix) {
    return py::none();
  }
  py::list elements;
  for (const polefit::MatrixElement& element : matrix->elements) {
    elements.append(py::make_tuple(element.row, element.column));
  }
  py::list modes;
  for (const polefit::PortMode& mode : matrix->modes) {
    modes.append(py::make_tuple(std::string(1, mode.kind), mode.port, mode.other));
  }
  return py::make_tuple(std::string(1, matrix->parameter), py::tuple(py::cast(matrix->references)),
                        py::tuple(elements), py::tuple(modes), matrix->references_vary);
}

py::dict python_of(const std::vector<polefit::ResponseError>& errors) {
  using polefit::ResponseError;
  py::dict result;
  result["rms"] = each(errors, &ResponseError::rms);
  result["relative"] = each(errors, &ResponseError::relative);
  result["largest"] = each(errors, &ResponseError::largest);
  return result;
}

py::dict python_of(const polefit::Passivity& passivity) {
  py::list violations;
  for (const polefit::Violation& violation : passivity.violations) {
    violations.append(
        py::make_tuple(violation.lowest, violation.highest, violation.worst, violation.frequency));
  }
  py::dict result;
  result["passive"] = passivity.passive;
  result["decided"] = passivity.decided;
  result["method"] =
      passivity.method == polefit::PassivityMethod::certificate ? "certificate" : "hamiltonian";
  result["tolerance"] = passivity.tolerance;
  result["pieces"] = passivity.pieces;
  result["extreme"] = passivity.extreme;
  result["frequency"] = passivity.frequency;
  result["violations"] = violations;
  result["proportional_fault"] = passivity.proportional_fault;
  return result;
}

py::dict python_of(const polefit::EnforcementReport& report) {
  py::dict result;
  result["passivity"] = python_of(report.passivity);
  result["remedy"] = remedy_text(report.remedy);
  result["room_pairs"] = report.room_pairs;
  result["rounds"] = report.rounds;
  result["moves"] = report.moves;
  result["operations"] = report.operations;
  result["error_before"] = report.error_before;
  result["error_after"] = report.error_after;
  result["errors_before"] = python_of(report.errors_before);
  result["errors_after"] = python_of(report.errors_after);
  return result;
}

py::dict python_of(const polefit::SampledPassivity& sampled) {
  py::dict result;
  result["passive"] = sampled.passive;
  result["tolerance"] = sampled.tolerance;
  result["extreme"] = sampled.extreme;
  result["frequency"] = sampled.frequency;
  result["samples"] = sampled.samples;
  result["lowest"] = sampled.lowest;
  result["highest"] = sampled.highest;
  return result;
}

}  // namespace polefit_python
