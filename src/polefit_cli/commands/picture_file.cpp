#include "polefit_cli/commands/picture_file.hpp"

#include <filesystem>
#include <utility>

#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/pictures/run_gnuplot.hpp"

namespace polefit_cli {

std::string title_of(const std::string& file) {
  return is_standard_stream(file) ? shown_input(file) : std::filesystem::path(file).filename().string();
}

std::string draw_to(const std::string& file_name, const std::string& script, PictureFormat format) {
  Drawing drawing = draw(script, format);
  write_output(file_name, drawing.picture);
  return std::move(drawing.messages);
}

}  // namespace polefit_cli
