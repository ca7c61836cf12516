#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <numbers>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "io_error_of.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/passivity.hpp"
#include "polefit_cli/commands/picture_file.hpp"
#include "polefit_cli/pictures/axis.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/gnuplot_text.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "polefit_cli/pictures/run_gnuplot.hpp"
#include "polefit_cli/pictures/series.hpp"
#include "support.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"

namespace {

using namespace polefit_cli;
using testing_support::content_of;
using testing_support::io_error_of;
using testing_support::lines_of;
using testing_support::words_of;

using Complex = std::complex<double>;
using Names = std::vector<std::string>;

// Everything that a script could take for more than text.
const Names evil_names = {
    "quote ' and \" and ` and \\",
    "'; system('touch owned'); print '",
    "\"; system(\"touch owned\") #",
    "`touch owned`",
    "line\n!touch owned\nsystem \"touch owned\"\r\n",
    "end\nEND\n!touch owned\nEND",
    std::string("zero\0!touch owned", 17),
    "macro @owned \\\n{/Symbol a}_b^c &{x} %s $data_phase",
    "\\",
    "'",
    "",
};

std::vector<double> evenly(double low, double high, int count) {
  std::vector<double> values;
  for (int i = 0; i < count; ++i) {
    values.push_back(low + (high - low) * i / (count - 1));
  }
  return values;
}

std::vector<double> by_decades(double low, double high, int count) {
  std::vector<double> values;
  for (int i = 0; i < count; ++i) {
    values.push_back(low * std::pow(high / low, static_cast<double>(i) / (count - 1)));
  }
  return values;
}

/// One pair at 1 GHz with a half width of 50 MHz and a real pole at 2 GHz; response r has residues of r + 1.
polefit::Model example_model(std::size_t responses) {
  polefit::Model model;
  model.poles = {-numerics::two_pi * 2e9,
                 {-numerics::two_pi * 5e7, numerics::two_pi * 1e9},
                 {-numerics::two_pi * 5e7, -numerics::two_pi * 1e9}};
  for (std::size_t r = 0; r < responses; ++r) {
    const double size = 1e8 * static_cast<double>(r + 1);
    model.residues.insert(model.residues.end(), {size, {size, -size}, {size, size}});
    model.constants.push_back(0.25);
    model.proportionals.push_back(0.0);
  }
  return model;
}

/// The model's values and, where nothing else is wanted, 1e-3 more.
polefit::Network samples_of(const polefit::Model& model, const std::vector<double>& frequencies,
                            const Names& names, double error = 1e-3) {
  polefit::Network network;
  network.file = "example.s2p";
  network.frequencies = frequencies;
  network.names = names;
  network.values = evaluate(model, frequencies);
  for (Complex& value : network.values) {
    value += error;
  }
  return network;
}

std::vector<MatchedResponse> first_responses(std::size_t count) {
  std::vector<MatchedResponse> responses;
  for (std::size_t r = 0; r < count; ++r) {
    responses.push_back({r, r});
  }
  return responses;
}

Names numbered_names(std::size_t count) {
  Names names;
  for (std::size_t r = 0; r < count; ++r) {
    names.push_back("R" + std::to_string(r));
  }
  return names;
}

FitPicture example_picture(std::size_t panels,
                           const std::vector<double>& frequencies = evenly(0.0, 3e9, 61)) {
  const polefit::Model model = example_model(panels);
  return fit_picture(model, samples_of(model, frequencies, numbered_names(panels)), first_responses(panels),
                     "a title");
}

/// The blocks of that name, one after the other: their lines.
std::vector<Names> blocks(const std::string& script, const std::string& name) {
  std::vector<Names> found;
  bool inside = false;
  for (const std::string& line : lines_of(script)) {
    if (line == "$" + name + " << END") {
      found.emplace_back();
      inside = true;
    } else if (line == "END") {
      inside = false;
    } else if (inside) {
      found.back().push_back(line);
    }
  }
  return found;
}

double number(const std::string& text) {
  double value = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(text::parse_real(text, value)) << text;
  return value;
}

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

TEST(GnuplotText, numbers_read_back_to_the_same_bits) {
  for (const double value : {0.1, -1.0 / 3.0, 6.02214076e23, 5e-324, 1.7976931348623157e308, 0.0}) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(number(script_number(value))),
              std::bit_cast<std::uint64_t>(value));
  }
}

TEST(GnuplotText, quoted_text_is_one_string_on_one_line) {
  for (const std::string& name : evil_names) {
    const std::string quoted = script_text(name);
    ASSERT_GE(quoted.size(), 2U);
    const std::string inside = quoted.substr(1, quoted.size() - 2);
    EXPECT_EQ(quoted.front(), '"');
    EXPECT_EQ(quoted.back(), '"');
    EXPECT_EQ(inside.find_first_of("\"'`$@{}#"), std::string::npos) << quoted;
    for (std::size_t at = inside.find('\\'); at != std::string::npos; at = inside.find('\\', at + 1)) {
      const std::string code = inside.substr(at + 1, 3);  // octal, of a character below 128
      EXPECT_TRUE(code.size() == 3 && code.find_first_not_of("01234567") == std::string::npos &&
                  code < "200");
    }
    EXPECT_TRUE(std::all_of(quoted.begin(), quoted.end(), [](char c) {
      return static_cast<unsigned char>(c) >= ' ';
    })) << quoted;
  }
}

TEST(GnuplotText, characters_stay_and_what_is_none_becomes_a_mark) {
  EXPECT_EQ(script_text("S_21^x &%d <b> µΩ☃😀"), "\"S_21^x &%d <b> µΩ☃😀\"");
  EXPECT_EQ(script_text("{'\"\\`$@#}"), R"("\173\047\042\134\140\044\100\043\175")");
  const std::map<std::string, std::string> shown = {
      {"a\xFF", "a\uFFFD"},
      {"\xC3", "\uFFFD"},                      // cut off
      {"\xC0\xAF", "\uFFFD\uFFFD"},            // longer than it need be
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xEF\xBF\xBE", "\uFFFD"},              // has no place in XML
      {"a\xC2\x85\x7F", "a  "},
  };
  for (const auto& [text, expected] : shown) {
    EXPECT_EQ(script_text(text), '"' + expected + '"');
  }
}

TEST(GnuplotText, text_without_room_ends_with_an_ellipsis) {
  const std::string text = "µ-wave_filter";
  EXPECT_EQ(shortened(text, text_width(text, 10.0), 10.0), text);
  const std::string part = shortened(text, 60.0, 10.0);
  EXPECT_LE(text_width(part, 10.0), 60.0);
  EXPECT_TRUE(part.ends_with("…"));
  EXPECT_TRUE(text.starts_with(part.substr(0, part.size() - std::string("…").size())));
  EXPECT_EQ(shortened(text, 0.0, 10.0), "…");
}

constexpr AxisPlace across{AxisPlace::Direction::along, 300.0};
constexpr AxisPlace upright{AxisPlace::Direction::up, 120.0};

/// The number that a mark shows, with the true minus and a prefix.
double shown(std::string text) {
  const std::string minus = "−";
  for (std::size_t at = text.find(minus); at != std::string::npos; at = text.find(minus)) {
    text.replace(at, minus.size(), "-");
  }
  double factor = 1.0;
  const std::map<char, double> prefixes = {{'k', 1e3}, {'M', 1e6}, {'G', 1e9}, {'T', 1e12}};
  if (const auto prefix = prefixes.find(text.back()); prefix != prefixes.end()) {
    factor = prefix->second;
    text.resize(text.size() - 2);
  }
  return factor * number(text);
}

TEST(Axis, linear_marks_stand_where_their_numbers_say) {
  const std::vector<std::pair<double, double>> ranges = {
      {0.0, 6.0},       {0.9, 2.1},   {-95.2, 1.7},         {9.9999, 10.0}, {-1e-7, 3e-7},
      {0.0, 1.0 / 3.0}, {1e12, 2e15}, {99999.0, 99999.001}, {1e8, 1e8 + 2}, {1.0001e-9, 1.0002e-9},
      {-1e-20, 0.0},    {-0.3, 0.3}};
  for (const auto& [low, high] : ranges) {
    for (const AxisPlace place : {across, upright}) {
      const Axis axis = linear_axis(low, high, place);
      EXPECT_EQ(axis.low, low);
      EXPECT_EQ(axis.high, high);
      ASSERT_GE(axis.ticks.size(), 2U) << low << ' ' << high;
      for (const Tick& tick : axis.ticks) {
        EXPECT_GE(tick.position, low);
        EXPECT_LE(tick.position, high);
        // A mark has all digits of its step; 1e-6 of the axis is no visible distance.
        EXPECT_NEAR(shown(tick.text), tick.position, 1e-6 * (high - low)) << tick.text;
      }
    }
  }
}

TEST(Axis, texts_of_linear_marks_have_room) {
  for (const double low : {0.0, -12345.0, 99999.0}) {
    const Axis axis = linear_axis(low, low + 1e-3 + 1e-6 * std::abs(low), across);
    for (std::size_t i = 1; i < axis.ticks.size(); ++i) {
      const double distance =
          (axis.ticks[i].position - axis.ticks[i - 1].position) / (axis.high - axis.low) * across.length;
      EXPECT_GT(distance, text_width(axis.ticks[i].text, 10.0));
    }
  }
}

TEST(Axis, a_single_value_makes_an_axis_around_it) {
  for (const double value : {0.0, 5.0, -1e9, 1e-300, 1e300}) {
    const Axis axis = linear_axis(value, value, upright);
    EXPECT_LT(axis.low, value);
    EXPECT_GT(axis.high, value);
    EXPECT_TRUE(std::isfinite(axis.low) && std::isfinite(axis.high));
  }
}

TEST(Axis, values_that_no_picture_can_show_become_the_nearest_that_one_can) {
  EXPECT_EQ(showable(5e-324), 0.0);
  EXPECT_EQ(showable(-1e-301), 0.0);
  EXPECT_EQ(showable(1e-300), 1e-300);
  EXPECT_EQ(showable(-1.7e308), -1e300);
  EXPECT_EQ(showable(-2.5), -2.5);
}

TEST(Axis, every_axis_has_an_end_and_finite_marks_whatever_its_range) {
  const AxisPlace place{AxisPlace::Direction::along, 300.0};
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<double> sizes = {5e-324, 1e-310, 1e-290, 1e-200, 1.0, 1e200, 1e290, 1.7e308, infinity};
  const auto expect_finite = [](const Axis& axis) {
    EXPECT_TRUE(std::isfinite(axis.low) && std::isfinite(axis.high));
    EXPECT_LT(axis.low, axis.high);
    EXPECT_LE(axis.ticks.size(), 10000U);
    for (const Tick& tick : axis.ticks) {
      EXPECT_TRUE(std::isfinite(tick.position)) << tick.text;
      EXPECT_LE(tick.text.size(), 40U) << tick.text;
    }
  };
  for (const double a : sizes) {
    for (const double b : sizes) {
      const double low = std::min(a, b);
      const double high = std::max(a, b);
      for (const double beginning : {low, -low, 0.0, -high}) {
        expect_finite(linear_axis(beginning, high, place));
      }
      expect_finite(decade_axis_of_frequency(low, high, place));
      expect_finite(decade_axis_of_errors(low, high, place));
      const SignedDecades decades(low, high);
      EXPECT_TRUE(std::isfinite(decades.position(high)));
      if (showable(high) > 0.0) {
        expect_finite(decades.axis(-high, high, place));
      }
    }
  }
}

TEST(Axis, decades_of_frequency_have_prefixes) {
  const Axis axis = decade_axis_of_frequency(50.0, 2e9, across);
  std::map<double, std::string> texts;
  for (const Tick& tick : axis.ticks) {
    EXPECT_TRUE(tick.position >= axis.low && tick.position <= axis.high);
    if (!tick.text.empty()) {
      texts[tick.position] = tick.text;
      EXPECT_NEAR(shown(tick.text), tick.position, 1e-9 * tick.position);
    }
  }
  EXPECT_EQ(texts.at(1e4), "10 k");
  EXPECT_EQ(texts.at(1e6), "1 M");
}

TEST(Axis, errors_have_whole_decades_and_no_more_than_eight) {
  const Axis axis = decade_axis_of_errors(3e-7, 2e-4, upright);
  EXPECT_NEAR(std::log10(axis.low), -7.0, 1e-5);
  EXPECT_NEAR(std::log10(axis.high), -3.0, 1e-5);
  const Axis narrow = decade_axis_of_errors(2e-4, 3e-4, upright);
  EXPECT_NEAR(std::log10(narrow.high / narrow.low), 1.0, 1e-5);
  const Axis wide = decade_axis_of_errors(1e-30, 0.5, upright);
  EXPECT_NEAR(std::log10(wide.low), -8.0, 1e-5);
  EXPECT_NEAR(std::log10(wide.high), 0.0, 1e-5);
}

TEST(Axis, signed_decades_grow_from_minus_to_plus) {
  const SignedDecades decades(2e3, 7e8);
  const std::vector<double> values = {-7e8, -1e8, -2e3, -10.0, 0.0, 10.0, 2e3, 9e5, 7e8};
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(decades.position(-values[i]), -decades.position(values[i]));
    if (i > 0) {
      EXPECT_GT(decades.position(values[i]), decades.position(values[i - 1]));
    }
  }
  const Axis axis = decades.axis(-7e8, 7e8, across);
  for (const Tick& tick : axis.ticks) {
    if (!tick.text.empty()) {
      EXPECT_NEAR(decades.position(shown(tick.text)), tick.position, 1e-12);
    }
  }
}

TEST(Axis, a_unit_makes_the_highest_frequency_one_or_more) {
  const std::map<double, std::string> units = {{0.0, "Hz"},    {999.0, "Hz"},  {1e3, "kHz"},  {9.99e5, "kHz"},
                                               {1.5e6, "MHz"}, {2.1e9, "GHz"}, {3e12, "THz"}, {1e18, "THz"}};
  for (const auto& [highest, name] : units) {
    EXPECT_EQ(axis_unit(highest).name, name);
  }
}

TEST(Series, a_magnitude_of_zero_or_without_bound_is_a_gap) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<double> x = {1.0, 2.0, 3.0, 4.0};
  const std::vector<Complex> values = {{0.0, 10.0}, 0.0, {infinity, 0.0}, {gap, 0.0}};
  for (const Series& series : {decibels(x, values), phases(x, values)}) {
    ASSERT_EQ(series.size(), 4U);
    EXPECT_FALSE(std::isnan(series[0].y));
    EXPECT_TRUE(std::isnan(series[1].y) && std::isnan(series[2].y) && std::isnan(series[3].y));
  }
  EXPECT_DOUBLE_EQ(decibels(x, values)[0].y, 20.0);
  EXPECT_DOUBLE_EQ(phases(x, values)[0].y, 90.0);
}

TEST(Series, an_error_of_zero_is_a_gap) {
  const std::vector<double> x = {1.0, 2.0};
  const Series series =
      differences(x, std::vector<Complex>{1.0, {0.0, 3.0}}, std::vector<Complex>{1.0, {4.0, 0.0}});
  EXPECT_TRUE(std::isnan(series[0].y));
  EXPECT_DOUBLE_EQ(series[1].y, 5.0);
}

TEST(Series, a_phase_leaves_at_one_edge_and_comes_in_at_the_other) {
  const Series curve =
      broken_at_jumps({{0.0, -100.0}, {1.0, -160.0}, {2.0, 140.0}, {3.0, gap}, {4.0, -170.0}});
  ASSERT_EQ(curve.size(), 8U);
  EXPECT_NEAR(curve[2].x, 1.0 + 20.0 / 60.0, 1e-15);
  EXPECT_EQ(curve[2].y, -180.0);
  EXPECT_TRUE(std::isnan(curve[3].y));
  EXPECT_EQ(curve[4].y, 180.0);
  EXPECT_EQ(curve[4].x, curve[2].x);
  for (std::size_t i = 1; i < curve.size(); ++i) {
    EXPECT_FALSE(std::abs(curve[i].y - curve[i - 1].y) > 180.0);
  }
}

TEST(Series, thinning_keeps_the_extremes_of_every_column) {
  Series series;
  for (int i = 0; i < 100000; ++i) {
    series.push_back({1.0 + i, std::sin(1e-3 * i)});
  }
  series[31234].y = 7.0;
  series[31235].y = -7.0;
  series[50000].y = gap;
  for (const bool logarithmic : {false, true}) {
    const Series thin = thinned(series, logarithmic, 200);
    EXPECT_LE(thin.size(), 402U);  // two of each column, the end has one of its own
    EXPECT_GE(thin.size(), 100U);
    EXPECT_TRUE(std::is_sorted(thin.begin(), thin.end(), [](Point a, Point b) { return a.x < b.x; }));
    EXPECT_EQ(range_of(thin).high, 7.0);
    EXPECT_EQ(range_of(thin).low, -7.0);
    EXPECT_FALSE(std::any_of(thin.begin(), thin.end(), [](Point p) { return std::isnan(p.y); }));
  }
  EXPECT_EQ(thinned({{1.0, 2.0}, {2.0, gap}}, false, 1).size(), 2U);
}

TEST(Pictures, the_worst_responses_come_first) {
  const double quiet_nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> errors = {0.1, 0.5, quiet_nan, 0.5, 0.01};
  using Indices = std::vector<std::size_t>;
  EXPECT_EQ(worst_responses(errors, 4), (Indices{2, 1, 3, 0}));
  EXPECT_EQ(worst_responses(errors, 1), (Indices{2}));
  EXPECT_EQ(worst_responses(errors, 9), (Indices{2, 1, 3, 0, 4}));
  EXPECT_EQ(worst_responses({}, 4), Indices());
}

TEST(Pictures, the_ending_of_the_name_tells_the_format) {
  EXPECT_EQ(picture_format("a.b/fit.svg"), PictureFormat::svg);
  EXPECT_EQ(picture_format("fit.PNG"), PictureFormat::png);
  EXPECT_EQ(picture_format("fit.old.pdf"), PictureFormat::pdf);
  EXPECT_EQ(picture_format("-"), PictureFormat::svg);
  for (const char* name : {"fit", "fit.jpg", "svg", "", "fit.svg/fit", "fit.svgz"}) {
    EXPECT_EQ(io_error_of([&] { picture_format(name); }).expected, "one that ends in .svg, .png or .pdf")
        << name;
  }
}

TEST(Pictures, a_sweep_by_decades_has_a_logarithmic_axis_and_an_even_one_a_linear) {
  const auto is_logarithmic = [](const std::vector<double>& frequencies) {
    return example_picture(1, frequencies).logarithmic;
  };
  EXPECT_TRUE(is_logarithmic(by_decades(1e3, 1e9, 61)));
  EXPECT_TRUE(is_logarithmic(by_decades(1e3, 1.01e5, 21)));
  EXPECT_FALSE(is_logarithmic(by_decades(1e3, 0.9e5, 21)));
  EXPECT_FALSE(is_logarithmic(evenly(1e6, 2e10, 201)));  // four decades, but not seen as such
  EXPECT_FALSE(is_logarithmic(evenly(0.0, 1e9, 51)));
  EXPECT_FALSE(is_logarithmic({0.0}));
  std::vector<double> with_zero = by_decades(1e3, 1e9, 61);
  with_zero.insert(with_zero.begin(), 0.0);
  EXPECT_TRUE(is_logarithmic(with_zero));
}

TEST(Pictures, samples_are_sorted_and_belong_to_their_response) {
  const polefit::Model model = example_model(2);
  polefit::Network network = samples_of(model, {3e9, 1e9, 2e9}, {"a", "b"}, 0.0);
  network.values[4] += 0.3;  // of b at 1 GHz
  const std::vector<MatchedResponse> crossed = {{0, 1}, {1, 0}};
  const FitPicture picture = fit_picture(model, network, crossed, "");
  EXPECT_EQ(picture.frequencies, (std::vector<double>{1e9, 2e9, 3e9}));
  ASSERT_EQ(picture.panels.size(), 2U);
  EXPECT_EQ(picture.panels[0].name, "b");
  EXPECT_EQ(picture.panels[0].data,
            (std::vector<Complex>{network.values[4], network.values[5], network.values[3]}));
  const auto fit = evaluate(model, picture.frequencies);
  EXPECT_EQ(picture.panels[0].fit, std::vector<Complex>(fit.begin(), fit.begin() + 3));
  EXPECT_EQ(picture.panels[1].fit, std::vector<Complex>(fit.begin() + 3, fit.end()));
  EXPECT_EQ(picture.panels[0].curve.size(), picture.grid.size());
}

TEST(Pictures, the_error_of_a_panel_is_that_of_the_library) {
  const polefit::Model model = example_model(3);
  polefit::Network network = samples_of(model, evenly(0.0, 3e9, 40), numbered_names(3));
  network.values[55] *= 2.0;
  const FitPicture picture = fit_picture(model, network, first_responses(3), "");
  const auto errors = polefit::errors(model, network.data());
  for (std::size_t r = 0; r < 3; ++r) {
    EXPECT_NEAR(picture.panels[r].rms, errors[r].rms, 1e-14 * errors[r].rms);  // 40 roundings of either sum
  }
}

TEST(Pictures, resonances_between_samples_are_on_the_curve) {
  polefit::Model model = example_model(1);
  model.poles[1].real(-numerics::two_pi * 10.0);  // a hundred-millionth of its frequency
  model.poles[2].real(-numerics::two_pi * 10.0);
  for (const auto& frequencies : {evenly(1e8, 3e9, 20), by_decades(1e6, 3e9, 20)}) {
    const FitPicture picture =
        fit_picture(model, samples_of(model, frequencies, {"S"}), first_responses(1), "");
    double highest = 0.0;
    for (const Complex value : picture.panels[0].curve) {
      highest = std::max(highest, std::abs(value));
    }
    const double peak = std::abs(model.residues[1] / model.poles[1].real());
    EXPECT_NEAR(highest, peak, 1e-3 * peak);  // beside it all else is below 2
    const auto in_half_width = std::count_if(picture.grid.begin(), picture.grid.end(),
                                             [](double f) { return std::abs(f - 1e9) <= 10.0; });
    EXPECT_GE(in_half_width, 5);  // enough for its shape
    EXPECT_TRUE(std::is_sorted(picture.grid.begin(), picture.grid.end()));
    EXPECT_EQ(picture.grid.front(), picture.frequencies.front());
    EXPECT_EQ(picture.grid.back(), picture.frequencies.back());
  }
}

TEST(Pictures, none_and_more_than_sixteen_responses_are_refused) {
  for (const std::size_t count : {std::size_t{0}, most_panels + 1}) {
    const text::IoErrorDetails error = io_error_of([&] { example_picture(count); });
    EXPECT_EQ(error.found, std::to_string(count) + " responses to draw");
    EXPECT_EQ(error.expected, "1 to 16, chosen with --responses");
  }
}

TEST(Pictures, a_network_without_samples_is_refused) {
  EXPECT_EQ(io_error_of([&] { example_picture(1, {}); }).found, "no samples");
}

TEST(Pictures, poles_weigh_as_much_as_their_resonances_are_high) {
  polefit::Model model =
      example_model(2);  // heights c / a' of the pair: 20 sqrt(2) times those of the real pole / 0.5
  model.constants = {1.0, 1.0};
  const PolePicture picture = pole_picture(model, "");
  ASSERT_EQ(picture.poles.size(), 3U);
  EXPECT_NEAR(picture.poles[1].real, -5e7, 1e-6);
  EXPECT_NEAR(picture.poles[1].imaginary, 1e9, 1e-6);
  EXPECT_EQ(picture.poles[1].weight, 0.0);
  EXPECT_EQ(picture.poles[2].weight, 0.0);
  EXPECT_NEAR(picture.poles[0].weight, -20.0 * std::log10(40.0 * std::numbers::sqrt2), 1e-9);
  model.residues[0] = model.residues[3] = 0.0;
  EXPECT_EQ(pole_picture(model, "").poles[0].weight, least_weight);
}

TEST(Pictures, poles_that_are_not_finite_are_refused) {
  polefit::Model model = example_model(1);
  model.poles[0] = -std::numeric_limits<double>::infinity();
  try {
    pole_picture(model, "");
    ADD_FAILURE() << "accepted";
  } catch (const polefit::Error& error) {
    EXPECT_STREQ(error.what(),
                 "found pole 1 or a residue that is not a finite number, expected finite ones to draw");
  }
}

TEST(FitScript, the_samples_are_in_it_as_numbers) {
  const FitPicture picture = example_picture(2);
  const std::string script = fit_script(picture, PictureFormat::svg);
  const auto magnitudes = blocks(script, "data_magnitude");
  const auto angles = blocks(script, "data_phase");
  const auto errors = blocks(script, "error");
  ASSERT_EQ(magnitudes.size(), 2U);
  ASSERT_EQ(angles.size(), 2U);
  ASSERT_EQ(errors.size(), 2U);
  for (std::size_t r = 0; r < 2; ++r) {
    const ResponsePanel& panel = picture.panels[r];
    ASSERT_EQ(magnitudes[r].size(), panel.data.size());
    for (std::size_t k = 0; k < panel.data.size(); ++k) {
      const auto magnitude = words_of(magnitudes[r][k]);
      EXPECT_EQ(number(magnitude[0]), picture.frequencies[k] / 1e9);  // GHz
      // The rest in double precision: a few units of the last place of 100.
      EXPECT_NEAR(number(magnitude[1]), 20.0 * std::log10(std::abs(panel.data[k])), 1e-13);
      EXPECT_NEAR(number(words_of(angles[r][k])[1]), std::arg(panel.data[k]) * 180.0 / std::numbers::pi,
                  1e-13);
      EXPECT_NEAR(number(words_of(errors[r][k])[1]), 1e-3, 1e-15);
    }
  }
}

TEST(FitScript, every_panel_has_three_frames_and_curves) {
  for (std::size_t panels = 1; panels <= most_panels; ++panels) {
    const std::string script = fit_script(example_picture(panels), PictureFormat::png);
    EXPECT_EQ(count_of(script, "\nplot "), 3 * panels);
    EXPECT_EQ(blocks(script, "fit_magnitude").size(), panels);
    EXPECT_EQ(blocks(script, "fit_phase").size(), panels);
    EXPECT_EQ(count_of(script, " title 'data'"), 1U);
    for (std::size_t r = 0; r < panels; ++r) {
      EXPECT_EQ(count_of(script, "set label \"R" + std::to_string(r) + "\" "), 1U);
    }
  }
}

/// Where the frames of a script stand on the page, as parts of it.
struct Frame {
  double left, right, bottom, top;
};

std::vector<Frame> frames(const std::string& script) {
  std::map<std::string, double> now;
  std::vector<Frame> found;
  for (const std::string& line : lines_of(script)) {
    const auto words = words_of(line);
    if (words.size() == 5 && words[2] == "at" && words[3] == "screen") {
      now[words[1]] = number(words[4]);
    } else if (!words.empty() && words[0] == "plot") {
      found.push_back({now["lmargin"], now["rmargin"], now["bmargin"], now["tmargin"]});
    }
  }
  return found;
}

TEST(FitScript, frames_are_on_the_page_and_apart) {
  for (std::size_t panels = 1; panels <= most_panels; ++panels) {
    const auto all = frames(fit_script(example_picture(panels), PictureFormat::pdf));
    for (std::size_t i = 0; i < all.size(); ++i) {
      EXPECT_TRUE(0.0 < all[i].left && all[i].left < all[i].right && all[i].right < 1.0);
      EXPECT_TRUE(0.0 < all[i].bottom && all[i].bottom < all[i].top && all[i].top < 1.0);
      for (std::size_t k = 0; k < i; ++k) {
        EXPECT_TRUE(all[k].right < all[i].left || all[i].right < all[k].left || all[i].top < all[k].bottom ||
                    all[k].top < all[i].bottom)
            << panels << " panels: " << k << ", " << i;
      }
    }
  }
}

TEST(FitScript, a_zero_is_left_out_and_breaks_the_curve) {
  FitPicture picture = example_picture(1);
  picture.panels[0].data[7] = 0.0;
  picture.panels[0].curve[100] = 0.0;
  const std::string script = fit_script(picture, PictureFormat::svg);
  const Names data = blocks(script, "data_magnitude").at(0);
  EXPECT_EQ(data.size(), picture.frequencies.size());  // a blank line in its place
  EXPECT_EQ(data[7], "");
  EXPECT_EQ(blocks(script, "fit_magnitude").at(0)[100], "");
  EXPECT_EQ(count_of(script, " nan"), 0U);
  EXPECT_EQ(count_of(script, " inf"), 0U);
}

TEST(FitScript, the_curve_of_the_phase_never_jumps) {
  FitPicture picture = example_picture(1);
  for (std::size_t i = 0; i < picture.grid.size(); ++i) {
    picture.panels[0].curve[i] = std::polar(1.0, -0.05 * static_cast<double>(i));
  }
  const auto curves = blocks(fit_script(picture, PictureFormat::svg), "fit_phase");
  ASSERT_EQ(curves.size(), 1U);
  bool broken = false;
  double before = std::numeric_limits<double>::quiet_NaN();
  for (const std::string& line : curves[0]) {
    const double now = line.empty() ? std::numeric_limits<double>::quiet_NaN() : number(words_of(line)[1]);
    EXPECT_FALSE(std::abs(now - before) > 180.0);
    broken = broken || line.empty();
    before = now;
  }
  EXPECT_TRUE(broken);
}

TEST(FitScript, a_logarithmic_axis_leaves_out_0_hz_and_says_so) {
  std::vector<double> frequencies = by_decades(1e3, 1e9, 61);
  frequencies.insert(frequencies.begin(), 0.0);
  const std::string script = fit_script(example_picture(1, frequencies), PictureFormat::svg);
  EXPECT_EQ(count_of(script, "\nset logscale x\n"), 3U);
  const Names data = blocks(script, "data_magnitude").at(0);
  EXPECT_EQ(data.size(), 61U);
  EXPECT_EQ(number(words_of(data[0])[0]), 1e3);
  EXPECT_EQ(count_of(script, "\"frequency / Hz  (without 0 Hz)\""), 1U);
  EXPECT_EQ(count_of(fit_script(example_picture(1), PictureFormat::svg), "\"frequency / GHz\""), 1U);
}

TEST(FitScript, values_with_a_unit_say_so) {
  const polefit::Model model = example_model(1);
  polefit::Network network = samples_of(model, evenly(0.0, 3e9, 11), {"Z11"});
  network.matrix.emplace();
  network.matrix->parameter = 'Z';
  const std::string script =
      fit_script(fit_picture(model, network, first_responses(1), ""), PictureFormat::svg);
  EXPECT_EQ(count_of(script, "\"magnitude / dBΩ\""), 1U);
  EXPECT_EQ(count_of(script, "\"|data − fit| / Ω\""), 1U);
  EXPECT_EQ(count_of(script, "\"rms 0.001 Ω\""), 1U);
}

TEST(FitScript, names_add_no_commands) {
  const auto commands = [](const std::string& script) {
    std::multiset<std::string> first_words;
    for (const std::string& line : lines_of(script)) {
      first_words.insert(words_of(line).empty() ? "" : words_of(line).front());
    }
    return first_words;
  };
  FitPicture picture = example_picture(evil_names.size());
  const auto expected = commands(fit_script(picture, PictureFormat::svg));
  for (std::size_t r = 0; r < evil_names.size(); ++r) {
    picture.panels[r].name = evil_names[r];
    picture.title += evil_names[r];
  }
  EXPECT_EQ(commands(fit_script(picture, PictureFormat::svg)), expected);
}

TEST(PoleScript, every_pole_is_a_cross_at_its_place) {
  polefit::Model model = example_model(1);
  model.origin = polefit::Origin{.lowest = 1e8, .highest = 3e9, .samples = 10, .errors = {}};
  const std::string script = pole_script(pole_picture(model, "t"), PictureFormat::svg);
  const Names poles = blocks(script, "poles").at(0);
  ASSERT_EQ(poles.size(), 3U);
  std::set<std::pair<double, double>> places;
  for (const std::string& line : poles) {
    places.insert({number(words_of(line)[0]), number(words_of(line)[1])});
  }
  std::set<std::pair<double, double>> expected;
  for (const Complex pole : model.poles) {
    const Complex hertz = pole / numerics::two_pi;
    expected.insert({hertz.real() / 1e9, hertz.imag() / 1e9});
  }
  EXPECT_EQ(places, expected);
  EXPECT_EQ(count_of(script, "\"3 poles: 1 real, 1 pair\""), 1U);
  EXPECT_EQ(count_of(script, "\"Re(a) / 2π in GHz\""), 1U);
  EXPECT_EQ(count_of(script, "set object rectangle"), 3U);  // the band twice, the right half plane
}

TEST(PoleScript, a_band_below_all_numbers_has_an_end) {
  polefit::Model model;
  model.poles = {-1.0, Complex(-1.0, 3.0), Complex(-1.0, -3.0)};
  model.residues = {1.0, 1.0, 1.0};
  model.constants = {0.0};
  model.proportionals = {0.0};
  for (const double highest : {5e-324, 1e-300, 1.7e308}) {
    model.origin = polefit::Origin{.lowest = 0.0, .highest = highest, .samples = 2, .errors = {}};
    const std::string script = pole_script(pole_picture(model, ""), PictureFormat::svg);
    EXPECT_EQ(count_of(script, " inf"), 0U) << highest;
    EXPECT_EQ(count_of(script, " nan"), 0U) << highest;
    model.poles[0] = -highest;
    EXPECT_FALSE(pole_script(pole_picture(model, ""), PictureFormat::svg).empty());
  }
}

TEST(Pictures, the_error_of_a_panel_neither_vanishes_nor_overflows) {
  polefit::Model model;
  model.constants = {0.0};
  model.proportionals = {0.0};
  for (const double size : {1e-310, 1e200}) {
    polefit::Network network;
    network.names = {"a"};
    network.frequencies = {1.0, 2.0};
    network.values = {size, size};
    const FitPicture picture = fit_picture(model, network, std::vector<MatchedResponse>{{0, 0}}, "");
    EXPECT_NEAR(picture.panels[0].rms, size, 1e-12 * size + 5e-324);  // a few roundings of hypot
  }
}

TEST(PoleScript, poles_of_many_decades_stand_apart) {
  polefit::Model model;
  for (const double size : {1e2, 1e4, 1e6, 1e8}) {
    model.poles.insert(model.poles.end(), {{-size, 10.0 * size}, {-size, -10.0 * size}});
  }
  model.poles.emplace_back(3e3);
  model.residues.assign(model.poles.size(), 1.0);
  model.constants = model.proportionals = {0.0};
  const std::string script = pole_script(pole_picture(model, ""), PictureFormat::svg);
  std::set<double> on_real_axis;
  const Names poles = blocks(script, "poles").at(0);
  for (const std::string& line : poles) {
    on_real_axis.insert(number(words_of(line)[0]));
  }
  double before = -std::numeric_limits<double>::infinity();
  for (const double position : on_real_axis) {
    EXPECT_GE(position - before, 1.0);  // a decade of some ten on the axis
    before = position;
  }
  EXPECT_EQ(on_real_axis.size(), 5U);
  EXPECT_EQ(count_of(script, "1 in the right half plane"), 1U);
}

/// A resonance of a one-port at 1 GHz with a width of a millionth and that height, fitted from 100 MHz to 3
/// GHz.
polefit::Model narrow_resonance(double height, char parameter = 'S') {
  polefit::Model model;
  const Complex pole(-numerics::two_pi * 1e3, numerics::two_pi * 1e9);
  model.poles = {pole, std::conj(pole)};
  model.residues = {-height * pole.real(), -height * pole.real()};
  model.constants = model.proportionals = {0.0};
  model.network = polefit::NetworkMatrix{parameter, {50.0}, {{1, 1}}};
  model.origin = polefit::Origin{.lowest = 1e8, .highest = 3e9, .samples = 10, .errors = {{}}};
  return model;
}

PassivityPicture passivity_picture_of(const polefit::Model& model) {
  return passivity_picture(model, polefit::passivity(model), "a title", "a verdict");
}

TEST(PassivityPictures, narrow_resonances_and_violations_are_on_the_curve) {
  const PassivityPicture picture = passivity_picture_of(narrow_resonance(1.5));
  ASSERT_EQ(picture.grid.size(), picture.curve.size());
  EXPECT_TRUE(std::is_sorted(picture.grid.begin(), picture.grid.end()));
  // At the resonance itself, so up to rounding of its frequency.
  EXPECT_NEAR(*std::max_element(picture.curve.begin(), picture.curve.end()), 1.5, 1e-9);
  ASSERT_EQ(picture.violations.size(), 1U);
  const auto first = std::lower_bound(picture.grid.begin(), picture.grid.end(), picture.violations[0].lowest);
  const auto last = std::upper_bound(first, picture.grid.end(), picture.violations[0].highest);
  EXPECT_GE(last - first, 9);
  EXPECT_EQ(picture.limit, 1.0);
  // A hundredth of what it is above 1 by.
  EXPECT_NEAR(picture.finest_distance, 0.005, 1e-10);
}

TEST(PassivityPictures, the_worst_of_violations_and_the_nearest_to_the_limit_are_on_the_curve) {
  polefit::Model model = narrow_resonance(1.5);
  model.constants = {0.3};  // moves the peak away from the resonance
  model.residues = {model.residues[0] * Complex(1.0, 0.5), model.residues[1] * Complex(1.0, -0.5)};
  for (const std::size_t i : {0U, 1U}) {
    model.poles.push_back(model.poles[i] + Complex(0.0, model.poles[i].imag()));
    model.residues.push_back(0.9 * model.residues[i]);
  }
  const polefit::Passivity found = polefit::passivity(model);
  const PassivityPicture picture = passivity_picture_of(model);
  ASSERT_EQ(found.violations.size(), 2U);
  for (const polefit::Violation& violation : found.violations) {
    EXPECT_TRUE(std::binary_search(picture.grid.begin(), picture.grid.end(), violation.frequency));
  }
  for (Complex& residue : model.residues) {
    residue *= 0.3;
  }
  const polefit::Passivity nearest = polefit::passivity(model);
  ASSERT_TRUE(nearest.passive);
  const PassivityPicture passive = passivity_picture_of(model);
  EXPECT_TRUE(std::binary_search(passive.grid.begin(), passive.grid.end(), nearest.frequency));
}

TEST(PassivityPictures, begin_below_and_end_beyond_band_poles_and_violations) {
  const PassivityPicture by_band = passivity_picture_of(narrow_resonance(0.5));
  EXPECT_DOUBLE_EQ(by_band.grid.front(), 1e7);
  EXPECT_DOUBLE_EQ(by_band.grid.back(), 3e10);
  ASSERT_TRUE(by_band.band);
  EXPECT_EQ(by_band.band->highest, 3e9);
  EXPECT_EQ(by_band.finest_distance, 0.0);

  polefit::Model model = narrow_resonance(0.5);
  model.origin.reset();
  const PassivityPicture by_pole = passivity_picture_of(model);
  EXPECT_FALSE(by_pole.band);
  EXPECT_NEAR(by_pole.grid.front(), 1e8, 1e-3);  // |a| is longer than its imaginary part by 1e-12 of it
  EXPECT_NEAR(by_pole.grid.back(), 1e10, 0.1);

  polefit::Model far = narrow_resonance(0.5);
  far.poles.emplace_back(-1e30);
  far.residues.emplace_back(1e29);
  EXPECT_DOUBLE_EQ(passivity_picture_of(far).grid.back(), 3e16);

  polefit::Model constant = narrow_resonance(0.5);
  constant.poles.clear();
  constant.residues.clear();
  constant.origin.reset();
  EXPECT_EQ(passivity_picture_of(constant).grid.front(), 0.1);
  EXPECT_EQ(passivity_picture_of(constant).grid.back(), 10.0);
}

TEST(PassivityPictures, bands_at_the_ends_of_the_range_of_numbers_have_a_grid) {
  const double least = std::numeric_limits<double>::denorm_min();
  const double largest = std::numeric_limits<double>::max();
  for (const auto& [lowest, highest] : {std::pair(0.0, least), std::pair(largest, largest)}) {
    polefit::Model model = narrow_resonance(0.5);
    model.poles.clear();
    model.residues.clear();
    model.origin->lowest = lowest;
    model.origin->highest = highest;
    const std::vector<double> grid = passivity_picture_of(model).grid;
    ASSERT_GT(grid.size(), 1U) << highest;
    EXPECT_GT(grid.front(), 0.0) << highest;
    EXPECT_LT(grid.front(), grid.back()) << highest;
    EXPECT_TRUE(std::isfinite(grid.back())) << highest;
  }
}

TEST(PassivityPictures, violations_without_an_end_are_cut_to_the_axis) {
  polefit::Model model = narrow_resonance(0.01, 'Z');
  model.constants = {-1.0};
  const PassivityPicture picture = passivity_picture_of(model);
  EXPECT_EQ(picture.limit, 0.0);
  ASSERT_EQ(picture.violations.size(), 1U);
  EXPECT_EQ(picture.violations[0].lowest, picture.grid.front());
  EXPECT_EQ(picture.violations[0].highest, picture.grid.back());
}

TEST(PassivityScript, values_within_and_beyond_the_limit_are_apart_and_at_their_distance) {
  for (const char parameter : {'S', 'Z'}) {
    PassivityPicture picture;
    picture.parameter = parameter;
    picture.limit = parameter == 'S' ? 1.0 : 0.0;
    picture.grid = {1e3, 2e3, 3e3, 4e3, 5e3};
    const double sign = parameter == 'S' ? 1.0 : -1.0;
    for (const double excess : {-0.5, 0.25, 0.0, gap, -0.125}) {
      picture.curve.push_back(picture.limit + sign * excess);
    }
    const std::string script = passivity_script(picture, PictureFormat::svg);
    EXPECT_EQ(blocks(script, "beyond").at(0), (Names{"2000 0.25", ""}));
    picture.passive = true;
    EXPECT_EQ(count_of(passivity_script(picture, PictureFormat::svg), "$beyond"), 0U);
    // The gap between them stays one.
    EXPECT_EQ(blocks(script, "within").at(0), (Names{"1000 0.5", "", "5000 0.125"}));
    EXPECT_EQ(blocks(script, "value").at(0).size(), 5U);
    const std::string limit = parameter == 'S' ? "first 1 " : "first 0 ";
    EXPECT_EQ(count_of(script, "from graph 0, " + limit + "to graph 1, " + limit + "nohead"), 1U) << script;
    EXPECT_EQ(count_of(script, parameter == 'S' ? "\"above 1: not passive\"" : "\"below 0: not passive\""),
              1U);
    EXPECT_EQ(count_of(script, parameter == 'S' ? "\"distance from 1\"" : "\"distance from 0 / Ω\""), 1U);
  }
}

TEST(PassivityScript, band_and_violations_are_shaded_however_narrow) {
  const PassivityPicture picture = passivity_picture_of(narrow_resonance(1.5));
  const std::string script = passivity_script(picture, PictureFormat::svg);
  EXPECT_EQ(count_of(script, "set object rectangle"), 2U);
  EXPECT_EQ(count_of(script, "\"blue: band of the fit\""), 1U);
  const std::size_t at = script.rfind("set object rectangle");
  const std::vector<std::string> words = words_of(script.substr(at, script.find('\n', at) - at));
  // set object rectangle from first LOW, graph 0 to first HIGH, graph 1 ...
  const double low = number(words.at(5).substr(0, words.at(5).size() - 1));
  const double high = number(words.at(10).substr(0, words.at(10).size() - 1));
  // 1.5 points of 452 for the decades from 10 MHz to 30 GHz.
  EXPECT_NEAR(std::log(high / low), std::log(3000.0) * 1.5 / 452.0, 1e-6);
  EXPECT_NEAR(std::sqrt(low * high), 1e9, 1e4);
}

TEST(PassivityScript, the_ends_of_violations_do_not_stretch_the_axis_of_distances) {
  // Wide, so that its ends, which are found to a part in a million, are near to the limit.
  polefit::Model model = narrow_resonance(1.5);
  for (Complex& pole : model.poles) {
    pole.real(-numerics::two_pi * 1e8);
  }
  for (Complex& residue : model.residues) {
    residue *= 1e5;
  }
  PassivityPicture picture = passivity_picture_of(model);
  const auto lowest_of = [](const std::string& script) {
    const std::size_t at = script.rfind("set yrange [") + 12;
    return number(script.substr(at, script.find(':', at) - at));
  };
  EXPECT_NEAR(lowest_of(passivity_script(picture, PictureFormat::svg)), 1e-3, 1e-8);
  picture.finest_distance = 0.0;
  EXPECT_LT(lowest_of(passivity_script(picture, PictureFormat::svg)), 1e-5);
}

/// A variable of the surroundings, as long as this lives.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* const before = std::getenv(name)) {
      before_ = before;
      was_set_ = true;
    }
    setenv(name, value.c_str(), 1);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { was_set_ ? setenv(name_, before_.c_str(), 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::string before_;
  bool was_set_ = false;
};

/// No variables but PATH, and these, as long as this lives.
class Surroundings {
 public:
  explicit Surroundings(std::vector<std::string> variables) : variables_(std::move(variables)) {
    variables_.push_back("PATH=" + std::string(std::getenv("PATH")));
    for (std::string& variable : variables_) {
      pointers_.push_back(variable.data());
    }
    pointers_.push_back(nullptr);
    environ = pointers_.data();
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;
  ~Surroundings() { environ = before_; }

 private:
  std::vector<std::string> variables_;
  std::vector<char*> pointers_;
  char** before_ = environ;
};

class Gnuplot : public testing_support::InOwnDirectory {
 protected:
  /// A program of that name which does this, the only one in the directory.
  static std::string fake(const std::string& commands) {
    std::filesystem::create_directory("bin");
    std::ofstream("bin/gnuplot") << "#!/bin/sh\n" << commands << '\n';
    std::filesystem::permissions("bin/gnuplot", std::filesystem::perms::owner_all);
    return std::filesystem::absolute("bin").string();
  }
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static std::set<std::string> files() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      names.insert(entry.path().filename().string());
    }
    names.erase("bin");
    return names;
  }
};

using Files = std::set<std::string>;

unsigned big_endian(const std::string& bytes, std::size_t at) {
  unsigned value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes[i]);
  }
  return value;
}

TEST_F(Gnuplot, pictures_are_whole_files_of_their_format_and_size) {
  const FitPicture picture = example_picture(4);
  for (const auto& [name, format] : std::map<std::string, PictureFormat>{{"fit.svg", PictureFormat::svg},
                                                                         {"fit.png", PictureFormat::png},
                                                                         {"fit.pdf", PictureFormat::pdf}}) {
    EXPECT_EQ(draw_to(name, fit_script(picture, format), format), "") << name;
  }
  EXPECT_EQ(files(), (Files{"fit.svg", "fit.png", "fit.pdf"}));

  const std::string svg = content_of("fit.svg");
  EXPECT_TRUE(svg.starts_with("<?xml"));
  EXPECT_EQ(count_of(svg, "</svg>"), 1U);
  // 676 x 788 points at 96 and 192 pixels an inch.
  EXPECT_EQ(count_of(svg, "viewBox=\"0 0 901 1051\""), 1U);
  for (const char* text : {">R0<", ">R3<", ">a title<", ">rms 0.001<", "frequency / GHz", "magnitude / dB"}) {
    EXPECT_GE(count_of(svg, text), 1U) << text;
  }
  const std::string png = content_of("fit.png");
  EXPECT_TRUE(png.starts_with("\x89PNG\r\n\x1A\n"));
  EXPECT_EQ(big_endian(png, 16), 1803U);
  EXPECT_EQ(big_endian(png, 20), 2101U);
  const std::string pdf = content_of("fit.pdf");
  EXPECT_TRUE(pdf.starts_with("%PDF-"));
  EXPECT_EQ(count_of(pdf, "/MediaBox [ 0 0 676 788 ]"), 1U);
}

TEST_F(Gnuplot, every_number_of_panels_is_drawn_without_complaint) {
  for (const std::size_t panels : {1U, 2U, 3U, 5U, 16U}) {
    const Drawing drawing = draw(fit_script(example_picture(panels), PictureFormat::svg), PictureFormat::svg);
    EXPECT_EQ(drawing.messages, "");
    EXPECT_EQ(count_of(drawing.picture, ">R" + std::to_string(panels - 1) + "<"), 1U);
  }
}

TEST_F(Gnuplot, odd_data_are_drawn_without_complaint) {
  const double infinity = std::numeric_limits<double>::infinity();
  std::vector<FitPicture> pictures(4, example_picture(1));
  ResponsePanel& zero = pictures[0].panels[0];
  zero.data.assign(zero.data.size(), 0.0);
  zero.fit = zero.data;
  zero.curve.assign(zero.curve.size(), 0.0);
  zero.rms = 0.0;
  ResponsePanel& constant = pictures[1].panels[0];
  constant.data.assign(constant.data.size(), -1.0);
  constant.fit = constant.data;
  constant.curve.assign(constant.curve.size(), -1.0);
  ResponsePanel& infinite = pictures[2].panels[0];
  infinite.fit.assign(infinite.fit.size(), {infinity, 0.0});
  infinite.curve.assign(infinite.curve.size(), {gap, 0.0});
  infinite.rms = infinity;
  pictures[3] = example_picture(1, {1e9});
  for (const FitPicture& picture : pictures) {
    EXPECT_EQ(draw(fit_script(picture, PictureFormat::svg), PictureFormat::svg).messages, "");
  }
  EXPECT_EQ(count_of(fit_script(pictures[0], PictureFormat::svg), "\"zero throughout\""), 2U);
  EXPECT_EQ(count_of(fit_script(pictures[0], PictureFormat::svg), "\"no difference\""), 1U);
  EXPECT_EQ(count_of(fit_script(pictures[0], PictureFormat::svg), "\nunset ytics\n"),
            2U);  // the phase has its
  EXPECT_EQ(count_of(fit_script(pictures[2], PictureFormat::svg), "\"no finite value\""), 1U);
  EXPECT_EQ(count_of(fit_script(pictures[2], PictureFormat::svg), "\"rms not finite\""), 1U);
}

TEST_F(Gnuplot, poles_of_all_kinds_are_drawn_without_complaint) {
  const auto model_with = [](std::vector<Complex> poles) {
    polefit::Model model;
    model.poles = std::move(poles);
    model.residues.assign(model.poles.size(), 1.0);
    model.constants = model.proportionals = {0.0};
    return model;
  };
  const std::vector<std::vector<Complex>> sets = {
      {}, {-1e9}, {{0.0, 1e9}, {0.0, -1e9}}, {{5.0, 1e9}, {5.0, -1e9}}, {-1e-300, -1e300}, {0.0}};
  for (const auto& poles : sets) {
    for (const PictureFormat format : {PictureFormat::svg, PictureFormat::png, PictureFormat::pdf}) {
      EXPECT_EQ(draw(pole_script(pole_picture(model_with(poles), "t"), format), format).messages, "");
    }
  }
}

TEST_F(Gnuplot, distances_to_the_limit_of_all_kinds_are_drawn_without_complaint) {
  const double infinity = std::numeric_limits<double>::infinity();
  std::vector<PassivityPicture> pictures{passivity_picture_of(narrow_resonance(1.5)),
                                         passivity_picture_of(narrow_resonance(0.5)),
                                         passivity_picture_of(narrow_resonance(-2.0, 'Y'))};
  polefit::Model constant = narrow_resonance(0.0);
  constant.constants = {1.0};  // at the limit throughout
  pictures.push_back(passivity_picture_of(constant));
  pictures.push_back(pictures[0]);
  pictures.back().curve.assign(pictures.back().grid.size(), infinity);
  pictures.back().title.clear();
  polefit::Model far_apart = narrow_resonance(0.5);
  far_apart.poles = {-1e-40, -1e40};
  far_apart.residues = {1e-41, 1e39};
  far_apart.origin.reset();
  pictures.push_back(passivity_picture_of(far_apart));
  for (const PassivityPicture& picture : pictures) {
    for (const PictureFormat format : {PictureFormat::svg, PictureFormat::png, PictureFormat::pdf}) {
      EXPECT_EQ(draw(passivity_script(picture, format), format).messages, "");
    }
  }
  const Drawing drawing = draw(passivity_script(pictures[0], PictureFormat::svg), PictureFormat::svg);
  for (const char* text : {">a title<", ">a verdict<", ">largest singular value<", ">frequency / Hz<"}) {
    EXPECT_EQ(count_of(drawing.picture, text), 1U) << text;
  }
}

TEST_F(Gnuplot, names_are_shown_as_they_stand_and_run_nothing) {
  FitPicture picture = example_picture(evil_names.size());
  for (std::size_t r = 0; r < evil_names.size(); ++r) {
    picture.panels[r].name = evil_names[r];
  }
  picture.title = "`touch owned` '; system('touch owned')\n!ls";
  EXPECT_EQ(draw_to("fit.svg", fit_script(picture, PictureFormat::svg), PictureFormat::svg), "");
  const PolePicture poles = pole_picture(example_model(1), picture.title);
  EXPECT_EQ(draw_to("poles.svg", pole_script(poles, PictureFormat::svg), PictureFormat::svg), "");
  FitPicture one = example_picture(1);
  one.panels[0].name = "S_21^{x}\\a@&%d<b>'\"''`\\U+221E$x#";
  EXPECT_EQ(draw_to("one.svg", fit_script(one, PictureFormat::svg), PictureFormat::svg), "");

  EXPECT_EQ(files(), (Files{"fit.svg", "one.svg", "poles.svg"}));
  EXPECT_EQ(count_of(content_of("one.svg"), ">S_21^{x}\\a@&amp;%d&lt;b>'\"''`\\U+221E$x#<"), 1U);
  const std::string title = ">`touch owned` '; system('touch owned') !ls<";
  EXPECT_EQ(count_of(content_of("fit.svg"), title), 1U);
  EXPECT_EQ(count_of(content_of("poles.svg"), title), 1U);
}

TEST_F(Gnuplot, settings_of_the_user_do_not_count) {
  write(".gnuplot", "set terminal dumb\nexit status 3\n");
  const Variable home("HOME", std::filesystem::current_path().string());
  EXPECT_EQ(draw(fit_script(example_picture(1), PictureFormat::svg), PictureFormat::svg).messages, "");
}

TEST_F(Gnuplot, it_draws_without_complaint_whatever_the_locale) {
  const std::string script = fit_script(example_picture(1), PictureFormat::svg);
  const std::string expected = draw(script, PictureFormat::svg).picture;
  for (const Names& variables :
       {Names{}, Names{"LC_ALL=C"}, Names{"LC_ALL=xx_XX.UTF-8"}, Names{"LC_ALL=", "LC_CTYPE=C", "LANG=C"}}) {
    SCOPED_TRACE(variables.empty() ? "" : variables.front());
    const Surroundings surroundings(variables);
    const Drawing drawing = draw(script, PictureFormat::svg);
    EXPECT_EQ(drawing.messages, "");
    EXPECT_EQ(drawing.picture, expected);
  }
}

TEST_F(Gnuplot, its_variables_are_those_of_the_caller_but_the_locale) {
  const std::string folder = fake("/usr/bin/env >variables; echo '<?xml></svg>'");
  const Variable path("PATH", folder);
  const Surroundings surroundings({"LC_ALL_OF_US=1", "LC_ALL=C", "LANG=xx_XX", "WITH=blanks and = signs"});
  draw("", PictureFormat::svg);
  const std::vector<std::string> lines = lines_of(content_of("variables"));
  const std::multiset<std::string> given(lines.begin(), lines.end());
  for (const std::string& variable :
       {"PATH=" + folder, std::string("LC_ALL_OF_US=1"), std::string("LANG=xx_XX"),
        std::string("WITH=blanks and = signs"), std::string("LC_ALL=C.UTF-8")}) {
    EXPECT_EQ(given.count(variable), 1U) << variable;
  }
  EXPECT_EQ(given.count("LC_ALL=C"), 0U);
}

TEST_F(Gnuplot, without_gnuplot_the_old_picture_stays) {
  write("fit.svg", "old");
  std::filesystem::create_directory("bin");
  const Variable path("PATH", std::filesystem::absolute("bin").string());
  const text::IoErrorDetails error = io_error_of([] { draw_to("fit.svg", "", PictureFormat::svg); });
  EXPECT_EQ(error.file, "gnuplot");
  EXPECT_EQ(error.found, "no program of that name in PATH");
  EXPECT_EQ(content_of("fit.svg"), "old");
  EXPECT_EQ(files(), Files{"fit.svg"});
}

TEST_F(Gnuplot, when_gnuplot_fails_the_old_picture_stays) {
  write("fit.svg", "old");
  const std::map<std::string, std::string> failures = {
      {"exit 1", "exit status 1"},
      {"echo '<?xml></svg>'; echo 'line 3:\n   no' >&2; exit 2",
       "exit status 2 and the message \"line 3: no\""},
      {"kill -9 $$", "an end by signal 9"},
      {"exit 0", "no output"},
      {"echo 'warning' >&2", "no output and the message \"warning\""},
      {"echo '<?xml><svg>'", "output that is not a whole picture"},
      {"echo '</svg>'", "output that is not a whole picture"},
  };
  for (const auto& [commands, found] : failures) {
    const Variable path("PATH", fake(commands));
    const text::IoErrorDetails error = io_error_of([] { draw_to("fit.svg", "", PictureFormat::svg); });
    EXPECT_EQ(error.file, "gnuplot");
    EXPECT_EQ(error.found, found) << commands;
    EXPECT_EQ(error.expected, "a picture");
    EXPECT_EQ(content_of("fit.svg"), "old");
    EXPECT_EQ(files(), Files{"fit.svg"});
  }
}

TEST_F(Gnuplot, a_drawing_without_an_end_is_ended) {
  const Variable path("PATH", fake("echo $$ >process; exec /bin/sleep 1000"));
  const text::IoErrorDetails error =
      io_error_of([] { draw("", PictureFormat::svg, std::chrono::seconds(1)); });
  EXPECT_EQ(error.file, "gnuplot");
  EXPECT_EQ(error.found, "no end after 1 seconds");
  EXPECT_EQ(kill(std::stoi(content_of("process")), 0), -1) << "it goes on";
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(Gnuplot, a_mistake_in_a_script_is_told_in_its_words) {
  const text::IoErrorDetails error = io_error_of([] { draw("plot nonsense(x)\n", PictureFormat::svg); });
  EXPECT_TRUE(error.found.starts_with("exit status 1 and the message")) << error.found;
  EXPECT_EQ(count_of(error.found, "undefined function: nonsense"), 1U);
}

TEST_F(Gnuplot, it_gets_the_script_and_no_other_arguments) {
  const Variable path("PATH",
                      fake("echo \"$@\" >arguments; while read -r line; do echo \"$line\" >>script; done\n"
                           "echo '<?xml></svg>'; echo a remark >&2"));
  std::string script;
  for (int i = 0; i < 100000; ++i) {
    script += "line\n";  // more than a pipe holds
  }
  const Drawing drawing = draw(script, PictureFormat::svg);
  EXPECT_EQ(drawing.picture, "<?xml></svg>\n");
  EXPECT_EQ(drawing.messages, "a remark");
  EXPECT_EQ(content_of("arguments"), "-d -\n");
  EXPECT_EQ(content_of("script"), script);
}

TEST_F(Gnuplot, a_program_that_reads_nothing_and_writes_much_is_no_trouble) {
  const Variable path("PATH",
                      fake("i=0; echo '<?xml>'; while [ $i -lt 20000 ]; do i=$((i+1)); echo 12345678; "
                           "echo 12345678 >&2; done; echo '</svg>'"));
  const Drawing drawing = draw(std::string(1U << 20U, '#'), PictureFormat::svg);
  EXPECT_GT(drawing.picture.size(), 180000U);
  EXPECT_LT(drawing.messages.size(), 400U);
}

/// Another file as standard output, as long as this lives.
class StandardOutput {
 public:
  explicit StandardOutput(int descriptor) : before_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    dup2(descriptor, STDOUT_FILENO);
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  ~StandardOutput() {
    dup2(before_, STDOUT_FILENO);
    close(before_);
  }

 private:
  int before_;
};

TEST_F(Gnuplot, a_dash_is_the_standard_output) {
  const int file = open("out", O_WRONLY | O_CREAT, 0600);
  {
    const StandardOutput redirected(file);
    draw_to("-", fit_script(example_picture(1), PictureFormat::svg), PictureFormat::svg);
  }
  close(file);
  EXPECT_EQ(count_of(content_of("out"), "</svg>"), 1U);
  EXPECT_EQ(files(), Files{"out"});
}

}  // namespace
