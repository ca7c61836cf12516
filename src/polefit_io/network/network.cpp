#include "polefit/network.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit_io/network/csv_writer.hpp"
#include "polefit_io/network/read_network.hpp"
#include "polefit_io/network/selection.hpp"
#include "polefit_io/network/touchstone_writer.hpp"
#include "text/decimal.hpp"
#include "text/letters.hpp"
#include "text/whole_file.hpp"

namespace polefit {
namespace {

/// What `action` returns; an error of the library's comes out with the file in front.
template <class Action>
auto about(const std::string& file, const Action& action) {
  try {
    return action();
  } catch (const Error& error) {
    throw Error(error.kind(), file + ": " + error.what());
  }
}

}  // namespace

Network read_network(const std::string& file, NetworkFormat format) {
  return with_our_error(ErrorKind::bad_network_file,
                        [&] { return polefit_io::network_of(text::read_whole_file(file), file, format); });
}

Network network_from_text(std::string_view text, const std::string& file, NetworkFormat format) {
  return with_our_error(ErrorKind::bad_network_file,
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
  return with_our_error(ErrorKind::bad_option, [&] { return polefit_io::chosen_responses(network, wanted); });
}

void declare_one_port(Network& network, char parameter, double reference) {
  about(network.file,
        [&] { network.matrix = one_port(network.names.size(), network.matrix, parameter, reference); });
}

void declare_one_port(Model& model, char parameter, double reference) {
  model.network = one_port(model.responses(), model.network, parameter, reference);
}

Fit fit(const Network& network, const Options& options, std::span<const double> weights) {
  NetworkData data = network.data();
  data.weights = weights;
  Fit fit = about(network.file, [&] { return polefit::fit(data, options); });
  fit.model.network = network.matrix;
  return fit;
}

Search fit_to_error(const Network& network, const Target& target, const Options& options,
                    std::span<const double> weights) {
  NetworkData data = network.data();
  data.weights = weights;
  Search search = about(network.file, [&] { return polefit::fit_to_error(data, target, options); });
  search.fit.model.network = network.matrix;
  return search;
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
    throw Error(ErrorKind::bad_option, file + ": found no finite value at " +
                                           text::shortest(network.frequencies[place]) +
                                           " Hz, expected a frequency that is no pole");
  }
  return network;
}

std::string touchstone_text(const Network& network, const TouchstoneOptions& options) {
  return with_our_error(ErrorKind::bad_network_file,
                        [&] { return polefit_io::touchstone_of(network, options); });
}

std::string csv_text(const Network& network) { return polefit_io::csv_of(network); }

void write_touchstone(const Network& network, const std::string& file, const TouchstoneOptions& options) {
  write_file(ErrorKind::bad_network_file, file, touchstone_text(network, options));
}

void write_csv(const Network& network, const std::string& file) {
  write_file(ErrorKind::bad_network_file, file, csv_text(network));
}

}  // namespace polefit
