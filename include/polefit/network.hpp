/// Networks as files hold them: read, chosen from, fitted, and written.
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "polefit/enforcement.hpp"
#include "polefit/export.hpp"
#include "polefit/fit.hpp"
#include "polefit/model.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/order_search.hpp"
#include "polefit/passive_search.hpp"

namespace polefit {

/// A network's samples in memory.
struct Network {
  std::string file;                          ///< name as messages show it
  std::optional<NetworkMatrix> matrix;       ///< when the responses are elements of one
  std::vector<double> frequencies;           ///< in hertz
  std::vector<std::string> names;            ///< one a response, such as S21
  std::vector<std::complex<double>> values;  ///< all samples of the first response, then of the second
  /// What a reader could not take as it stands in the file, or had to choose, a sentence each with the line.
  std::vector<std::string> warnings = {};
  /// The port impedances in ohms to which S refers where matrix->references_vary: all samples of the first
  /// port, then of the second. None where they are not known.
  std::vector<std::complex<double>> impedances = {};

  /// What is fitted, without weights; the network must outlive it.
  NetworkData data() const {
    return {.frequencies = frequencies,
            .responses = Responses::by_response(values, names.size()),
            .names = names,
            .weights = {}};
  }
};

/// Refuses a network that contradicts itself: throws Error (bad_shape), with the network's file in front,
/// unless it has one value for each name at each frequency and, when it has a matrix, one element for each
/// name, of S, Y or Z, within its ports and none twice, and finite references above 0. Numbers and order of
/// the samples are not looked at, nor whether there are some. All that uses the samples does this first.
POLEFIT_EXPORT void check(const Network& network);

/// How a network's file is written.
enum class NetworkFormat {
  by_name,     ///< by the extension of the file's name, or by its content
  touchstone,  ///< Touchstone, versions 1.x, 2.0 and 2.1
  csv,         ///< a table of values with separators, and a header line that names the columns
  samples,     ///< S_Solver's sample file: frequency, real and imaginary part of one response
};

/// The network in a file. By name: .s1p, .s2p, ... and .ts are Touchstone, .csv and .tsv are tables, in
/// either case. Under any other name the first line counts that is neither blank nor begins with '!' or '#':
/// it begins with '[' or a number behind a line with '#' in Touchstone, with a letter or a quotation mark in
/// tables, and anything else is S_Solver's sample file.
///
/// Y and Z of Touchstone version 1.x are multiplied out to siemens and ohms; H and G become Y or Z, or S
/// where neither exists. S that comments of a field solver refer to port impedances is that of their
/// resistances, where these are constant to 1e-3, and keeps its values where not (matrix->references_vary).
/// The references of a matrix in a table, which does not tell them, are 50 ohms each. What had to be chosen
/// is told in the network's warnings.
///
/// A Touchstone file is read in blocks, and takes little memory beside its values.
///
/// Throws Error: bad_network_file with the file's name, the line, what was found and what was expected;
/// bad_option for a format that is none.
POLEFIT_EXPORT Network read_network(const std::string& file, NetworkFormat format = NetworkFormat::by_name);

/// The same of the content of a file, which stands in `text`; `file` is its name.
POLEFIT_EXPORT Network network_from_text(std::string_view text, const std::string& file,
                                         NetworkFormat format = NetworkFormat::by_name);

/// The same of `begun`, which has been read already, and what is left to read of an open file or pipe, whose
/// name is `file`. It stays open.
POLEFIT_EXPORT Network network_from_descriptor(int descriptor, const std::string& file,
                                               NetworkFormat format = NetworkFormat::by_name,
                                               std::string begun = {});

/// The number of ports that a file's extension names: 4 of filter.s4p, from .s1p to .s9999p in any case;
/// nothing for any other.
POLEFIT_EXPORT std::optional<std::size_t> ports_of_extension(std::string_view file);

/// The responses named in `wanted`, in that order. A name is one of the network's, or, when the responses are
/// elements of a matrix, means one of them (named_element): S21, s21, S2_1, S(2,1). The matrix keeps its
/// ports, and of its elements those chosen. Throws Error: bad_shape as check; bad_option for a name that the
/// network has not, for one that is given twice, and when none is given.
POLEFIT_EXPORT Network select_responses(const Network& network, std::span<const std::string> wanted);

/// Makes a network of one response that of a one-port. Throws Error as one_port does.
POLEFIT_EXPORT void declare_one_port(Network& network, char parameter, double reference);

/// The same of a model.
POLEFIT_EXPORT void declare_one_port(Model& model, char parameter, double reference);

/// Fits all responses of a network; the model knows its matrix. `weights` are as in NetworkData. Throws Error
/// as check and as fit of NetworkData do, with the network's file in front.
POLEFIT_EXPORT Fit fit(const Network& network, const Options& options = {},
                       std::span<const double> weights = {});

/// The same with the order that a target wants.
POLEFIT_EXPORT Search fit_to_error(const Network& network, const Target& target, const Options& options = {},
                                   std::span<const double> weights = {});

/// The same of models made passive, of a network that is a whole matrix: fit_to_error_passively. Throws Error
/// as that, with the network's file in front.
POLEFIT_EXPORT PassiveSearch fit_to_error_passively(const Network& network, const Target& target,
                                                    const Options& options = {},
                                                    std::span<const double> weights = {});

/// The same from what fit_to_error has found with the same arguments.
POLEFIT_EXPORT PassiveSearch made_passive(Search found, const Network& network, const Target& target,
                                          const Options& options = {}, std::span<const double> weights = {});

/// A fit of the network with its model made passive. Throws Error as enforce_passivity, with the network's
/// file in front.
POLEFIT_EXPORT PassiveFit made_passive(Fit fit, const Network& network,
                                       const EnforcementOptions& options = {},
                                       std::span<const double> weights = {});

/// The same of a fit with these options, which is done again with fewer poles where that loses less.
POLEFIT_EXPORT PassiveFit made_passive_by_refitting(Fit fit, const Network& network, const Options& options,
                                                    std::span<const double> weights = {});

/// The passive model that has the poles of `model` and is nearest to the network, whose matrix it is of.
/// Throws Error as the function of NetworkData, with the network's file in front.
POLEFIT_EXPORT Enforcement enforce_passivity(const Model& model, const Network& network,
                                             const EnforcementOptions& options = {},
                                             std::span<const double> weights = {});

/// Whether the network's samples are those of a passive one. Throws Error as the function of NetworkData,
/// with the network's file in front.
POLEFIT_EXPORT SampledPassivity sampled_passivity(const Network& network,
                                                  const std::vector<double>& noise = {});

/// The model's values at frequencies in hertz as a network, whose `file` is the one given. Responses without
/// names are numbered from 1. Throws Error: bad_shape as evaluate; bad_option where a frequency or a value is
/// not finite, as at a pole on the axis.
POLEFIT_EXPORT Network sampled(const Model& model, std::vector<double> frequencies, const std::string& file);

/// How Touchstone holds complex numbers.
enum class ComplexFormat {
  ri,  ///< real and imaginary part
  ma,  ///< magnitude, and angle in degrees
  db,  ///< 20 log10 of the magnitude, and angle in degrees
};

/// In what Touchstone tells frequencies.
enum class FrequencyUnit {
  hz,   ///< hertz
  khz,  ///< kilohertz
  mhz,  ///< megahertz
  ghz,  ///< gigahertz
};

/// How Touchstone is written.
struct TouchstoneOptions {
  ComplexFormat format = ComplexFormat::ri;  ///< of the values
  FrequencyUnit unit = FrequencyUnit::hz;    ///< of the frequencies
  /// 1, or 11 for 1.1 (a reference for each port), 2 for 2.0, 21 for 2.1. What 1 has no place for, references
  /// that differ, is written in 2.0; mixed modes in 2.0 or, for 11, in 2.1.
  int version = 1;
  char parameter = '\0';  ///< H or G: a two-port is written as that; else as it is
};

/// The whole text of a Touchstone file. Frequencies in any unit, and values as real and imaginary part, read
/// back to the same bits; as magnitude and angle they are rounded, and the decibels of zero are written as
/// -9999.
///
/// Version 1 holds one reference for all ports. Its Y and Z are normalised to R 1, which leaves the values in
/// siemens and ohms as they are, and holds the references of a Y or Z network in no other place; so are H and
/// G. Impedances to which S refers and that vary are written as comments, which read back.
///
/// Throws Error, in the name of the network's file: bad_shape as check; bad_option for options that are none;
/// bad_network_file for what no such text can hold: responses that are not the whole matrix, no frequencies,
/// frequencies that decrease or are not finite and at least 0, values that are not finite, or whose magnitude
/// is not where it is to be written, and references of a pair's modes that are not those of two equal ones;
/// the errors of hybrid (polefit/conversion.hpp) for H and G.
POLEFIT_EXPORT std::string touchstone_text(const Network& network, const TouchstoneOptions& options = {});

/// A table: one line that names the columns, "frequency,S11 re,S11 im,...", and one for each sample, with
/// frequencies in hertz and as many digits as it takes to read the same doubles back. What is not told: the
/// references of a matrix, and which ports have no element. Control characters in names, and what is not
/// UTF-8, become question marks.
///
/// Throws Error, in the name of the network's file: bad_shape as check; bad_network_file for what would not
/// be read back: no responses or no frequencies, frequencies that are not finite and at least 0, values that
/// are not finite, and names that are empty, longer than 1000 bytes or the same twice.
POLEFIT_EXPORT std::string csv_text(const Network& network);

/// Writes touchstone_text to a file, which until it is whole is the old one. Throws Error as touchstone_text,
/// and bad_network_file when the file cannot be written.
POLEFIT_EXPORT void write_touchstone(const Network& network, const std::string& file,
                                     const TouchstoneOptions& options = {});

/// Writes csv_text to a file, which until it is whole is the old one. Throws Error as csv_text, and
/// bad_network_file when the file cannot be written.
POLEFIT_EXPORT void write_csv(const Network& network, const std::string& file);

}  // namespace polefit
