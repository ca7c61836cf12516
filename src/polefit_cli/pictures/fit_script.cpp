#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/gnuplot_text.hpp"
#include "polefit_cli/pictures/script_page.hpp"
#include "polefit_cli/pictures/series.hpp"

namespace polefit_cli {
namespace {

// All lengths are in points.

/// How the panels stand on the page.
struct Layout {
  std::size_t columns = 1;
  std::size_t rows = 1;
  double frame_width = 0.0;
  double frames_height = 0.0;  // magnitude, phase and error together
  double top = 0.0;            // above all panels: title and legend

  static constexpr double frame_gap = 13.0;  // room for the outermost texts of neighbours
  static constexpr double name_height = 22.0;
  static constexpr double tick_height = 18.0;
  static constexpr double label_height = 20.0;
  static constexpr double left_of_page = 20.0;  // for the texts of the y axes
  static constexpr double left_of_frame = 42.0;
  static constexpr double right_of_frame = 16.0;

  double panel_width() const { return left_of_frame + frame_width + right_of_frame; }
  double panel_height() const { return name_height + frames_height + tick_height; }
  double width() const { return left_of_page + static_cast<double>(columns) * panel_width(); }
  double height() const { return top + static_cast<double>(rows) * panel_height() + label_height; }
};

Layout layout_for(std::size_t panels, bool titled) {
  Layout layout;
  layout.columns = panels == 1 ? 1 : panels <= 4 ? 2 : panels <= 9 ? 3 : 4;
  layout.rows = (panels + layout.columns - 1) / layout.columns;
  layout.frame_width = layout.columns == 1 ? 420.0 : layout.columns == 2 ? 270.0 : 210.0;
  layout.frames_height = panels == 1 ? 410.0 : layout.columns == 2 ? 320.0 : 280.0;
  layout.top = titled ? 48.0 : 26.0;
  return layout;
}

/// The number with two digits, as for an error.
std::string two_digits(double value) {
  if (!std::isfinite(value)) {
    return "not finite";
  }
  std::array<char, 32> text{};
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 2);
  return {text.data(), end.ptr};
}

std::string with_unit(const std::string& text, const std::string& unit) {
  return unit.empty() ? text : text + " / " + unit;
}

/// The frequencies that an axis shows, and how it shows them.
struct FrequencyAxis {
  bool logarithmic = false;
  AxisUnit unit;
  std::size_t first = 0;          // sample on the axis
  std::vector<double> positions;  // of the samples from there on
  std::vector<double> grid;       // positions of the curves
  Axis axis;
};

FrequencyAxis frequency_axis(const FitPicture& picture, double length) {
  FrequencyAxis frequencies;
  frequencies.logarithmic = picture.logarithmic;
  const auto& all = picture.frequencies;
  if (picture.logarithmic) {
    frequencies.first = static_cast<std::size_t>(std::upper_bound(all.begin(), all.end(), 0.0) - all.begin());
  } else {
    frequencies.unit = axis_unit(all.back());
  }
  const auto position = [&](double f) { return f / frequencies.unit.size; };
  std::transform(all.begin() + static_cast<std::ptrdiff_t>(frequencies.first), all.end(),
                 std::back_inserter(frequencies.positions), position);
  std::transform(picture.grid.begin(), picture.grid.end(), std::back_inserter(frequencies.grid), position);
  const double low = frequencies.positions.front();
  const double high = frequencies.positions.back();
  const AxisPlace place{AxisPlace::Direction::along, length};
  frequencies.axis =
      picture.logarithmic ? decade_axis_of_frequency(low, high, place) : linear_axis(low, high, place);
  return frequencies;
}

/// The curves and points of one panel.
struct PanelSeries {
  Series data_magnitude;
  Series data_phase;
  Series fit_magnitude;
  Series fit_phase;
  Series error;
};

PanelSeries series_of(const ResponsePanel& panel, const FrequencyAxis& frequencies, double width) {
  const auto data = std::span(panel.data).subspan(frequencies.first);
  const auto fit = std::span(panel.fit).subspan(frequencies.first);
  const auto columns = static_cast<std::size_t>(2.0 * width);  // half a point each
  const auto thin = [&](const Series& series) { return thinned(series, frequencies.logarithmic, columns); };
  return {.data_magnitude = thin(decibels(frequencies.positions, data)),
          .data_phase = thin(phases(frequencies.positions, data)),
          .fit_magnitude = decibels(frequencies.grid, panel.curve),
          .fit_phase = broken_at_jumps(phases(frequencies.grid, panel.curve)),
          .error = thin(differences(frequencies.positions, data, fit))};
}

/// For a frame with nothing to measure in it.
Axis without_ticks(Axis axis) {
  axis.ticks.clear();
  return axis;
}

Axis magnitude_axis(const PanelSeries& series, double length) {
  // What a notch between two samples, or a value that is zero but for rounding, may take of the axis.
  constexpr double notch_depth = 20.0;
  constexpr double most_decibels = 240.0;
  constexpr double least_decibels = 0.01;
  const AxisPlace place{AxisPlace::Direction::up, length};
  const Range data = range_of(series.data_magnitude);
  const Range fit = range_of(series.fit_magnitude);
  Range all = united(data, fit);
  if (all.empty()) {
    return without_ticks(linear_axis(-1.0, 1.0, place));
  }
  if (!data.empty()) {
    all.low = std::max(all.low, data.low - notch_depth);
  }
  all.low = std::max(all.low, all.high - most_decibels);
  const double margin = std::max(0.06 * (all.high - all.low), least_decibels);
  return linear_axis(all.low - margin, all.high + margin, place);
}

Axis phase_axis(double length) {
  Axis axis{Scale::linear, -180.0, 180.0, {}};
  const int step = length < 100.0 ? 90 : 45;
  for (int degrees = -180; degrees <= 180; degrees += step) {
    const bool labelled = degrees % 90 == 0;
    const std::string size = std::to_string(std::abs(degrees));
    axis.ticks.push_back({static_cast<double>(degrees), !labelled ? "" : degrees < 0 ? "−" + size : size});
  }
  return axis;
}

Axis error_axis(const Series& error, double length) {
  const Range range = range_of(error);
  const AxisPlace place{AxisPlace::Direction::up, length};
  return range.empty() ? without_ticks(decade_axis_of_errors(0.1, 1.0, place))
                       : decade_axis_of_errors(range.low, range.high, place);
}

/// Smaller circles where there are many of them.
double data_point_size(std::size_t points, double width) {
  return std::clamp(0.35 * width / static_cast<double>(std::max<std::size_t>(points, 1)), 0.4, 0.6);
}

bool is_zero(const ResponsePanel& panel) {
  const auto zero = [](std::complex<double> z) { return z == 0.0; };
  return std::all_of(panel.data.begin(), panel.data.end(), zero) &&
         std::all_of(panel.curve.begin(), panel.curve.end(), zero);
}

std::string coloured(std::string_view colour) { return " linecolor rgb '" + std::string(colour) + "'"; }

/// Draws the page panel by panel.
class FitPage {
 public:
  FitPage(const FitPicture& picture, PictureFormat format)
      : picture_(picture),
        layout_(layout_for(picture.panels.size(), !picture.title.empty())),
        frequencies_(frequency_axis(picture, layout_.frame_width)),
        page_(format, layout_.width(), layout_.height()) {}

  std::string script() && {
    header();
    for (std::size_t i = 0; i < picture_.panels.size(); ++i) {
      panel(i);
    }
    return std::move(page_).finished();
  }

 private:
  using Anchor = ScriptPage::Anchor;

  /// Title and legend; gnuplot draws both with the first plot.
  void header() {
    const double left = Layout::left_of_page + Layout::left_of_frame;
    const double right = layout_.width() - Layout::right_of_frame;
    if (!picture_.title.empty()) {
      page_.text(left, layout_.height() - 18.0, shortened(picture_.title, right - left, 13.0),
                 {.size = 13.0});
    }
    page_.command("set key at screen " + script_number(page_.x(right)) + "," +
                  script_number(page_.y(layout_.height() - layout_.top + 16.0)) +
                  " right top horizontal samplen 2 font ',10'");
  }

  /// Where the three frames of a panel stand, from above.
  std::array<Box, 3> frames(std::size_t index) const {
    const auto column = static_cast<double>(index % layout_.columns);
    const std::size_t rows_above = index / layout_.columns;
    const double left = Layout::left_of_page + column * layout_.panel_width() + Layout::left_of_frame;
    double top = layout_.height() - layout_.top - static_cast<double>(rows_above) * layout_.panel_height() -
                 Layout::name_height;
    const double height = layout_.frames_height - 2.0 * Layout::frame_gap;
    std::array<Box, 3> boxes;
    constexpr std::array shares = {0.44, 0.28, 0.28};
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      boxes[i] = {left, left + layout_.frame_width, top - shares[i] * height, top};
      top = boxes[i].bottom - Layout::frame_gap;
    }
    return boxes;
  }

  void panel(std::size_t index) {
    const auto boxes = frames(index);
    const ResponsePanel& response = picture_.panels[index];
    const PanelSeries series = series_of(response, frequencies_, layout_.frame_width);
    name(response, boxes[0]);
    if (index % layout_.columns == 0) {
      y_texts(boxes);
    }
    if (index + layout_.columns >= picture_.panels.size()) {
      x_text(boxes[2]);
    }

    data_and_fit(response, "magnitude", boxes[0], magnitude_axis(series, boxes[0].height()),
                 series.data_magnitude, series.fit_magnitude, index == 0);
    page_.command("unset key");
    data_and_fit(response, "phase", boxes[1], phase_axis(boxes[1].height()), series.data_phase,
                 series.fit_phase, false);
    error(response, boxes[2], series.error);
  }

  void name(const ResponsePanel& panel, const Box& box) {
    std::string error = "rms " + two_digits(panel.rms);
    error += picture_.unit.empty() ? "" : " " + picture_.unit;
    const double room = box.width() - text_width(error, 10.0) - 12.0;
    page_.text(box.left, box.top + 9.0, shortened(panel.name, room, 11.0), {.size = 11.0});
    page_.text(box.right, box.top + 9.0, error, {.anchor = Anchor::right, .colour = quiet_colour});
  }

  void y_texts(const std::array<Box, 3>& boxes) {
    const std::array texts = {"magnitude / dB" + picture_.unit, std::string("phase / °"),
                              with_unit("|data − fit|", picture_.unit)};
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      page_.text(12.0, 0.5 * (boxes[i].bottom + boxes[i].top), texts[i],
                 {.anchor = Anchor::center, .rotated = true});
    }
  }

  void x_text(const Box& box) {
    std::string text = std::string("frequency / ") + frequencies_.unit.name;
    text += frequencies_.first > 0 ? "  (without 0 Hz)" : "";
    page_.text(0.5 * (box.left + box.right), box.bottom - Layout::tick_height - 10.0, text,
               {.anchor = Anchor::center});
  }

  void data_and_fit(const ResponsePanel& panel, std::string_view kind, const Box& box, const Axis& y,
                    const Series& data, const Series& fit, bool legend) {
    const std::string name(kind);
    page_.frame(box, frequencies_.axis, y, false);
    page_.data("data_" + name, data);
    page_.data("fit_" + name, fit);
    const std::string points = " with points pointtype 7" + coloured(data_colour) + " pointsize ";
    const std::string lines = " with lines linewidth 1.4" + coloured(fit_colour);
    const bool no_data = range_of(data).empty();
    const bool no_fit = range_of(fit).empty();
    std::string plot = "NaN" + points + "0.6" + (legend ? " title 'data'" : " notitle") + ", NaN" + lines +
                       (legend ? " title 'fit'" : " notitle");
    if (!no_data) {
      plot +=
          ", $data_" + name + points + script_number(data_point_size(data.size(), box.width())) + " notitle";
    }
    if (!no_fit) {
      plot += ", $fit_" + name + lines + " notitle";
    }
    if (no_data && no_fit) {
      note(box, is_zero(panel) ? "zero throughout" : "no finite value");
    }
    page_.plot(plot);
  }

  void error(const ResponsePanel& panel, const Box& box, const Series& error) {
    page_.frame(box, frequencies_.axis, error_axis(error, box.height()), true);
    if (range_of(error).empty()) {
      note(box, panel.rms == 0.0 ? "no difference" : "no finite value");
      page_.plot("NaN notitle");
      return;
    }
    page_.data("error", error);
    constexpr std::size_t most_marked = 400;  // more would grow together
    const std::string marks =
        error.size() > most_marked ? " with lines" : " with linespoints pointtype 7 pointsize 0.2";
    page_.plot("$error" + marks + " linewidth 0.8" + coloured(error_colour) + " notitle");
  }

  void note(const Box& box, std::string_view text) {
    page_.text(0.5 * (box.left + box.right), 0.5 * (box.bottom + box.top), text,
               {.anchor = Anchor::center, .colour = quiet_colour});
  }

  const FitPicture& picture_;
  Layout layout_;
  FrequencyAxis frequencies_;
  ScriptPage page_;
};

}  // namespace

std::string fit_script(const FitPicture& picture, PictureFormat format) {
  assert(!picture.panels.empty() && picture.panels.size() <= most_panels);
  return FitPage(picture, format).script();
}

}  // namespace polefit_cli
