#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/gnuplot_text.hpp"
#include "polefit_cli/pictures/script_page.hpp"
#include "polefit_cli/pictures/series.hpp"

namespace polefit_cli {
namespace {

// All lengths are in points.
constexpr double page_width = 540.0;
constexpr double value_height = 210.0;
constexpr double distance_height = 170.0;
constexpr double frame_gap = 26.0;  // with the texts of the lower frame
constexpr double bottom_of_frames = 46.0;
constexpr double left_of_frame = 70.0;
constexpr double right_of_frame = 18.0;
constexpr double narrowest_shade = 1.5;

// An axis with its margins overflows for values far above.
constexpr double largest_drawn = 1e300;

bool beyond(double value, const PassivityPicture& picture) {
  return !picture.passive && (picture.parameter == 'S' ? value > picture.limit : value < picture.limit);
}

Series values_of(const PassivityPicture& picture) {
  Series series;
  for (std::size_t i = 0; i < picture.grid.size(); ++i) {
    series.push_back({picture.grid[i], std::abs(picture.curve[i]) < largest_drawn ? picture.curve[i] : gap});
  }
  return series;
}

/// How far the values on one side of the limit are from it.
Series distances_of(const PassivityPicture& picture, bool violating) {
  Series series = values_of(picture);
  for (Point& point : series) {
    const double distance = std::abs(point.y - picture.limit);
    point.y = distance > 0.0 && beyond(point.y, picture) == violating ? distance : gap;
  }
  return series;
}

Axis value_axis(const Series& values, double limit, double length) {
  const Range range = united(range_of(values), {limit, limit});
  const double margin = 0.06 * (range.high - range.low);
  return linear_axis(range.low - margin, range.high + margin, {AxisPlace::Direction::up, length});
}

Axis distance_axis(const Series& within, const Series& violating, double finest, double length) {
  const Range range = united(range_of(within), range_of(violating));
  const AxisPlace place{AxisPlace::Direction::up, length};
  return range.empty() ? decade_axis_of_errors(0.1, 1.0, place)
                       : decade_axis_of_errors(std::clamp(finest, range.low, range.high), range.high, place);
}

std::string lines(std::string_view colour) {
  return " with lines linewidth 1.4 linecolor rgb '" + std::string(colour) + "' notitle";
}

class PassivityPage {
 public:
  PassivityPage(const PassivityPicture& picture, PictureFormat format)
      : picture_(picture),
        distances_{left_of_frame, page_width - right_of_frame, bottom_of_frames,
                   bottom_of_frames + distance_height},
        values_{left_of_frame, page_width - right_of_frame, distances_.top + frame_gap,
                distances_.top + frame_gap + value_height},
        frequencies_(decade_axis_of_frequency(picture.grid.front(), picture.grid.back(),
                                              {AxisPlace::Direction::along, values_.width()})),
        page_(format, page_width, values_.top + (picture.title.empty() ? 26.0 : 48.0)) {}

  std::string script() && {
    texts();
    shades();
    value_frame();
    distance_frame();
    return std::move(page_).finished();
  }

 private:
  using Anchor = ScriptPage::Anchor;

  bool scattering() const { return picture_.parameter == 'S'; }
  std::string unit() const { return scattering() ? "" : picture_.parameter == 'Y' ? " / S" : " / Ω"; }

  void texts() {
    if (!picture_.title.empty()) {
      page_.text(values_.left, values_.top + 30.0, shortened(picture_.title, values_.width(), 13.0),
                 {.size = 13.0});
    }
    page_.text(values_.left, values_.top + 9.0, shortened(picture_.verdict, 0.7 * values_.width(), 10.0), {});
    page_.text(12.0, 0.5 * (values_.bottom + values_.top),
               (scattering() ? "largest singular value" : "smallest eigenvalue") + unit(),
               {.anchor = Anchor::center, .rotated = true});
    page_.text(12.0, 0.5 * (distances_.bottom + distances_.top), "distance from " + limit_name() + unit(),
               {.anchor = Anchor::center, .rotated = true});
    page_.text(distances_.left, distances_.top + 8.0, scattering() ? "below 1" : "above 0",
               {.colour = fit_colour});
    page_.text(distances_.left + 60.0, distances_.top + 8.0,
               scattering() ? "above 1: not passive" : "below 0: not passive", {.colour = warning_colour});
    page_.text(0.5 * (distances_.left + distances_.right), 12.0, "frequency / Hz",
               {.anchor = Anchor::center});
    if (picture_.band) {
      page_.text(values_.right, values_.top + 9.0, "blue: band of the fit",
                 {.anchor = Anchor::right, .colour = quiet_colour});
    }
  }

  std::string limit_name() const { return scattering() ? "1" : "0"; }

  /// Between two frequencies, or wide enough about their middle to be seen.
  void shade(Band part, const char* colour) {
    const double low = frequencies_.low;
    const double high = frequencies_.high;
    const double a_point = std::log(high / low) / values_.width();
    const double from = std::clamp(part.lowest, low, high);
    const double to = std::clamp(part.highest, low, high);
    const double half = std::max(0.5 * std::log(to / from), 0.5 * narrowest_shade * a_point);
    const double middle = std::sqrt(from) * std::sqrt(to);
    page_.command("set object rectangle from first " +
                  script_number(std::max(low, middle * std::exp(-half))) + ", graph 0 to first " +
                  script_number(std::min(high, middle * std::exp(half))) +
                  ", graph 1 behind fillcolor rgb '" + colour + "' fillstyle solid noborder");
  }

  /// Of the band, which the shade of a violation may cover.
  void edge(double frequency) {
    if (frequency > frequencies_.low && frequency < frequencies_.high) {
      const std::string at = script_number(frequency);
      page_.command("set arrow from first " + at + ", graph 0 to first " + at +
                    ", graph 1 nohead back linewidth 0.6 dashtype 3 linecolor rgb '" +
                    std::string(quiet_colour) + "'");
    }
  }

  /// The same in both frames.
  void shades() {
    if (picture_.band) {
      shade(*picture_.band, "#e3edf7");
      edge(picture_.band->lowest);
      edge(picture_.band->highest);
    }
    for (const Band& violation : picture_.violations) {
      shade(violation, "#f6d5d0");
    }
  }

  void value_frame() {
    const Series values = values_of(picture_);
    page_.frame(values_, frequencies_, value_axis(values, picture_.limit, values_.height()), false);
    const std::string limit = script_number(picture_.limit);
    page_.command("set arrow 9 from graph 0, first " + limit + " to graph 1, first " + limit +
                  " nohead linewidth 1 dashtype 2 linecolor rgb '" + std::string(warning_colour) + "'");
    curve("value", values, fit_colour);
    page_.plot(plots_);
    page_.command("unset arrow 9");
  }

  void distance_frame() {
    const Series within = distances_of(picture_, false);
    const Series violating = distances_of(picture_, true);
    page_.frame(distances_, frequencies_,
                distance_axis(within, violating, picture_.finest_distance, distances_.height()), true);
    plots_ = "NaN notitle";
    curve("within", within, fit_colour);
    curve("beyond", violating, warning_colour);
    page_.plot(plots_);
  }

  void curve(const std::string& name, const Series& series, std::string_view colour) {
    if (!range_of(series).empty()) {
      page_.data(name, series);
      plots_ += ", $" + name + lines(colour);
    }
  }

  const PassivityPicture& picture_;
  Box distances_;
  Box values_;
  Axis frequencies_;
  ScriptPage page_;
  std::string plots_ = "NaN notitle";
};

}  // namespace

std::string passivity_script(const PassivityPicture& picture, PictureFormat format) {
  return PassivityPage(picture, format).script();
}

}  // namespace polefit_cli
