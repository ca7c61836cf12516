#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <thread>

#include "polefit/network.hpp"
#include "polefit/weights.hpp"
#include "polefit/whole_fit.hpp"
#include "values.hpp"

namespace polefit_python {
namespace {

template <class Meaning, std::size_t Count>
using Names = std::array<std::pair<std::string_view, Meaning>, Count>;

constexpr Names<polefit::Measure, 3> measures{{{"rms", polefit::Measure::relative_rms},
                                               {"worst", polefit::Measure::worst_response},
                                               {"largest", polefit::Measure::largest_error}}};
constexpr Names<polefit::Placement, 3> placements{{{"linear", polefit::Placement::linear},
                                                   {"log", polefit::Placement::logarithmic},
                                                   {"peaks", polefit::Placement::peaks}}};
constexpr Names<polefit::Weighting, 4> weightings{{{"balanced", polefit::Weighting::balanced},
                                                   {"uniform", polefit::Weighting::uniform},
                                                   {"relative", polefit::Weighting::relative},
                                                   {"root", polefit::Weighting::root}}};

template <class Meaning, std::size_t Count>
Meaning meaning_of(const py::object& given, const char* option, const Names<Meaning, Count>& names) {
  std::string expected;
  for (const auto& [name, meaning] : names) {
    if (py::isinstance<py::str>(given) && given.equal(py::str(name.data(), name.size()))) {
      return meaning;
    }
    expected.append(expected.empty() ? "'" : ", '").append(name).append("'");
  }
  throw polefit::Error(
      polefit::ErrorKind::bad_option,
      std::string(option) + ": found " + std::string(py::repr(given)) + ", expected one of " + expected);
}

template <class T>
std::optional<T> optional_of(const py::dict& options, const char* name, const char* expected) {
  return py::object(options[name]).is_none() ? std::nullopt
                                             : std::optional(option<T>(options, name, expected));
}

constexpr const char* whole_number = "a whole number from 0 on";
constexpr const char* yes_or_no = "True or False";

/// What is told of a run goes to a callable of Python, whose False ends it, and no other answer.
std::function<bool(const polefit::Progress&)> told_to(const py::object& callable) {
  if (callable.is_none()) {
    return {};
  }
  // Called with the interpreter's lock, which the run does not hold.
  return [callable = callable.ptr()](const polefit::Progress& step) {
    const WithInterpreter held;
    const py::object answer = py::reinterpret_borrow<py::object>(callable)(
        step.iteration, step.order, step.residual, step.pole_change,
        step.path == polefit::Path::gram ? "gram" : "orthogonal", step.polishing, step.error);
    return !is_truth_value(answer) || py::cast<bool>(answer);
  };
}

polefit::WholeFitOptions options_of(const py::dict& given) {
  polefit::WholeFitOptions wanted;
  wanted.poles = optional_of<std::size_t>(given, "poles", whole_number);
  wanted.real_poles = optional_of<std::size_t>(given, "real", whole_number);
  wanted.error = optional_of<double>(given, "error", "a number above 0");
  wanted.most_poles = optional_of<std::size_t>(given, "max_poles", whole_number);
  wanted.passive = optional_of<bool>(given, "passive", "True, False or None");
  const py::object measure = given["measure"];
  if (!measure.is_none()) {
    wanted.measure = meaning_of(measure, "measure", measures);
  }
  polefit::Options& options = wanted.options;
  options.placement = meaning_of(given["spacing"], "spacing", placements);
  options.constant = option<bool>(given, "constant", yes_or_no);
  options.proportional = option<bool>(given, "proportional", yes_or_no);
  options.stable = option<bool>(given, "stable", yes_or_no);
  options.orthogonal = option<bool>(given, "orthogonal", yes_or_no);
  options.iterations = option<int>(given, "iterations", "a whole number from 0 on");
  options.polish = option<bool>(given, "polish", yes_or_no);
  options.starting_poles = vector_of(option<Complexes>(given, "starting_poles", "complex numbers"));
  const auto threads = optional_of<int>(given, "threads", "a whole number from 1 on");
  options.threads = threads ? *threads : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  options.progress = told_to(given["progress"]);
  options.check_in = check_signals;
  return wanted;
}

std::size_t sample_at_zero(std::span<const double> frequencies) {
  const auto found = std::find(frequencies.begin(), frequencies.end(), 0.0);
  if (found == frequencies.end()) {
    throw polefit::Error(polefit::ErrorKind::bad_option, "no sample at 0 Hz, expected one for exact_dc");
  }
  return static_cast<std::size_t>(found - frequencies.begin());
}

const char* reason_text(polefit::StopReason reason) {
  switch (reason) {
    case polefit::StopReason::poles_settled:
      return "poles_settled";
    case polefit::StopReason::residual_settled:
      return "residual_settled";
    case polefit::StopReason::iteration_limit:
      return "iteration_limit";
    case polefit::StopReason::searched:
      return "searched";
    default:
      return "cancelled";
  }
}

py::dict python_of(const polefit::Report& report) {
  py::dict result;
  result["iterations"] = report.iterations;
  result["reason"] = reason_text(report.reason);
  result["last_path"] = report.last_path == polefit::Path::gram ? "gram" : "orthogonal";
  result["gram_relocations"] = report.gram_relocations;
  result["orthogonal_relocations"] = report.orthogonal_relocations;
  result["polishing_steps"] = report.polishing_steps;
  result["residual"] = report.residual;
  result["condition_basis"] = report.condition_basis;
  result["condition_sigma"] = report.condition_sigma;
  result["errors"] = polefit_python::python_of(report.errors);
  result["relative_error"] = report.relative_error;
  result["worst_relative_error"] = report.worst_relative_error;
  result["largest_error"] = report.largest_error;
  result["gain"] = report.gain;
  result["finding"] = report.finding;
  return result;
}

template <class T>
py::object python_or_none(const std::optional<T>& value) {
  return value ? py::object(polefit_python::python_of(*value)) : py::none();
}

/// What a fit came to beside the model. Most who fit ask for little of it, and it takes longer to say in
/// Python than a small fit takes to be set up.
struct Outcome {
  polefit::WholeFit found;
  bool harmful = false;
  double seconds = 0.0;
};

py::dict told(const Outcome& of) {
  const polefit::WholeFit& found = of.found;
  py::dict outcome;
  outcome["report"] = python_of(found.fit.report);
  outcome["converged"] = polefit::converged(found);
  outcome["harmful"] = of.harmful;
  outcome["passivity"] = python_or_none(found.passivity);
  outcome["enforcement"] = python_or_none(found.enforcement);
  outcome["first_order"] = found.first.order;
  outcome["first_error"] = found.first.error;
  outcome["active"] = python_or_none(found.active);
  outcome["not_corrected"] = found.not_corrected;
  outcome["off_at_zero"] = found.off_at_exact_sample;
  outcome["orders_tried"] = found.orders_tried;
  outcome["noise"] = array_of(found.noise);
  outcome["seconds"] = of.seconds;
  return outcome;
}

/// Fits without the interpreter's lock. `weights` is one kind of them, or an array, as `data` takes it.
py::tuple fitted(polefit::NetworkData data, const std::optional<polefit::NetworkMatrix>& matrix,
                 const std::string& file, const py::object& weights, const py::dict& given) {
  using Clock = std::chrono::steady_clock;
  polefit::WholeFitOptions options = options_of(given);
  if (option<bool>(given, "exact_dc", yes_or_no)) {
    options.options.exact_sample = sample_at_zero(data.frequencies);
  }
  std::optional<polefit::Weighting> weighting;
  std::optional<Reals> factors;
  if (py::isinstance<py::str>(weights)) {
    weighting = meaning_of(weights, "weights", weightings);
  } else {
    factors = weights.cast<Reals>();
    data.weights = span_of(*factors);
  }
  Outcome outcome;
  {
    const WithoutInterpreter released;
    const auto start = Clock::now();
    try {
      const std::vector<double> by_kind =
          weighting ? polefit::weights(data, *weighting) : std::vector<double>();
      if (weighting) {
        data.weights = by_kind;
      }
      outcome.found = polefit::whole_fit(data, matrix, options);
      outcome.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } catch (const polefit::Error& error) {
      throw polefit::Error(error.kind(), file.empty() ? error.what() : file + ": " + error.what());
    }
  }
  outcome.harmful = polefit::harmful(outcome.found, matrix);
  polefit::Model model = std::exchange(outcome.found.fit.model, {});
  return py::make_tuple(std::move(model), std::move(outcome));
}

py::tuple fit_samples(const Reals& frequencies, const Samples& samples, const std::vector<std::string>& names,
                      const py::object& matrix, const std::string& file, const py::object& weights,
                      const py::dict& options) {
  return fitted({.frequencies = span_of(frequencies),
                 .responses = responses_of(samples),
                 .names = names,
                 .weights = {}},
                matrix_of(matrix), file, weights, options);
}

py::array_t<double> weights_by_kind(const Reals& frequencies, const Samples& samples,
                                    const py::object& kind) {
  const polefit::Weighting weighting = meaning_of(kind, "weights", weightings);
  const polefit::NetworkData data{
      .frequencies = span_of(frequencies), .responses = responses_of(samples), .names = {}, .weights = {}};
  return array_of(polefit::weights(data, weighting));
}

}  // namespace

void bind_fits(py::module_& module) {
  py::class_<Outcome>(module, "Outcome").def("told", &told);
  module.def("fit", &fit_samples, py::arg("frequencies").noconvert(), py::arg("samples").noconvert(),
             py::arg("names"), py::arg("matrix"), py::arg("file"), py::arg("weights"), py::arg("options"));
  module.def("weights", &weights_by_kind, py::arg("frequencies"), py::arg("samples").noconvert(),
             py::arg("kind"));
}

}  // namespace polefit_python
