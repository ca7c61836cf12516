#include "polefit_io/network/touchstone/option_line.hpp"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "polefit_io/touchstone_support.hpp"

namespace {

using namespace polefit_io;
using polefit::ComplexFormat;
using polefit::FrequencyUnit;
using testing_support::line;
using testing_support::refusal_of;
using References = std::vector<double>;

OptionLine options_of(std::string_view text) { return read_option_line(text, line(3)); }

TEST(TouchstoneOptionLine, an_empty_one_means_gigahertz_s_magnitude_and_50_ohms) {
  const OptionLine options = options_of(" \t");
  EXPECT_EQ(options.unit, FrequencyUnit::ghz);
  EXPECT_EQ(options.parameter, 'S');
  EXPECT_EQ(options.format, ComplexFormat::ma);
  EXPECT_EQ(options.references, References{50.0});
}

TEST(TouchstoneOptionLine, each_word_sets_its_option_in_any_case) {
  EXPECT_EQ(options_of("hZ").unit, FrequencyUnit::hz);
  EXPECT_EQ(options_of("KHz").unit, FrequencyUnit::khz);
  EXPECT_EQ(options_of("mhz").unit, FrequencyUnit::mhz);
  EXPECT_EQ(options_of("GHZ").unit, FrequencyUnit::ghz);
  EXPECT_EQ(options_of("s").parameter, 'S');
  EXPECT_EQ(options_of("y").parameter, 'Y');
  EXPECT_EQ(options_of("Z").parameter, 'Z');
  EXPECT_EQ(options_of("g").parameter, 'G');
  EXPECT_EQ(options_of("H").parameter, 'H');
  EXPECT_EQ(options_of("ri").format, ComplexFormat::ri);
  EXPECT_EQ(options_of("Ma").format, ComplexFormat::ma);
  EXPECT_EQ(options_of("dB").format, ComplexFormat::db);
}

TEST(TouchstoneOptionLine, the_resistances_behind_r_end_with_a_word_of_letters) {
  const OptionLine options = options_of("R 50 7.5e1 .5 kHz Z");
  EXPECT_EQ(options.references, (References{50.0, 75.0, 0.5}));
  EXPECT_EQ(options.unit, FrequencyUnit::khz);
  EXPECT_EQ(options.parameter, 'Z');
}

TEST(TouchstoneOptionLine, options_of_one_kind_exclude_each_other) {
  for (const char* const text : {"Hz kHz", "S S", "RI DB", "R 50 S R 50"}) {
    EXPECT_NE(refusal_of([&] { options_of(text); }).find("another option of its kind"), std::string::npos)
        << text;
  }
}

TEST(TouchstoneOptionLine, a_word_that_is_no_option_is_refused_with_its_line) {
  EXPECT_EQ(refusal_of([] { options_of("Hz S THz"); }),
            "3: \"THz\" | Hz, kHz, MHz or GHz, S, Y, Z, G or H, MA, DB or RI, or R and a resistance");
}

TEST(TouchstoneOptionLine, a_reference_is_a_finite_number_above_zero) {
  EXPECT_EQ(reference_resistance("1d2", line(1)), 100.0);
  for (const char* const word : {"0", "-50", "inf", "nan", "1e999", "50j", ""}) {
    EXPECT_EQ(refusal_of([&] { reference_resistance(word, line(1)); }),
              "1: \"" + std::string(word) +
                  "\" | a reference resistance in ohms, above 0 (complex ones are not supported)");
  }
  EXPECT_EQ(refusal_of([] { options_of("R RI"); }),
            "3: R without a resistance | R and a reference resistance in ohms");
}

}  // namespace
