#include "polefit_cli/pictures/time_script.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/gnuplot_text.hpp"
#include "polefit_cli/pictures/script_page.hpp"
#include "polefit_cli/pictures/series.hpp"

namespace polefit_cli {
namespace {

// All lengths are in points.
constexpr double page_width = 540.0;
constexpr double frame_height = 250.0;
constexpr double bottom_of_frame = 46.0;
constexpr double left_of_frame = 70.0;
constexpr double right_of_frame = 22.0;
constexpr double room_for_distances = 34.0;
constexpr double title_size = 13.0;

constexpr std::array<std::string_view, most_curves> colours{"#00478f", "#e69f00", "#009e73", "#c0392b",
                                                            "#56b4e9", "#cc79a7", "#333333", "#b8a800"};

// An axis with its margins overflows for values far above.
constexpr double largest_drawn = 1e300;

AxisUnit time_unit(double longest) {
  constexpr std::array<AxisUnit, 6> units{
      {{1.0, "s"}, {1e-3, "ms"}, {1e-6, "µs"}, {1e-9, "ns"}, {1e-12, "ps"}, {1e-15, "fs"}}};
  const auto found =
      std::find_if(units.begin(), units.end(), [&](const AxisUnit& unit) { return longest >= unit.size; });
  return found == units.end() ? units.back() : *found;
}

AxisUnit length_unit(double longest) {
  constexpr std::array<AxisUnit, 4> units{{{1e3, "km"}, {1.0, "m"}, {1e-2, "cm"}, {1e-3, "mm"}}};
  const auto found =
      std::find_if(units.begin(), units.end(), [&](const AxisUnit& unit) { return longest >= unit.size; });
  return found == units.end() ? units.back() : *found;
}

Box frame_box() {
  return {left_of_frame, page_width - right_of_frame, bottom_of_frame, bottom_of_frame + frame_height};
}

class TimePage {
 public:
  TimePage(const TimePicture& picture, PictureFormat format)
      : picture_(picture),
        box_(frame_box()),
        unit_(time_unit(std::max(std::abs(picture.times.front()), std::abs(picture.times.back())))),
        texts_(box_.top + (picture.distance ? room_for_distances : 0.0)),
        page_(format, page_width, texts_ + (picture.title.empty() ? 26.0 : 48.0)) {}

  std::string script() && {
    const Range values = all_values();
    const double margin = 0.06 * (values.high - values.low);
    const Axis times = linear_axis(picture_.times.front() / unit_.size, picture_.times.back() / unit_.size,
                                   {AxisPlace::Direction::along, box_.width()});
    const Axis value_axis = values.empty() ? linear_axis(0.0, 1.0, {AxisPlace::Direction::up, box_.height()})
                                           : linear_axis(values.low - margin, values.high + margin,
                                                         {AxisPlace::Direction::up, box_.height()});
    texts();
    page_.frame(box_, times, value_axis, true);
    distances(times);
    if (picture_.level) {
      page_.command("set arrow 9 from graph 0, first " + script_number(showable(*picture_.level)) +
                    " to graph 1, first " + script_number(showable(*picture_.level)) +
                    " nohead linewidth 0.8 dashtype 2 linecolor rgb '" + std::string(quiet_colour) + "'");
    }
    curves();
    return std::move(page_).finished();
  }

 private:
  using Anchor = ScriptPage::Anchor;

  Series series_of(const TimeCurve& curve) const {
    Series series;
    for (std::size_t k = 0; k < picture_.times.size(); ++k) {
      const double value = curve.values[k];
      series.push_back({picture_.times[k] / unit_.size, std::abs(value) < largest_drawn ? value : gap});
    }
    return series;
  }

  Range all_values() const {
    Range range;
    for (const TimeCurve& curve : picture_.curves) {
      range = united(range, range_of(series_of(curve)));
    }
    if (picture_.level && std::abs(*picture_.level) < largest_drawn) {
      range = united(range, {*picture_.level, *picture_.level});
    }
    return range;
  }

  void texts() {
    if (!picture_.title.empty()) {
      page_.text(box_.left, texts_ + 30.0, shortened(picture_.title, box_.width(), title_size),
                 {.size = title_size});
    }
    double left = box_.left;
    for (std::size_t i = 0; i < picture_.curves.size() && picture_.curves.size() > 1; ++i) {
      const std::string name = shortened(picture_.curves[i].name, 100.0, 10.0);
      page_.text(left, texts_ + 9.0, name, {.colour = colours[i]});
      left += text_width(name, 10.0) + 12.0;
    }
    page_.text(12.0, 0.5 * (box_.bottom + box_.top), picture_.quantity,
               {.anchor = Anchor::center, .rotated = true});
    page_.text(0.5 * (box_.left + box_.right), 12.0, std::string("time / ") + unit_.name,
               {.anchor = Anchor::center});
  }

  void distances(const Axis& times) {
    if (!picture_.distance) {
      return;
    }
    const auto at = [&](double time) {
      return showable(picture_.distance->velocity * (time * unit_.size - picture_.distance->begin));
    };
    const AxisUnit unit = length_unit(std::abs(at(times.high)));
    const Axis axis = linear_axis(at(times.low) / unit.size, at(times.high) / unit.size,
                                  {AxisPlace::Direction::along, box_.width()});
    std::string marks;
    for (const Tick& tick : axis.ticks) {
      marks += (marks.empty() ? "'" : ", '") + tick.text + "' " + script_number(tick.position);
    }
    page_.command("set xtics nomirror");
    page_.command("set x2range [" + script_number(axis.low) + ":" + script_number(axis.high) + "]");
    page_.command(marks.empty() ? "unset x2tics" : "set x2tics (" + marks + ") textcolor rgb '#000000'");
    page_.text(0.5 * (box_.left + box_.right), box_.top + room_for_distances - 8.0,
               std::string("distance / ") + unit.name, {.anchor = Anchor::center});
  }

  void curves() {
    std::string plots = "NaN notitle";
    for (std::size_t i = 0; i < picture_.curves.size(); ++i) {
      constexpr std::size_t columns = 2000;  // narrower than the lines of a sharp picture
      const Series series = thinned(series_of(picture_.curves[i]), false, columns);
      if (range_of(series).empty()) {
        continue;
      }
      const std::string name = "curve" + std::to_string(i + 1);
      page_.data(name, series);
      plots +=
          ", $" + name + " with lines linewidth 1.4 linecolor rgb '" + std::string(colours[i]) + "' notitle";
    }
    page_.plot(plots);
  }

  const TimePicture& picture_;
  Box box_;
  AxisUnit unit_;
  double texts_;  // from where they stand above the frame
  ScriptPage page_;
};

class EyePage {
 public:
  EyePage(const EyePicture& picture, PictureFormat format)
      : picture_(picture),
        box_(frame_box()),
        unit_(time_unit(picture.interval)),
        page_(format, page_width, box_.top + (picture.title.empty() ? 26.0 : 48.0)) {}

  std::string script() && {
    const double end = picture_.interval / unit_.size;
    const Axis times = linear_axis(-end, end, {AxisPlace::Direction::along, box_.width()});
    const Axis values = linear_axis(picture_.low, picture_.high, {AxisPlace::Direction::up, box_.height()});
    texts();
    page_.frame(box_, times, values, true);
    const double most =
        picture_.hits.empty() ? 0.0 : *std::max_element(picture_.hits.begin(), picture_.hits.end());
    if (!(most > 0.0)) {
      page_.plot("NaN notitle");
      return std::move(page_).finished();
    }
    density();
    opening(end);
    page_.plot("$density matrix using (" + column_text(end) + "):(" + row_text() + "):3 with image notitle");
    return std::move(page_).finished();
  }

 private:
  using Anchor = ScriptPage::Anchor;

  void texts() {
    if (!picture_.title.empty()) {
      page_.text(box_.left, box_.top + 30.0, shortened(picture_.title, box_.width(), title_size),
                 {.size = title_size});
    }
    page_.text(box_.left, box_.top + 9.0, shortened(picture_.verdict, box_.width(), 10.0), {});
    page_.text(12.0, 0.5 * (box_.bottom + box_.top), "voltage / V",
               {.anchor = Anchor::center, .rotated = true});
    page_.text(0.5 * (box_.left + box_.right), 12.0,
               std::string("time from the sampling moment / ") + unit_.name, {.anchor = Anchor::center});
  }

  // The middle of a pixel: columns and rows count from 0.
  std::string column_text(double end) const {
    const double width = 2.0 * (end / static_cast<double>(picture_.columns));  // 2 end may overflow
    return script_number(0.5 * width - end) + "+$1*" + script_number(width);
  }
  std::string row_text() const {
    const double height =
        (showable(picture_.high) - showable(picture_.low)) / static_cast<double>(picture_.rows);
    return script_number(showable(picture_.low) + 0.5 * height) + "+$2*" + script_number(height);
  }

  void density() {
    constexpr double steps = 1000.0;  // of a colour that nobody tells from the next
    page_.command("unset colorbox");
    page_.command(
        "set palette defined (0 '#ffffff', 0.15 '#c6dbef', 0.5 '#2171b5', 0.75 '#08306b', 0.9 '#c0392b', 1 "
        "'#e69f00')");
    std::string block = "$density << END\n";
    double most = 0.0;
    for (std::size_t row = 0; row < picture_.rows; ++row) {
      for (std::size_t column = 0; column < picture_.columns; ++column) {
        const double value = std::log1p(picture_.hits[row * picture_.columns + column]);
        most = std::max(most, value);
        block += column == 0 ? "" : " ";
        block += script_number(std::round(value * steps) / steps);
      }
      block += '\n';
    }
    block += "END";
    page_.command(block);
    page_.command("set cbrange [0:" + script_number(most) + "]");
  }

  void opening(double end) {
    if (!picture_.opening) {
      return;
    }
    const EyePicture::Opening& opening = *picture_.opening;
    arrow(opening.left * end, opening.threshold, opening.right * end, opening.threshold);
    arrow(0.0, opening.bottom, 0.0, opening.top);
  }

  void arrow(double x0, double y0, double x1, double y1) {
    page_.command("set arrow from " + script_number(showable(x0)) + "," + script_number(showable(y0)) +
                  " to " + script_number(showable(x1)) + "," + script_number(showable(y1)) +
                  " heads size screen 0.008,20 front linewidth 1.2 linecolor rgb '" +
                  std::string(warning_colour) + "'");
  }

  const EyePicture& picture_;
  Box box_;
  AxisUnit unit_;
  ScriptPage page_;
};

}  // namespace

std::string time_script(const TimePicture& picture, PictureFormat format) {
  return TimePage(picture, format).script();
}

std::string eye_script(const EyePicture& picture, PictureFormat format) {
  return EyePage(picture, format).script();
}

}  // namespace polefit_cli
