/// What goes between Python and the library: arrays, and the few records that Python keeps as its own.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "interpreter.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/error.hpp"
#include "polefit/model.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/passivity.hpp"

namespace polefit_python {

namespace py = pybind11;
using Complex = std::complex<double>;
/// Without gaps; what comes in another layout is copied.
using Reals = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Complexes = py::array_t<Complex, py::array::c_style | py::array::forcecast>;
/// In any layout, never copied.
using Samples = py::array_t<Complex>;
using Shape = std::vector<py::ssize_t>;

/// An array that owns the values.
template <class T>
py::array_t<T> array_of(std::vector<T> values, const Shape& shape, const Shape& strides = {}) {
  auto owned = std::make_unique<std::vector<T>>(std::move(values));
  const T* const data = owned->data();
  const py::capsule owner(owned.get(), [](void* pointer) { delete static_cast<std::vector<T>*>(pointer); });
  static_cast<void>(owned.release());
  return strides.empty() ? py::array_t<T>(shape, data, owner) : py::array_t<T>(shape, strides, data, owner);
}

/// An array of one dimension that owns the values.
template <class T>
py::array_t<T> array_of(std::vector<T> values) {
  const auto size = static_cast<py::ssize_t>(values.size());
  return array_of(std::move(values), Shape{size});
}

/// Values of the first response first, as an array of the shape (samples, responses).
template <class T>
py::array_t<T> by_sample(std::vector<T> values, std::size_t responses) {
  const auto count = static_cast<py::ssize_t>(responses);
  const py::ssize_t samples = count == 0 ? 0 : static_cast<py::ssize_t>(values.size()) / count;
  const auto size = static_cast<py::ssize_t>(sizeof(T));
  return array_of(std::move(values), Shape{samples, count}, Shape{size, size * samples});
}

/// A read-only array of what belongs to `owner`, which it keeps alive.
template <class T>
py::array_t<T> view_of(const std::vector<T>& values, const Shape& shape, const Shape& strides,
                       py::handle owner) {
  py::array_t<T> view(shape, strides, values.data(), owner);
  view.attr("flags").attr("writeable") = false;
  return view;
}

template <class T>
py::array_t<T> view_of(const std::vector<T>& values, py::handle owner) {
  return view_of(values, Shape{static_cast<py::ssize_t>(values.size())},
                 Shape{static_cast<py::ssize_t>(sizeof(T))}, owner);
}

template <class T, int Flags>
std::span<const T> span_of(const py::array_t<T, Flags>& array) {
  return {array.data(), static_cast<std::size_t>(array.size())};
}

template <class T, int Flags>
std::vector<T> vector_of(const py::array_t<T, Flags>& array) {
  return {array.data(), array.data() + array.size()};
}

/// The responses in an array of the shape (samples, responses), where they stand.
polefit::Responses responses_of(const Samples& samples);

/// (parameter, references, ((row, column), ...), ((kind, port, other), ...), references_vary), or None.
/// Without rows and columns they are those of the whole matrix, row by row.
std::optional<polefit::NetworkMatrix> matrix_of(const py::object& matrix);
py::object python_of(const std::optional<polefit::NetworkMatrix>& matrix);

/// Of the names of the records' members in Python.
py::dict python_of(const std::vector<polefit::ResponseError>& errors);
py::dict python_of(const polefit::Passivity& passivity);
py::dict python_of(const polefit::EnforcementReport& report);
py::dict python_of(const polefit::SampledPassivity& sampled);

/// Whether it is True or False, of Python or of numpy.
bool is_truth_value(const py::object& value);

/// The value of an option: truth values are no numbers, and nothing else is a truth value. Throws Error
/// (bad_option), which says what was expected.
template <class T>
T option(const py::dict& options, const char* name, const char* expected) {
  const py::object value = options[name];
  try {
    if (is_truth_value(value) == std::is_same_v<T, bool>) {
      return py::cast<T>(value);
    }
  } catch (const py::cast_error&) {  // said below
  }
  throw polefit::Error(
      polefit::ErrorKind::bad_option,
      std::string(name) + ": found " + std::string(py::repr(value)) + ", expected " + expected);
}

/// Text with the name of a file in it, of whatever bytes: as os.fsdecode gives it.
py::str text_of(std::string_view text);

void bind_errors(py::module_& module);
void bind_models(py::module_& module);
void bind_networks(py::module_& module);
void bind_fits(py::module_& module);
void bind_passivity(py::module_& module);
void bind_time_responses(py::module_& module);
void bind_exports(py::module_& module);

}  // namespace polefit_python
