#include "polefit_cli/pictures/time_script.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit_cli/pictures/run_gnuplot.hpp"

namespace {

using namespace polefit_cli;
using testing_support::infinity;
using testing_support::quiet_nan;

TimePicture two_curves() {
  TimePicture picture;
  picture.title = "model";
  picture.quantity = "voltage / V";
  picture.times = {0.0, 1e-9, 2e-9, 3e-9};
  picture.curves = {{"port 1", {0.0, 0.5, 0.5, 0.25}}, {"port 2", {0.0, 0.0, 1.0, 2.0}}};
  return picture;
}

EyePicture open_eye() {
  EyePicture eye;
  eye.title = "model";
  eye.verdict = "open";
  eye.interval = 100e-12;
  eye.columns = 4;
  eye.rows = 2;
  eye.low = -0.5;
  eye.high = 0.5;
  eye.hits = {0.0, 1.0, 2.0, 3.0, 4.0, 0.0, 0.0, 1.0};
  eye.opening = EyePicture::Opening{-0.4, 0.25, 0.1, -0.2, 0.4};
  return eye;
}

bool holds(const std::string& script, const std::string& part) {
  return script.find(part) != std::string::npos;
}

TEST(TimeScript, curves_stand_in_the_unit_that_makes_times_short) {
  const std::string script = time_script(two_curves(), PictureFormat::svg);
  EXPECT_TRUE(holds(script, "$curve1 << END\n0 0\n1 0.5\n2 0.5\n3 0.25\nEND\n")) << script;
  EXPECT_TRUE(holds(script, "$curve2 << END\n0 0\n1 0\n2 1\n3 2\nEND\n")) << script;
  EXPECT_TRUE(holds(script, "\"time / ns\""));
  EXPECT_TRUE(holds(script, "\"port 1\""));
  EXPECT_TRUE(holds(script, "set xrange [0:3]"));
  TimePicture slow = two_curves();
  slow.times = {0.0, 1.0, 2.0, 3.0};
  EXPECT_TRUE(holds(time_script(slow, PictureFormat::svg), "\"time / s\""));
}

TEST(TimeScript, what_is_not_finite_is_a_gap) {
  TimePicture picture = two_curves();
  picture.curves = {{"impedance", {50.0, infinity, quiet_nan, 60.0}}};
  const std::string script = time_script(picture, PictureFormat::svg);
  EXPECT_TRUE(holds(script, "$curve1 << END\n0 50\n\n3 60\nEND\n")) << script;
  EXPECT_FALSE(holds(script, "\"impedance\""));  // a single curve needs no name
  picture.curves.front().values = {quiet_nan, quiet_nan, quiet_nan, quiet_nan};
  EXPECT_NO_THROW(draw(time_script(picture, PictureFormat::svg), PictureFormat::svg));
}

TEST(TimeScript, distances_stand_above_with_their_zero_where_they_begin) {
  TimePicture picture = two_curves();
  picture.distance = TimePicture::Distance{1e8, 1e-9};
  const std::string script = time_script(picture, PictureFormat::svg);
  EXPECT_TRUE(holds(script, "set x2range [-10:20")) << script;
  EXPECT_TRUE(holds(script, "\"distance / cm\""));
  EXPECT_TRUE(holds(script, "'0' 0"));
  EXPECT_FALSE(holds(time_script(two_curves(), PictureFormat::svg), "x2"));
}

TEST(TimeScript, a_line_across_widens_the_range) {
  TimePicture picture = two_curves();
  picture.level = 10.0;
  const std::string script = time_script(picture, PictureFormat::svg);
  EXPECT_TRUE(holds(script, "from graph 0, first 10 to graph 1, first 10"));
  EXPECT_TRUE(holds(script, "set yrange [-0.6:10.6]")) << script;
}

TEST(TimeScript, names_are_shown_and_run_nothing) {
  TimePicture picture = two_curves();
  picture.title = "\"; system 'x' #`y`";
  const std::string script = time_script(picture, PictureFormat::svg);
  EXPECT_FALSE(holds(script, "system 'x'"));
  EXPECT_FALSE(holds(script, "`"));
}

TEST(EyeScript, pixels_stand_in_the_middle_of_their_part_of_the_frame) {
  const std::string script = eye_script(open_eye(), PictureFormat::svg);
  EXPECT_TRUE(holds(script, "set xrange [-100:100]")) << script;
  EXPECT_TRUE(holds(script, "set yrange [-0.5:0.5]"));
  EXPECT_TRUE(holds(script, "matrix using (-75+$1*50):(-0.25+$2*0.5):3 with image")) << script;
  // By the logarithm of one more than the hits, to a thousandth.
  EXPECT_TRUE(holds(script, "$density << END\n0 0.693 1.099 1.386\n1.609 0 0 0.693\nEND\n")) << script;
  EXPECT_TRUE(holds(script, "set arrow from -40,0.1 to 25,0.1 heads"));
  EXPECT_TRUE(holds(script, "set arrow from 0,-0.2 to 0,0.4 heads"));
}

TEST(EyeScript, an_eye_that_is_closed_has_no_arrows_and_one_without_hits_no_image) {
  EyePicture eye = open_eye();
  eye.opening.reset();
  EXPECT_FALSE(holds(eye_script(eye, PictureFormat::svg), "heads"));
  eye.hits.assign(8, 0.0);
  const std::string script = eye_script(eye, PictureFormat::svg);
  EXPECT_FALSE(holds(script, "image"));
  EXPECT_NO_THROW(draw(script, PictureFormat::svg));
}

TEST(EyeScript, two_intervals_may_be_beyond_the_range_of_numbers) {
  EyePicture eye = open_eye();
  eye.interval = std::numeric_limits<double>::max();
  EXPECT_FALSE(holds(eye_script(eye, PictureFormat::svg), "inf"));
}

TEST(EyeScript, gnuplot_draws_it_in_every_format_without_a_complaint) {
  for (const PictureFormat format : {PictureFormat::svg, PictureFormat::png, PictureFormat::pdf}) {
    EXPECT_EQ(draw(eye_script(open_eye(), format), format).messages, "");
    EXPECT_EQ(draw(time_script(two_curves(), format), format).messages, "");
  }
}

}  // namespace
