/// A gnuplot script for one page on which everything is placed in points from the lower left corner.
#pragma once

#include <string>
#include <string_view>

#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "polefit_cli/pictures/series.hpp"

namespace polefit_cli {

struct Box {
  double left = 0.0;
  double right = 0.0;
  double bottom = 0.0;
  double top = 0.0;
  double width() const { return right - left; }
  double height() const { return top - bottom; }
};

// Dark and light differ in grey as well; the hues are of a palette that colour-blind readers can tell apart.
inline constexpr std::string_view fit_colour = "#00478f";
inline constexpr std::string_view data_colour = "#e69f00";
inline constexpr std::string_view error_colour = "#333333";
inline constexpr std::string_view warning_colour = "#c0392b";
inline constexpr std::string_view quiet_colour = "#555555";

class ScriptPage {
 public:
  ScriptPage(PictureFormat format, double width, double height);

  enum class Anchor { left, center, right };
  struct Style {
    Anchor anchor = Anchor::left;
    double size = 10.0;
    bool rotated = false;
    std::string_view colour = "#000000";
  };
  /// Text from outside, shown as it stands.
  void text(double x, double y, std::string_view text, const Style& style);

  /// The frame of the next plot. Tick texts on the x axis can be left out, where the plot below has them.
  void frame(const Box& box, const Axis& x, const Axis& y, bool texts_on_x);

  /// A line of script as it is.
  void command(std::string_view line);

  /// A plot in the frame, with the texts so far: behind the word plot.
  void plot(const std::string& what);

  /// A block of data; its name is `$` and the text given.
  void data(std::string_view name, const Series& series);

  double x(double points) const { return points / width_; }
  double y(double points) const { return points / height_; }

  /// The script.
  std::string finished() &&;

 private:
  void scale(const std::string& name, const Axis& axis, bool texts);

  double width_;
  double height_;
  std::string script_;
};

}  // namespace polefit_cli
