#include "polefit_cli/commands/eye_text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace polefit_cli;

Eye open_eye() {
  Eye eye;
  eye.delay = 6.5;
  eye.skipped = 10;
  eye.judged = 90;
  eye.lowest_one = 0.4;
  eye.highest_zero = 0.1;
  eye.height = 0.3;
  eye.threshold = 0.25;
  eye.left = -0.4;
  eye.right = 0.45;
  return eye;
}

TEST(EyeText, times_have_the_prefix_that_makes_them_short) {
  EXPECT_EQ(time_text(35e-12), "35 ps");
  EXPECT_EQ(time_text(1.25e-9), "1.25 ns");
  EXPECT_EQ(time_text(2e-6), "2 us");
  EXPECT_EQ(time_text(-3e-3), "-3 ms");
  EXPECT_EQ(time_text(4.0), "4 s");
  EXPECT_EQ(time_text(0.0), "0 s");
}

TEST(EyeText, an_open_eye_is_told_with_height_width_and_sampling_moment) {
  EXPECT_EQ(eye_report(open_eye(), {"m.json", 1, 3, 7, 10e9, 20e-12}),
            "m.json\n"
            "  channel     port 1 to port 3\n"
            "  bits        10 Gbit/s, PRBS7, 0 and 1 V, rise 20 ps\n"
            "  judged      90 bits, without the first 10\n"
            "  sampled     650 ps (6.5 unit intervals) behind the begin of each bit\n"
            "  eye         open\n"
            "  height      0.3 V (from 0.1 V to 0.4 V)\n"
            "  width       85 ps (0.85 unit intervals) at 0.25 V\n");
  EXPECT_EQ(eye_verdict(open_eye(), 100e-12), "open by 0.3 V and 85 ps");
}

TEST(EyeText, a_closed_one_and_a_turned_sign_are_told) {
  Eye eye = open_eye();
  eye.height = -0.1;
  eye.inverted = true;
  EXPECT_EQ(eye_verdict(eye, 1e-10), "closed by 0.1 V");
  EXPECT_NE(eye_report(eye, {"m", 1, 2, 9, 1e3, 0.0}).find("closed, a 1 is the lower level"),
            std::string::npos);
  EXPECT_EQ(eye_verdict(Eye{}, 1e-10), "not judged: too few bits");
}

TEST(EyeText, the_table_has_the_opening_over_two_unit_intervals) {
  Eye eye = open_eye();
  eye.lowest_ones.assign(2 * eye_samples + 1, 0.5);
  eye.highest_zeros.assign(2 * eye_samples + 1, 0.25);
  const std::string table = eye_table(eye);
  EXPECT_TRUE(table.starts_with("time [UI],lowest 1 [V],highest 0 [V]\n-1,0.5,0.25\n-0.984375,0.5,0.25\n"));
  EXPECT_TRUE(table.ends_with("\n1,0.5,0.25\n"));
}

}  // namespace
