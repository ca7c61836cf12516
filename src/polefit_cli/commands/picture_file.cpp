#include "polefit_cli/commands/picture_file.hpp"

#include <utility>

#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/pictures/run_gnuplot.hpp"

namespace polefit_cli {

std::string draw_to(const std::string& file_name, const std::string& script, PictureFormat format) {
  Drawing drawing = draw(script, format);
  write_output(file_name, drawing.picture);
  return std::move(drawing.messages);
}

}  // namespace polefit_cli
