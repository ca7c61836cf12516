#include <algorithm>
#include <complex>
#include <cstdio>
#include <limits>
#include <numbers>
#include <string>

#include "polefit/passivity.hpp"
#include "polefit_cli/commands/about.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/declaration.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/passivity_report.hpp"
#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/picture_file.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

/// What can be judged is a whole matrix with stable poles.
void check_judgeable(const polefit::Model& model, const std::string& shown) {
  check_whole(model.network, model.responses(), shown);
  const auto unstable = std::find_if(model.poles.begin(), model.poles.end(),
                                     [](std::complex<double> pole) { return !(pole.real() < 0.0); });
  if (unstable != model.poles.end()) {
    throw text::IoError(
        {.file = shown,
         .found = "a pole at " + frequency_text(std::abs(unstable->imag()) / (2.0 * std::numbers::pi)) +
                  " with the real part " + short_number(unstable->real()) + " rad/s",
         .expected = "poles in the left half-plane; the model is not stable, let alone passive"});
  }
}

}  // namespace

ExitStatus run(const PassivityCommand& command) {
  check_outputs({command.output, "-"}, {command.model});
  const bool drawn = !command.output.empty();
  const PictureFormat format = drawn ? picture_format(command.output) : PictureFormat::svg;
  const std::string shown = shown_input(command.model);
  polefit::Model model = read_model(command.model);
  declare(model, shown, command.declaration);
  check_judgeable(model, shown);
  const polefit::Passivity passivity = about(shown, [&] { return polefit::passivity(model); });
  const std::string report = passivity_report(
      model, passivity, shown, command.all ? std::numeric_limits<std::size_t>::max() : most_intervals);
  if (drawn) {
    const PassivityPicture picture =
        passivity_picture(model, passivity, title_of(command.model), passivity_verdict(passivity));
    const std::string messages = draw_to(command.output, passivity_script(picture, format), format);
    static_cast<void>(std::fputs(messages.c_str(), stderr));
  }
  if (is_standard_stream(command.output)) {
    static_cast<void>(std::fputs(report.c_str(), stderr));
  } else {
    write_output("-", report);
  }
  return passivity.passive ? succeeded : not_passive;
}

}  // namespace polefit_cli
