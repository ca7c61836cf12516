#include "text/coefficient_records.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "text/free_format_writer.hpp"

namespace {

using text::free_format_record;
using Complex = std::complex<double>;
using Records = std::vector<std::string>;

Records records_of(int order, double wnorm, const text::SampledBand& band) {
  const std::vector<Complex> a{{-4, 8}, {-4, -8}};
  const std::vector<Complex> c{{2, -6}, {2, 6}};
  Records records;
  text::coefficient_records(order, a.data(), c.data(), 3.0, 0.5, wnorm, band,
                            [&](std::string_view record) { records.emplace_back(record); });
  return records;
}

TEST(CoefficientRecords, the_model_is_told_on_the_normalised_axis) {
  const Records records = records_of(2, 2.0, {.fmin = 1.0, .fmax = 4.0, .nf = 7});
  ASSERT_EQ(records.size(), 10U);
  EXPECT_EQ(records[0], "Korfit output warning w=omega");
  EXPECT_EQ(records[1], free_format_record(2, " # order"));
  EXPECT_EQ(records[2], free_format_record(2.0, " # wnorm"));
  EXPECT_EQ(records[3], free_format_record(3.0, " # d"));
  EXPECT_EQ(records[4], free_format_record(1.0, " # h"));
  EXPECT_EQ(records[6], free_format_record(-2.0, 4.0, 1.0, -3.0));
  EXPECT_EQ(records[7], free_format_record(-2.0, -4.0, 1.0, 3.0));
  EXPECT_EQ(records[9], free_format_record(0.25, 1.0, 7));
}

TEST(CoefficientRecords, an_order_below_zero_is_written_and_has_no_poles) {
  const Records records = records_of(-3, 2.0, {});
  ASSERT_EQ(records.size(), 8U);
  EXPECT_EQ(records[1], free_format_record(-3, " # order"));
}

TEST(CoefficientRecords, a_band_that_ends_at_zero_gives_what_is_no_number_and_no_error) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const Records records = records_of(1, 0.0, {});
  EXPECT_EQ(records[6], free_format_record(-infinity, infinity, infinity, -infinity));
  EXPECT_EQ(records.back(), free_format_record(nan, 1.0, 0));
}

}  // namespace
