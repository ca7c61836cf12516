#include "s_solver/output/write_data_to_plot.hpp"
#include "numerics/angular_frequency.hpp"

#include <complex>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/edit_format.hpp"

namespace s_solver {
namespace {

using testing_support::content_of;
using testing_support::io_error_of;
using testing_support::lines_of;
using testing_support::words_of;
using Complex = std::complex<double>;
using Words = std::vector<std::string>;

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Sample {
  double frequency;
  Complex f;
  Complex f_fit;
};

class WriteDataToPlotTest : public testing_support::InOwnDirectory {
 protected:
  std::string content_for(const std::vector<Sample>& samples) const {
    std::vector<Complex> f;
    std::vector<Complex> f_fit;
    std::vector<Complex> s;
    for (const Sample& sample : samples) {
      f.push_back(sample.f);
      f_fit.push_back(sample.f_fit);
      s.emplace_back(0.0, sample.frequency * numerics::two_pi);
    }
    write_data_to_plot(static_cast<int>(samples.size()), f.data(), f_fit.data(), s.data());
    return content_of(data("f_data.out"));
  }

  /// The records behind the two headers.
  Words rows_for(const std::vector<Sample>& samples) const {
    const Words records = lines_of(content_for(samples));
    EXPECT_EQ(records.size(), samples.size() + 2);
    return {records.begin() + 2, records.end()};
  }
};

std::string blanks(std::size_t count) { return std::string(count, ' '); }

TEST_F(WriteDataToPlotTest, without_samples_the_two_headers_are_the_file) {
  const std::string columns = "out data f[Hz]" + blanks(5) + "re" + blanks(13) + "im" + blanks(15) +
                              "sqr(re+im)" + blanks(6) + "re" + blanks(13) + "im" + blanks(15) +
                              "sqr(re+im)" + blanks(5);
  ASSERT_EQ(columns.size(), 114U);
  EXPECT_EQ(content_for({}), " frequency data after fit with KOR3\n " + columns + "\n");
}

TEST_F(WriteDataToPlotTest, a_row_holds_frequency_data_and_model_each_with_its_modulus) {
  EXPECT_EQ(rows_for({{50.0, {3.0, -4.0}, {-8.0, 15.0}}}).at(0),
            "    5.000000E+01    3.000000E+00   -4.000000E+00    5.000000E+00"
            "   -8.000000E+00    1.500000E+01    1.700000E+01");
}

TEST_F(WriteDataToPlotTest, a_sample_of_zero_is_zero_in_its_three_columns) {
  const Words words = words_of(rows_for({{1.0, 0.0, {-0.0, 0.0}}}).at(0));
  EXPECT_EQ(words, (Words{"1.000000E+00", "0.000000E+00", "0.000000E+00", "0.000000E+00", "0.000000E+00",
                          "0.000000E+00", "0.000000E+00"}));
}

TEST_F(WriteDataToPlotTest, the_frequency_column_reproduces_the_frequencies) {
  std::vector<Sample> samples;
  for (const double frequency : {0.0, 1.0, -2.5, 50.0, 1234.567, 9.999999e9, 1e-30, 3e150}) {
    samples.push_back({frequency, 1.0, 1.0});
  }
  const Words rows = rows_for(samples);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    std::string expected;
    text::append_scientific_field(expected, samples[i].frequency, 16, 6);
    EXPECT_EQ(rows.at(i).substr(0, 16), expected);
  }
}

TEST_F(WriteDataToPlotTest, the_modulus_neither_overflows_nor_underflows) {
  const Words words = words_of(rows_for({{1.0, {3e200, 4e200}, {-3e-200, 4e-200}}}).at(0));
  ASSERT_EQ(words.size(), 7U);
  EXPECT_EQ(words[3], "5.000000+200");
  EXPECT_EQ(words[6], "5.000000-200");
}

TEST_F(WriteDataToPlotTest, every_row_is_112_characters) {
  const double largest = std::numeric_limits<double>::max();
  const double smallest = std::numeric_limits<double>::denorm_min();
  for (const std::string& row : rows_for(
           {{1.0, {1.0, -1.0}, {1e99, -1e100}},
            {-1.0, {-largest, smallest}, {-smallest, 1e-99}},
            {0.0, {-infinity, std::numeric_limits<double>::quiet_NaN()}, {9.9999999e9, 9.9999999e-100}}})) {
    EXPECT_EQ(row.size(), 112U) << row;
  }
}

TEST_F(WriteDataToPlotTest, nonfinite_values_are_words) {
  const Words words =
      words_of(rows_for({{1.0, {-infinity, 2.0}, {std::numeric_limits<double>::quiet_NaN(), 1.0}}}).at(0));
  EXPECT_EQ(words,
            (Words{"1.000000E+00", "-Infinity", "2.000000E+00", "Infinity", "NaN", "1.000000E+00", "NaN"}));
}

TEST_F(WriteDataToPlotTest, rows_stand_in_the_order_of_the_samples) {
  const Words rows = rows_for({{3.0, 1.0, 1.0}, {1.0, 1.0, 1.0}, {2.0, 1.0, 1.0}});
  EXPECT_EQ(words_of(rows.at(0)).at(0), "3.000000E+00");
  EXPECT_EQ(words_of(rows.at(1)).at(0), "1.000000E+00");
  EXPECT_EQ(words_of(rows.at(2)).at(0), "2.000000E+00");
}

TEST_F(WriteDataToPlotTest, an_existing_file_is_replaced_wholly) {
  const std::string alone = content_for({});
  write_data("f_data.out", std::string(100000, 'x'));
  EXPECT_EQ(content_for({}), alone);
}

TEST_F(WriteDataToPlotTest, a_file_that_cannot_be_opened_or_written_is_an_error) {
  const auto write = [] { write_data_to_plot(0, nullptr, nullptr, nullptr); };
  std::filesystem::create_symlink("/dev/full", data("f_data.out"));
  EXPECT_EQ(io_error_of(write).file, "..\\tmp_S_Par\\f_data.out");
  std::filesystem::remove_all(data(""));
  EXPECT_EQ(io_error_of(write).file, "..\\tmp_S_Par\\f_data.out");
}

}  // namespace
}  // namespace s_solver
