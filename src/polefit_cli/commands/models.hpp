/// Models as the commands take them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "polefit/model.hpp"
#include "polefit/network.hpp"

namespace polefit_cli {

/// The model in `text`; `shown` is the file's name in messages. Throws text::IoError.
polefit::Model model_of(const std::string& text, const std::string& shown);

/// The model in a file, or from standard input for "-". Throws text::IoError.
polefit::Model read_model(const std::string& file);

/// Whether a text is a model's rather than a network's.
bool looks_like_model(std::string_view text);

/// The name of a response, or its number from 1 where responses have no names.
std::string response_name(const polefit::Model& model, std::size_t response);

/// The response of that name: as it stands, or another spelling of the same matrix element. Throws
/// text::IoError that lists the names there are, also without a name.
std::size_t find_response(const polefit::Model& model, const std::string& name, const std::string& file);

/// The frequencies that a user asked for, or without a wish so many over the band of the fit. Throws
/// text::IoError when the model does not tell its band either.
std::vector<double> wanted_frequencies(const std::vector<double>& wanted, const polefit::Model& model,
                                       std::size_t count, const std::string& file);

}  // namespace polefit_cli
