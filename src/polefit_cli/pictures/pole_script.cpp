#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/gnuplot_text.hpp"
#include "polefit_cli/pictures/script_page.hpp"

namespace polefit_cli {
namespace {

// All lengths are in points.
constexpr double page_width = 500.0;
constexpr double frame_height = 340.0;
constexpr double bottom_of_frame = 46.0;
constexpr double left_of_frame = 78.0;
constexpr double right_of_frame = 86.0;  // for the scale of weights

/// One coordinate of the plane: how values become positions, and the axis with them.
class Coordinate {
 public:
  /// For values with this range, zero included, on an axis that goes on by some of it at either end.
  Coordinate(const std::vector<double>& values, double margin_below, double margin_above, AxisPlace place) {
    double smallest = std::numeric_limits<double>::infinity();
    for (const double whole : values) {
      const double value = showable(whole);
      low_ = std::min(low_, value);
      high_ = std::max(high_, value);
      smallest = value == 0.0 ? smallest : std::min(smallest, std::abs(value));
    }
    if (low_ == high_) {
      low_ = -1.0;
      high_ = 1.0;
    }
    const double largest = std::max(-low_, high_);
    constexpr double widest_linear = 100.0;
    if (largest > widest_linear * smallest) {
      decades_.emplace(smallest, largest);
      const double span = decades_->position(high_) - decades_->position(low_);
      axis_ = decades_->axis(low_, high_, place);
      axis_.low -= margin_below * span;
      axis_.high += margin_above * span;
    } else {
      unit_ = axis_unit(largest);
      const double span = (high_ - low_) / unit_.size;
      axis_ = linear_axis(low_ / unit_.size - margin_below * span, high_ / unit_.size + margin_above * span,
                          place);
    }
  }

  /// Of zero, as a part of the axis.
  double part_below_zero() const { return -axis_.low / (axis_.high - axis_.low); }
  double position(double whole) const {
    const double value = showable(whole);
    return decades_ ? decades_->position(value) : value / unit_.size;
  }
  const Axis& axis() const { return axis_; }
  const char* unit() const { return unit_.name; }

 private:
  double low_ = 0.0;
  double high_ = 0.0;
  AxisUnit unit_;
  std::optional<SignedDecades> decades_;
  Axis axis_;
};

std::string counted(const PolePicture& picture) {
  const auto real = std::count_if(picture.poles.begin(), picture.poles.end(),
                                  [](const PoleMark& pole) { return pole.imaginary == 0.0; });
  const auto pairs = (static_cast<std::ptrdiff_t>(picture.poles.size()) - real) / 2;
  const auto unstable = std::count_if(picture.poles.begin(), picture.poles.end(),
                                      [](const PoleMark& pole) { return pole.real > 0.0; });
  std::string text =
      std::to_string(picture.poles.size()) + (picture.poles.size() == 1 ? " pole: " : " poles: ");
  text += std::to_string(real) + " real, " + std::to_string(pairs) + (pairs == 1 ? " pair" : " pairs");
  return text + (unstable == 0 ? "" : ", " + std::to_string(unstable) + " in the right half plane");
}

class PolePage {
 public:
  PolePage(const PolePicture& picture, PictureFormat format)
      : picture_(picture),
        top_of_frame_(picture.title.empty() ? 26.0 : 48.0),
        box_{left_of_frame, page_width - right_of_frame, bottom_of_frame, bottom_of_frame + frame_height},
        real_(values(&PoleMark::real), 0.08, 0.08, {AxisPlace::Direction::along, box_.width()}),
        imaginary_(imaginary_values(), 0.06, 0.06, {AxisPlace::Direction::up, box_.height()}),
        page_(format, page_width, bottom_of_frame + frame_height + top_of_frame_) {}

  std::string script() && {
    texts();
    page_.frame(box_, real_.axis(), imaginary_.axis(), true);
    shades();
    weight_scale();
    crosses();
    return std::move(page_).finished();
  }

 private:
  using Anchor = ScriptPage::Anchor;

  std::vector<double> values(double PoleMark::*part) const {
    std::vector<double> values;
    for (const PoleMark& pole : picture_.poles) {
      values.push_back(pole.*part);
    }
    return values;
  }

  std::vector<double> imaginary_values() const {
    std::vector<double> values = this->values(&PoleMark::imaginary);
    if (picture_.band) {  // a band far above or below all poles is worth seeing
      values.insert(values.end(), {picture_.band->highest, -picture_.band->highest});
    }
    return values;
  }

  void texts() {
    const double above = box_.top + 9.0;
    if (!picture_.title.empty()) {
      const double room = page_width - left_of_frame - 12.0;
      page_.text(box_.left, box_.top + 30.0, shortened(picture_.title, room, 13.0), {.size = 13.0});
    }
    page_.text(box_.left, above, counted(picture_), {});
    if (picture_.band) {
      page_.text(page_width - 12.0, 12.0, "blue: band of the fit",
                 {.anchor = Anchor::right, .colour = quiet_colour});
    }
    page_.text(0.5 * (box_.left + box_.right), 12.0, std::string("Re(a) / 2π in ") + real_.unit(),
               {.anchor = Anchor::center});
    page_.text(14.0, 0.5 * (box_.bottom + box_.top), std::string("Im(a) / 2π in ") + imaginary_.unit(),
               {.anchor = Anchor::center, .rotated = true});
    const double right_half_plane = box_.left + real_.part_below_zero() * box_.width();
    page_.text(0.5 * (right_half_plane + box_.right), box_.bottom + 8.0, "unstable",
               {.anchor = Anchor::left, .rotated = true, .colour = quiet_colour});
    page_.text(page_width - 14.0, 0.5 * (box_.bottom + box_.top), "relative height of the resonance / dB",
               {.anchor = Anchor::center, .rotated = true});
  }

  void shade(const std::string& from, const std::string& to, const char* colour) {
    page_.command("set object rectangle from " + from + " to " + to + " behind fillcolor rgb '" + colour +
                  "' fillstyle solid noborder");
  }

  void shades() {
    if (picture_.band) {
      const std::string low = script_number(imaginary_.position(picture_.band->lowest));
      const std::string high = script_number(imaginary_.position(picture_.band->highest));
      const std::string minus_low = script_number(imaginary_.position(-picture_.band->lowest));
      const std::string minus_high = script_number(imaginary_.position(-picture_.band->highest));
      shade("graph 0, first " + low, "graph 1, first " + high, "#e3edf7");
      shade("graph 0, first " + minus_high, "graph 1, first " + minus_low, "#e3edf7");
    }
    shade("first 0, graph 0", "graph 1, graph 1", "#e6e6e6");
    page_.command(
        "set arrow from graph 0, first 0 to graph 1, first 0 nohead linewidth 0.8 linecolor rgb '#888888'");
    page_.command(
        "set arrow from first 0, graph 0 to first 0, graph 1 nohead linewidth 0.8 linecolor rgb '#888888'");
  }

  void weight_scale() {
    std::string ticks = "'0' 0";
    for (int weight = 20; weight <= -least_weight; weight += 20) {
      ticks += ", '−" + std::to_string(weight) + "' -" + std::to_string(weight);
    }
    page_.command("set cbrange [" + script_number(least_weight) + ":0]");
    page_.command("set palette defined (0 '#e1cc55', 1 '#a59c74', 2 '#575d6d', 3 '#00224e')");
    page_.command("set cbtics (" + ticks + ") textcolor rgb '#000000'");
    page_.command("set colorbox vertical user origin screen " + script_number(page_.x(box_.right + 10.0)) +
                  ", screen " + script_number(page_.y(box_.bottom)) + " size screen " +
                  script_number(page_.x(14.0)) + ", screen " + script_number(page_.y(box_.height())));
  }

  void crosses() {
    std::string points = "$poles << END\n";
    std::vector<PoleMark> poles = picture_.poles;  // the heavy ones above the others
    std::stable_sort(poles.begin(), poles.end(),
                     [](const PoleMark& a, const PoleMark& b) { return a.weight < b.weight; });
    for (const PoleMark& pole : poles) {
      points += script_number(real_.position(pole.real)) + " " +
                script_number(imaginary_.position(pole.imaginary)) + " " + script_number(pole.weight) + "\n";
    }
    page_.command(points + "END");
    page_.plot(poles.empty()
                   ? "NaN notitle"
                   : "$poles using 1:2:3 with points pointtype 2 pointsize 1 linewidth 1.6 palette notitle");
  }

  const PolePicture& picture_;
  double top_of_frame_;
  Box box_;
  Coordinate real_;
  Coordinate imaginary_;
  ScriptPage page_;
};

}  // namespace

std::string pole_script(const PolePicture& picture, PictureFormat format) {
  return PolePage(picture, format).script();
}

}  // namespace polefit_cli
