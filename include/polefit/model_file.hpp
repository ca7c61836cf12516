/// Models as JSON files.
#pragma once

#include <string>

#include "polefit/export.hpp"
#include "polefit/model.hpp"

namespace polefit {

/// The model as JSON text; numbers read back to the same bits. The schema is described in docs/model_file.md.
/// Throws Error (bad_model_file) for a model that could not be read back: numbers that are not finite, arrays
/// that do not fit together, poles or residues without their exact conjugates, responses that are no elements
/// of the matrix, names that are not UTF-8.
POLEFIT_EXPORT std::string to_json(const Model& model);

/// The model of a JSON text. Throws Error (bad_model_file) that says what is wrong with it.
POLEFIT_EXPORT Model model_from_json(const std::string& text);

/// Writes beside the file and renames, so that a file of that name is either the old or the whole new one. A
/// link stays a link, permissions stay, and what is no regular file is refused.
/// Throws Error (bad_model_file).
POLEFIT_EXPORT void save(const Model& model, const std::string& file_name);

/// Throws Error (bad_model_file).
POLEFIT_EXPORT Model load(const std::string& file_name);

}  // namespace polefit
