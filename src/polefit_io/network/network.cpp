#include "polefit/network.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "polefit/conversion.hpp"
#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/whole_fit.hpp"
#include "polefit_io/network/csv_writer.hpp"
#include "polefit_io/network/read_network.hpp"
#include "polefit_io/network/selection.hpp"
#include "polefit_io/network/touchstone_writer.hpp"
#include "text/counted.hpp"
#include "text/decimal.hpp"
#include "text/io_error.hpp"
#include "text/letters.hpp"
#include "text/whole_file.hpp"

namespace polefit {
namespace {

/// A network's file as messages show it; one made in memory may have none.
std::string shown(const std::string& file) { return file.empty() ? "the network" : file; }

/// What `action` returns; an error of the library's comes out with the file in front.
template <class Action>
auto about(const std::string& file, const Action& action) {
  try {
    return action();
  } catch (const Error& error) {
    throw Error(error.kind(), shown(file) + ": " + error.what());
  }
}

/// What `action` makes of the samples and the weights.
template <class Action>
auto about_data(const Network& network, std::span<const double> weights, const Action& action) {
  check(network);
  NetworkData data = network.data();
  data.weights = weights;
  return about(network.file, [&] { return action(data); });
}

/// Its matrix, which is to be whole.
const NetworkMatrix& whole(const Network& network) {
  if (const auto lack = incompleteness(network.matrix)) {
    throw Error(ErrorKind::bad_shape, "the network has " + *lack);
  }
  return *network.matrix;
}

/// The model, whose responses are to be those of the network.
const Model& of_matrix(const Model& model, const Network& network) {
  const NetworkMatrix& matrix = whole(network);
  if (!model.network || model.network->parameter != matrix.parameter ||
      model.network->elements != matrix.elements) {
    throw Error(ErrorKind::bad_shape, "the model is not one of the network's " +
                                          std::string(1, matrix.parameter) + " parameters, in their order");
  }
  return model;
}

/// What `action` returns; an error of input or output comes out as one of this kind.
template <class Action>
auto with_error_of(ErrorKind kind, const Action& action) {
  return with_our_error(kind, [&] {
    try {
      return action();
    } catch (const text::IoError& error) {
      text::IoErrorDetails details = error.details();
      details.file = shown(details.file);
      throw text::IoError(std::move(details));
    }
  });
}

/// Why a network contradicts itself.
std::optional<std::string> fault_of(const Network& network) {
  const std::size_t responses = network.names.size();
  const std::size_t samples = network.frequencies.size();
  if (network.values.size() != responses * samples) {
    return text::counted(network.values.size(), "value") + ", expected " +
           std::to_string(responses * samples) + ", one for each of " + text::counted(responses, "name") +
           " at each of " + std::to_string(samples) + " frequencies";
  }
  if (!network.matrix) {
    return std::nullopt;
  }
  if (network.matrix->elements.size() != responses) {
    return text::counted(network.matrix->elements.size(), "element") + " of the matrix, expected " +
           std::to_string(responses) + ", one for each name";
  }
  const std::size_t impedances = network.impedances.size();
  if (impedances > 0 && impedances != network.matrix->ports() * samples) {
    return text::counted(impedances, "port impedance") + ", expected " +
           std::to_string(network.matrix->ports() * samples) +
           ", one for each port at each frequency, or none";
  }
  const auto fault = matrix_fault(*network.matrix);
  return fault ? std::optional("a matrix in which " + *fault) : std::nullopt;
}

template <class Enumeration>
bool beyond(Enumeration value, Enumeration last) {
  return static_cast<int>(value) < 0 || value > last;
}

void check_format(NetworkFormat format, const std::string& file) {
  if (beyond(format, NetworkFormat::samples)) {
    throw Error(ErrorKind::bad_option, shown(file) + ": the format of the file is none that there is");
  }
}

void check_options(const TouchstoneOptions& options, const std::string& file) {
  const bool known =
      !beyond(options.format, ComplexFormat::db) && !beyond(options.unit, FrequencyUnit::ghz) &&
      (options.version == 1 || options.version == 11 || options.version == 2 || options.version == 21) &&
      (options.parameter == '\0' || options.parameter == 'H' || options.parameter == 'G');
  if (!known) {
    throw Error(ErrorKind::bad_option,
                shown(file) + ": the format, unit or version of Touchstone is none that there is");
  }
}

}  // namespace

void check(const Network& network) {
  if (const auto fault = fault_of(network)) {
    throw Error(ErrorKind::bad_shape, shown(network.file) + ": found " + *fault);
  }
}

Network read_network(const std::string& file, NetworkFormat format) {
  check_format(format, file);
  return with_error_of(ErrorKind::bad_network_file, [&] {
    const text::InputFile input(file);
    return polefit_io::network_of(input.descriptor(), {}, file, format);
  });
}

Network network_from_descriptor(int descriptor, const std::string& file, NetworkFormat format,
                                std::string begun) {
  check_format(format, file);
  return with_error_of(ErrorKind::bad_network_file,
                       [&] { return polefit_io::network_of(descriptor, std::move(begun), file, format); });
}

Network network_from_text(std::string_view text, const std::string& file, NetworkFormat format) {
  check_format(format, file);
  return with_error_of(ErrorKind::bad_network_file,
                       [&] { return polefit_io::network_of(text, file, format); });
}

std::optional<std::size_t> ports_of_extension(std::string_view file) {
  constexpr std::size_t most_digits = 4;
  const std::string extension = text::lower_case(file.substr(std::min(file.rfind('.'), file.size())));
  if (extension.size() < 4 || extension.size() > most_digits + 3 || !extension.starts_with(".s") ||
      extension.back() != 'p') {
    return std::nullopt;
  }
  std::size_t ports = 0;
  const char* const end = extension.data() + extension.size() - 1;
  const auto [stop, error] = std::from_chars(extension.data() + 2, end, ports);
  return error == std::errc{} && stop == end && ports > 0 ? std::optional(ports) : std::nullopt;
}

Network select_responses(const Network& network, std::span<const std::string> wanted) {
  check(network);
  return with_error_of(ErrorKind::bad_option, [&] { return polefit_io::chosen_responses(network, wanted); });
}

void declare_one_port(Network& network, char parameter, double reference) {
  about(network.file,
        [&] { network.matrix = one_port(network.names.size(), network.matrix, parameter, reference); });
}

void declare_one_port(Model& model, char parameter, double reference) {
  model.network = one_port(model.responses(), model.network, parameter, reference);
}

Fit fit(const Network& network, const Options& options, std::span<const double> weights) {
  Fit fit =
      about_data(network, weights, [&](const NetworkData& data) { return polefit::fit(data, options); });
  fit.model.network = network.matrix;
  return fit;
}

Search fit_to_error(const Network& network, const Target& target, const Options& options,
                    std::span<const double> weights) {
  Search search = about_data(network, weights, [&](const NetworkData& data) {
    return polefit::fit_to_error(data, target, options);
  });
  search.fit.model.network = network.matrix;
  return search;
}

PassiveSearch fit_to_error_passively(const Network& network, const Target& target, const Options& options,
                                     std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::fit_to_error_passively(data, whole(network), target, options);
  });
}

PassiveSearch made_passive(Search found, const Network& network, const Target& target, const Options& options,
                           std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::made_passive(std::move(found), data, whole(network), target, options);
  });
}

PassiveFit made_passive(Fit fit, const Network& network, const EnforcementOptions& options,
                        std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::made_passive(std::move(fit), data, whole(network), options);
  });
}

PassiveFit made_passive_by_refitting(Fit fit, const Network& network, const Options& options,
                                     std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::made_passive_by_refitting(std::move(fit), data, whole(network), options);
  });
}

Enforcement enforce_passivity(const Model& model, const Network& network, const EnforcementOptions& options,
                              std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::enforce_passivity(of_matrix(model, network), data, options);
  });
}

WholeFit whole_fit(const Network& network, const WholeFitOptions& options, std::span<const double> weights) {
  return about_data(network, weights, [&](const NetworkData& data) {
    return polefit::whole_fit(data, network.matrix, options);
  });
}

SampledPassivity sampled_passivity(const Network& network, const std::vector<double>& noise) {
  return about_data(network, {}, [&](const NetworkData& data) {
    return polefit::sampled_passivity(data, whole(network), noise);
  });
}

Network sampled(const Model& model, std::vector<double> frequencies, const std::string& file) {
  Network network;
  network.file = file;
  network.matrix = model.network;
  network.frequencies = std::move(frequencies);
  network.values = evaluate(model, network.frequencies);
  for (std::size_t r = 0; r < model.responses(); ++r) {
    network.names.push_back(model.names.empty() ? std::to_string(r + 1) : model.names[r]);
  }
  const auto pole =
      std::find_if(network.values.begin(), network.values.end(), [](std::complex<double> value) {
        return !std::isfinite(value.real()) || !std::isfinite(value.imag());
      });
  if (pole != network.values.end()) {
    const auto place = static_cast<std::size_t>(pole - network.values.begin()) % network.frequencies.size();
    throw Error(ErrorKind::bad_option, shown(file) + ": found no finite value at " +
                                           text::shortest(network.frequencies[place]) +
                                           " Hz, expected a finite frequency that is no pole");
  }
  return network;
}

std::string touchstone_text(const Network& network, const TouchstoneOptions& options) {
  check(network);
  check_options(options, network.file);
  if (options.parameter != '\0') {
    Network hybrids = hybrid(network, options.parameter);
    hybrids.matrix = NetworkMatrix{.parameter = options.parameter,
                                   .references = network.matrix->references,
                                   .elements = all_elements(network.matrix->ports())};
    return with_error_of(ErrorKind::bad_network_file,
                         [&] { return polefit_io::touchstone_of(hybrids, options); });
  }
  return with_error_of(ErrorKind::bad_network_file,
                       [&] { return polefit_io::touchstone_of(network, options); });
}

std::string csv_text(const Network& network) {
  check(network);
  return with_error_of(ErrorKind::bad_network_file, [&] { return polefit_io::csv_of(network); });
}

void write_touchstone(const Network& network, const std::string& file, const TouchstoneOptions& options) {
  write_file(ErrorKind::bad_network_file, file, touchstone_text(network, options));
}

void write_csv(const Network& network, const std::string& file) {
  write_file(ErrorKind::bad_network_file, file, csv_text(network));
}

}  // namespace polefit
