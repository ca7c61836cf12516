/// Networks from files of any format that polefit reads.
#pragma once

#include <string>
#include <string_view>

#include "polefit_cli/network/network.hpp"

namespace polefit_cli {

enum class NetworkFormat {
  by_name,     ///< by the extension of the file's name, or by its content
  touchstone,  ///< touchstone_reader.hpp
  csv,         ///< csv_reader.hpp
  samples,     ///< sample_reader.hpp
};

/// The network in `text`, which is the content of `file`. By name: .s1p, .s2p, ... and .ts are Touchstone,
/// .csv and .tsv are tables, in either case. Under any other name the first line counts that is neither blank
/// nor begins with '!' or '#': it begins with '[' or a number behind a line with '#' in Touchstone, with a
/// letter or a quotation mark in tables, and anything else is S_Solver's sample file. Throws
/// s_solver::IoError.
Network read_network(std::string_view text, const std::string& file,
                     NetworkFormat format = NetworkFormat::by_name);

}  // namespace polefit_cli
