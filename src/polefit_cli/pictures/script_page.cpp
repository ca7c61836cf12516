#include "polefit_cli/pictures/script_page.hpp"

#include <cmath>
#include <cstddef>
#include <utility>

#include "polefit_cli/pictures/gnuplot_text.hpp"

namespace polefit_cli {
namespace {

constexpr double points_per_inch = 72.0;
constexpr double svg_pixels_per_inch = 96.0;
// Sharp on paper, and on a screen that shows it at half its size.
constexpr double png_pixels_per_inch = 192.0;

std::string size_text(double width, double height, double pixels_per_inch) {
  return script_number(std::round(width * pixels_per_inch / points_per_inch)) + "," +
         script_number(std::round(height * pixels_per_inch / points_per_inch));
}

/// The terminal, with sizes of text, lines and marks in the same proportion to the page in every format.
std::string terminal(PictureFormat format, double width, double height) {
  const std::string font = " enhanced font 'DejaVu Sans,10'";
  switch (format) {
    case PictureFormat::png:
      // Its fonts, and those of the next, are made for 96 pixels an inch.
      return "pngcairo size " + size_text(width, height, png_pixels_per_inch) + font +
             " fontscale 2 linewidth 2 pointscale 2 background rgb '#ffffff'";
    case PictureFormat::pdf:
      return "pdfcairo size " + script_number(width / points_per_inch) + "in," +
             script_number(height / points_per_inch) + "in" + font +
             " fontscale 0.75 linewidth 1.5 pointscale 0.75 background rgb '#ffffff'";
    case PictureFormat::svg:
      break;
  }
  return "svg size " + size_text(width, height, svg_pixels_per_inch) + font +
         " fontscale 1.333 linewidth 1 background rgb '#ffffff'";
}

std::string ticks_text(const Axis& axis, bool texts) {
  std::string list;
  for (const Tick& tick : axis.ticks) {
    const bool small = tick.text.empty();
    list += (list.empty() ? "" : ", ") +
            ("'" + (texts ? tick.text : "") + "' " + script_number(tick.position)) + (small ? " 1" : "");
  }
  return "(" + list + ") textcolor rgb '#000000'";  // else that of the border
}

}  // namespace

ScriptPage::ScriptPage(PictureFormat format, double width, double height) : width_(width), height_(height) {
  command("set encoding utf8");
  command("set terminal " + terminal(format, width, height));
  command("set border 31 linewidth 0.8 linecolor rgb '" + std::string(quiet_colour) + "'");
  command("set grid xtics ytics back linetype 1 linewidth 0.5 linecolor rgb '#d8d8d8'");
  command("set tics in scale 0.6,0.3");
  command("set clip two");
  command("unset key");
  command("set multiplot");
}

void ScriptPage::text(double x_points, double y_points, std::string_view text, const Style& style) {
  const char* const anchor = style.anchor == Anchor::left     ? " left"
                             : style.anchor == Anchor::center ? " center"
                                                              : " right";
  command("set label " + script_text(text) + " at screen " + script_number(x(x_points)) + "," +
          script_number(y(y_points)) + anchor + (style.rotated ? " rotate by 90" : "") +
          " noenhanced font '," + script_number(style.size) + "' textcolor rgb '" +
          std::string(style.colour) + "'");
}

void ScriptPage::frame(const Box& box, const Axis& x_axis, const Axis& y_axis, bool texts_on_x) {
  command("set lmargin at screen " + script_number(x(box.left)));
  command("set rmargin at screen " + script_number(x(box.right)));
  command("set bmargin at screen " + script_number(y(box.bottom)));
  command("set tmargin at screen " + script_number(y(box.top)));
  scale("x", x_axis, texts_on_x);
  scale("y", y_axis, true);
}

void ScriptPage::scale(const std::string& name, const Axis& axis, bool texts) {
  command((axis.scale == Scale::logarithmic ? "set logscale " : "unset logscale ") + name);
  command("set " + name + "range [" + script_number(axis.low) + ":" + script_number(axis.high) + "]");
  // An empty list would let gnuplot choose.
  command(axis.ticks.empty() ? "unset " + name + "tics" : "set " + name + "tics " + ticks_text(axis, texts));
}

void ScriptPage::command(std::string_view line) {
  script_ += line;
  script_ += '\n';
}

void ScriptPage::plot(const std::string& what) {
  command("plot " + what);
  command("unset label");
}

void ScriptPage::data(std::string_view name, const Series& series) {
  script_ += '$';
  script_ += name;
  script_ += " << END\n";
  bool in_gap = true;  // two blank lines would mean more than a gap, and at the front they mean nothing
  for (const Point& point : series) {
    if (!std::isnan(point.y)) {
      script_ += script_number(point.x) + " " + script_number(point.y);
      script_ += '\n';
    } else if (!in_gap) {
      script_ += '\n';
    }
    in_gap = std::isnan(point.y);
  }
  script_ += "END\n";
}

std::string ScriptPage::finished() && {
  command("unset multiplot");
  return std::move(script_);
}

}  // namespace polefit_cli
