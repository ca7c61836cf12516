#include "polefit_io/network/touchstone_meaning.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "polefit_io/network/conversion.hpp"
#include "polefit_io/network/touchstone/matrix.hpp"
#include "text/decimal.hpp"
#include "text/io_error.hpp"

namespace polefit_io {
namespace {

using Complex = std::complex<double>;
using polefit::Network;

ImpedancesAt constant(const std::vector<double>& references) {
  return [&references](std::size_t, std::vector<Complex>& impedances) {
    std::copy(references.begin(), references.end(), impedances.begin());
  };
}

void convert(Network& network, char to, const ImpedancesAt& from_impedances,
             const ImpedancesAt& to_impedances) {
  const char from = network.matrix->parameter;
  if (auto fault = convert_values(network, from, to, from_impedances, to_impedances)) {
    throw text::IoError({.file = network.file,
                         .found = std::move(*fault),
                         .expected = std::string(1, from) + " parameters of a network that has them"});
  }
}

/// "50, 75 and 4 more ohms".
std::string ohms_text(const std::vector<double>& references) {
  constexpr std::size_t most = 4;
  constexpr int digits = 6;
  const bool equal =
      std::all_of(references.begin(), references.end(), [&](double r) { return r == references.front(); });
  const std::size_t shown = equal ? 1 : std::min(most, references.size());
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) {
    text += (i == 0 ? "" : ", ") + text::significant(references[i], digits);
  }
  return text +
         (equal || shown == references.size()
              ? ""
              : " and " + std::to_string(references.size() - shown) + " more") +
         " ohms";
}

/// How far a hybrid matrix is from having no Y or Z: the smallest modulus, over all frequencies, of the
/// diagonal element that divides, beside the largest normalised element there or 1, which stands beside them
/// in the matrix.
struct HybridDistances {
  double first = std::numeric_limits<double>::infinity();   ///< of element 11
  double second = std::numeric_limits<double>::infinity();  ///< of element 22
};

HybridDistances distances_of(const Network& network) {
  const std::size_t samples = network.frequencies.size();
  HybridDistances distances;
  for (std::size_t k = 0; k < samples; ++k) {
    double largest = 1.0;
    double first = 0.0;
    double second = 0.0;
    for (std::size_t r = 0; r < 4; ++r) {
      const double modulus =
          std::abs(network.values[r * samples + k]) /
          denormalisation(network.matrix->parameter, network.matrix->elements[r], network.matrix->references);
      largest = std::max(largest, modulus);
      first = r == 0 ? modulus : first;
      second = r == 3 ? modulus : second;
    }
    distances.first = std::min(distances.first, first / largest);
    distances.second = std::min(distances.second, second / largest);
  }
  return distances;
}

/// Makes H and G parameters Y or Z, whichever loses fewer digits, and S where both lose nearly all.
void convert_hybrid(Network& network) {
  const char from = network.matrix->parameter;
  const HybridDistances distances = distances_of(network);
  constexpr double least = 1e-9;
  const bool by_first = distances.first >= distances.second;
  const double distance = std::max(distances.first, distances.second);
  // H has Y where h11 is not 0 and Z where h22 is not; G the other way round.
  const char to = !(distance > least) ? 'S' : (by_first == (from == 'H') ? 'Y' : 'Z');
  convert(network, to, constant(network.matrix->references), constant(network.matrix->references));
  rename(network, to);
  const std::string letter(1, static_cast<char>(from - 'A' + 'a'));
  network.warnings.push_back(
      warning(network.file, 0,
              std::string(1, from) + " parameters, which are not fitted as they stand, are made " +
                  std::string(1, to) + " parameters, as " +
                  (to == 'S' ? letter + "11 and " + letter + "22 are both 0 somewhere"
                             : letter + (by_first ? "11" : "22") + " is nowhere near 0")));
}

/// The mean resistance of each port.
std::vector<double> mean_resistances(const ImpedanceComments::Impedances& impedances, std::size_t ports) {
  std::vector<double> means(ports);
  for (std::size_t i = 0; i < ports; ++i) {
    for (std::size_t k = 0; k < impedances.statements; ++k) {
      means[i] += impedances.values[k * ports + i].real() / static_cast<double>(impedances.statements);
    }
  }
  return means;
}

/// Whether no impedance of a port is farther from its others' mean than by a thousandth.
bool are_constant(const ImpedanceComments::Impedances& impedances, std::size_t ports) {
  constexpr double share = 1e-3;
  for (std::size_t i = 0; i < ports; ++i) {
    Complex mean;
    for (std::size_t k = 0; k < impedances.statements; ++k) {
      mean += impedances.values[k * ports + i] / static_cast<double>(impedances.statements);
    }
    for (std::size_t k = 0; k < impedances.statements; ++k) {
      if (std::abs(impedances.values[k * ports + i] - mean) > share * std::abs(mean)) {
        return false;
      }
    }
  }
  return true;
}

/// S that refers to these, which vary, stays as it is.
void keep_varying(Network& network, const ImpedanceComments::Impedances& impedances, std::int64_t line) {
  const std::size_t ports = network.matrix->ports();
  network.matrix->references_vary = true;
  network.impedances.resize(impedances.values.size());
  for (std::size_t k = 0; k < impedances.statements; ++k) {
    for (std::size_t i = 0; i < ports; ++i) {
      network.impedances[i * impedances.statements + k] = impedances.values[k * ports + i];
    }
  }
  network.warnings.push_back(warning(
      network.file, line,
      "S refers to port impedances of comments, which vary with frequency, so that no circuit can be made of "
      "it; polefit convert --reference 50 makes S of 50 ohms, --parameters Y admittances"));
}

void refer_to_constant(Network& network, const ImpedanceComments::Impedances& impedances, std::int64_t line) {
  const std::size_t ports = network.matrix->ports();
  const std::vector<double> before = network.matrix->references;
  const std::vector<double> means = mean_resistances(impedances, ports);
  const auto& values = impedances.values;
  bool exact = true;
  for (std::size_t i = 0; i < values.size(); ++i) {
    exact = exact && values[i] == Complex(values[i % ports].real(), 0.0);
  }
  for (std::size_t i = 0; i < ports; ++i) {
    network.matrix->references[i] = exact ? values[i].real() : means[i];
  }
  if (!exact) {
    const auto stated = [&](std::size_t k, std::vector<Complex>& z) {
      const auto first =
          values.begin() + static_cast<std::ptrdiff_t>(impedances.statements == 1 ? 0 : k * ports);
      std::copy(first, first + static_cast<std::ptrdiff_t>(ports), z.begin());
    };
    convert(network, 'S', stated, constant(means));
  }
  if (network.matrix->references == before) {
    return;
  }
  network.warnings.push_back(warning(
      network.file, line,
      "S refers to the port impedances of comments, and not to R " + ohms_text(before) +
          (exact ? "; its references are " : "; as power waves they are made waves of the resistances ") +
          ohms_text(network.matrix->references)));
}

void take_impedances(Network& network, const ImpedanceComments& comments) {
  const auto warn = [&](std::int64_t line, const std::string& sentence) {
    network.warnings.push_back(warning(network.file, line, sentence));
  };
  const std::string taken = "R " + ohms_text(network.matrix->references) + " is taken";
  if (!comments.stated()) {
    if (const auto line = comments.not_renormalised()) {
      warn(*line, "S is not renormalised, but no comment tells the port impedances; " + taken);
    }
    return;
  }
  const std::size_t ports = network.matrix->ports();
  const auto impedances = comments.impedances(ports, network.frequencies.size());
  if (!impedances || !network.matrix->modes.empty()) {
    warn(comments.line(),
         std::string("the port impedances of comments ") +
             (impedances ? "are not those of modes"
                         : "are not one of positive resistance for each port, once or at each frequency") +
             "; " + taken);
    return;
  }
  if (impedances->statements > 1 && !are_constant(*impedances, ports)) {
    keep_varying(network, *impedances, comments.line());
    return;
  }
  refer_to_constant(network, *impedances, comments.line());
}

/// Tells of normalised values that can hardly be meant so: every port then has more than 100 kilohms at every
/// frequency of the band, while the numbers as they stand are plain siemens or ohms of usual size. Of an open
/// port the capacitance alone, some 0.1 pF, has less from 16 MHz on.
void doubt_normalisation(Network& network, const OptionLine& options) {
  constexpr double largest_usual = 1e5;
  const char parameter = network.matrix->parameter;
  const std::size_t ports = network.matrix->ports();
  const std::size_t samples = network.frequencies.size();
  double as_read = std::numeric_limits<double>::infinity();    // the smallest impedance of a port
  double as_stands = std::numeric_limits<double>::infinity();  // likewise
  for (std::size_t i = 0; i < ports; ++i) {
    const std::size_t r = i * ports + i;
    const double reference = network.matrix->references[i];
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::abs(network.values[r * samples + k]);
      const double impedance = parameter == 'Z' ? modulus : 1.0 / modulus;
      as_read = std::min(as_read, impedance);
      as_stands = std::min(as_stands, impedance / reference);
    }
  }
  if (as_read > largest_usual && as_stands <= largest_usual && std::isfinite(as_read)) {
    network.warnings.push_back(
        warning(network.file, 0,
                std::string(1, parameter) + " is read as normalised to R " + ohms_text(options.references) +
                    ", as versions 1.x have it, and every port then has more than 100 kilohms at all "
                    "frequencies; if the "
                    "file means " +
                    (parameter == 'Z' ? "ohms" : "siemens") + ", its option line should say R 1"));
  }
}

}  // namespace

std::string warning(const std::string& file, std::int64_t line, const std::string& sentence) {
  return file + (line > 0 ? ", line " + std::to_string(line) : "") + ": " + sentence;
}

void settle(Network& network, const Told& told) {
  const char parameter = network.matrix->parameter;
  if (parameter == 'H' || parameter == 'G') {
    convert_hybrid(network);
  } else if (parameter == 'S') {
    take_impedances(network, told.comments);
  } else if (told.normalised) {
    doubt_normalisation(network, told.options);
  }
}

}  // namespace polefit_io
