/// What is in a network or a model, as a text for readers.
#pragma once

#include <string>

#include "polefit/model.hpp"
#include "polefit/network.hpp"

namespace polefit_cli {

/// Ports, references, band, and the range of every response.
std::string info_text(const polefit::Network& network);

/// The first lines about a model: its file, order, ports, references and band.
std::string model_heading(const polefit::Model& model, const std::string& file);

/// The same, whether it is passive, errors of every response, and of every pole frequency |a| / 2 pi, quality
/// factor, damping ratio -a' / |a| and a itself. The members of a pair share a line.
std::string info_text(const polefit::Model& model, const std::string& file);

}  // namespace polefit_cli
