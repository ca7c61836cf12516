#include "s_solver/driver/sample_file.hpp"
#include "numerics/angular_frequency.hpp"

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/io_error.hpp"

namespace s_solver {
namespace {

using testing_support::io_error_of;
using testing_support::records_before_plain_stop;
using testing_support::records_of;
using Complex = std::complex<double>;

constexpr std::string_view file_name = "..\\tmp_S_Par\\f_data.in";

struct Samples {
  int nf = 0;
  double fmin = -1.0;
  double fmax = -1.0;
  std::vector<Complex> s;
  std::vector<Complex> f;
};

class SampleFileTest : public testing_support::InOwnDirectory {
 protected:
  Samples counted(std::string_view content) const {
    write_data("f_data.in", content);
    Samples samples;
    samples.nf = 99;
    read_data_from_file(file_name, count_only, samples.nf, samples.fmin, samples.fmax, nullptr, nullptr);
    return samples;
  }

  /// Counts and stores, as a run does.
  Samples stored(std::string_view content) const {
    Samples samples = counted(content);
    samples.s.resize(static_cast<std::size_t>(samples.nf));
    samples.f.resize(static_cast<std::size_t>(samples.nf));
    read_data_from_file(file_name, count_and_store, samples.nf, samples.fmin, samples.fmax, samples.s.data(),
                        samples.f.data());
    EXPECT_EQ(static_cast<std::size_t>(samples.nf), samples.s.size()) << "the two readings differ";
    return samples;
  }
};

TEST_F(SampleFileTest, an_empty_file_has_no_samples_and_leaves_the_starting_values_of_the_range) {
  for (const char* content : {"", "\n\n", " \r\n"}) {
    SCOPED_TRACE(content);
    const Samples samples = stored(content);
    EXPECT_EQ(samples.nf, 0);
    EXPECT_EQ(samples.fmin, 1.0e30);
    EXPECT_EQ(samples.fmax, 0.0);
  }
}

TEST_F(SampleFileTest, each_sample_becomes_a_point_on_the_imaginary_axis_and_a_value_in_file_order) {
  const Samples samples = stored("1 2 3\n10 0 -1\n5 1 1\n");
  EXPECT_EQ(samples.nf, 3);
  EXPECT_EQ(samples.fmin, 1.0);
  EXPECT_EQ(samples.fmax, 10.0);
  EXPECT_EQ(samples.s, (std::vector<Complex>{
                           {0, numerics::two_pi}, {0, 10 * numerics::two_pi}, {0, 5 * numerics::two_pi}}));
  EXPECT_EQ(samples.f, (std::vector<Complex>{{2, 3}, {0, -1}, {1, 1}}));
}

TEST_F(SampleFileTest, counting_touches_no_array_and_finds_no_range) {
  const Samples samples = counted("1 2 3\n10 0 -1\n");
  EXPECT_EQ(samples.nf, 2);
  EXPECT_EQ(samples.fmin, 1.0e30);
  EXPECT_EQ(samples.fmax, 0.0);
}

TEST_F(SampleFileTest, negative_frequencies_alone_leave_fmax_at_zero) {
  const Samples samples = stored("-5 1 1\n-7 1 1\n");
  EXPECT_EQ(samples.fmin, -7.0);
  EXPECT_EQ(samples.fmax, 0.0);
}

TEST_F(SampleFileTest, a_frequency_above_the_start_of_fmin_is_not_recorded_there) {
  const Samples samples = stored("1e31 1 1\n");
  EXPECT_EQ(samples.fmin, 1.0e30);
  EXPECT_EQ(samples.fmax, 1e31);
}

TEST_F(SampleFileTest, a_nan_frequency_is_stored_but_takes_no_part_in_the_range) {
  for (const char* content :
       {"nan 1 2\n3 4 5\n7 8 9\n", "3 4 5\nnan 1 2\n7 8 9\n", "7 8 9\n3 4 5\nNaN 1 2\n"}) {
    SCOPED_TRACE(content);
    const Samples samples = stored(content);
    EXPECT_EQ(samples.nf, 3);
    EXPECT_EQ(samples.fmin, 3.0);
    EXPECT_EQ(samples.fmax, 7.0);
    int nans = 0;
    for (const Complex point : samples.s) {
      nans += std::isnan(point.imag()) ? 1 : 0;
    }
    EXPECT_EQ(nans, 1);
  }
}

TEST_F(SampleFileTest, infinite_values_are_taken_as_they_stand) {
  const Samples samples = stored("inf 1e999 -Infinity\n");
  EXPECT_EQ(samples.fmax, std::numeric_limits<double>::infinity());
  EXPECT_EQ(samples.s[0], Complex(0.0, std::numeric_limits<double>::infinity()));
  EXPECT_EQ(samples.f[0],
            Complex(std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()));
}

TEST_F(SampleFileTest, an_end_of_file_inside_a_sample_drops_that_sample) {
  for (const char* content : {"1 2 3\n9", "1 2 3\n9 8\n", "1 2 3\n9,8,\n"}) {
    SCOPED_TRACE(content);
    const Samples samples = stored(content);
    EXPECT_EQ(samples.nf, 1);
    EXPECT_EQ(samples.fmax, 1.0);
  }
}

TEST_F(SampleFileTest, a_bad_value_in_an_incomplete_sample_is_still_an_error) {
  const text::IoErrorDetails details = io_error_of([this] { counted("1 2 3\n9 8x"); });
  EXPECT_EQ(details.record, 2);
  EXPECT_EQ(details.item, 2);
}

TEST_F(SampleFileTest, a_header_line_is_an_error) {
  const text::IoErrorDetails details = io_error_of([this] { counted("freq re im\n1 2 3\n"); });
  EXPECT_EQ(details.file, "..\\tmp_S_Par\\f_data.in");
  EXPECT_EQ(details.record, 1);
  EXPECT_EQ(details.item, 1);
  EXPECT_NE(details.found.find("freq"), std::string::npos) << details.found;
  EXPECT_NE(details.expected.find("real number"), std::string::npos) << details.expected;
}

TEST_F(SampleFileTest, a_null_value_stands_for_the_one_of_the_sample_before) {
  const Samples samples = stored("1 2 3\n4,,5\n,7,/\n");
  EXPECT_EQ(samples.s, (std::vector<Complex>{
                           {0, numerics::two_pi}, {0, 4 * numerics::two_pi}, {0, 4 * numerics::two_pi}}));
  EXPECT_EQ(samples.f, (std::vector<Complex>{{2, 3}, {2, 5}, {7, 5}}));
}

TEST_F(SampleFileTest, a_sample_that_a_slash_ends_counts) {
  const Samples samples = stored("1 2 3\n4 /\n/\n4 5 6/\n7 8/");
  EXPECT_EQ(samples.nf, 5);
  EXPECT_EQ(samples.f, (std::vector<Complex>{{2, 3}, {2, 3}, {2, 3}, {5, 6}, {8, 6}}));
}

TEST_F(SampleFileTest, more_samples_than_room_are_an_error_and_nothing_is_written_past_the_room) {
  write_data("f_data.in", "1 2 3\n4 5 6\n7 8 9\n10 11 12\n");
  const Complex guard(-1, -1);
  for (const int room : {0, 2}) {
    SCOPED_TRACE(room);
    std::vector<Complex> s(4, guard);
    std::vector<Complex> f(4, guard);
    double fmin = 0.0;
    double fmax = 0.0;
    const text::IoErrorDetails details = io_error_of([&] {
      int nf = room;
      read_data_from_file(file_name, count_and_store, nf, fmin, fmax, s.data(), f.data());
    });
    EXPECT_NE(details.found.find("changed while it was being read"), std::string::npos) << details.found;
    for (auto i = static_cast<std::size_t>(room); i < s.size(); ++i) {
      EXPECT_EQ(s[i], guard);
      EXPECT_EQ(f[i], guard);
    }
  }
}

TEST_F(SampleFileTest, the_error_of_a_grown_file_names_the_record_of_the_first_sample_without_room) {
  for (const char* content :
       {"1 2 3\n4 5 6\n7 8 9", "1 2 3\n4 5 6\n7 8 9\n", "1 2 3\n4 5 6\n7 8 9\n10 11 12\n"}) {
    SCOPED_TRACE(content);
    write_data("f_data.in", content);
    std::vector<Complex> s(2);
    std::vector<Complex> f(2);
    double fmin = 0.0;
    double fmax = 0.0;
    const text::IoErrorDetails details = io_error_of([&] {
      int nf = 2;
      read_data_from_file(file_name, count_and_store, nf, fmin, fmax, s.data(), f.data());
    });
    EXPECT_EQ(details.record, 3);
  }
}

TEST_F(SampleFileTest, when_fewer_samples_are_left_the_second_count_holds) {
  write_data("f_data.in", "1 2 3\n4 5 6\n");
  const Complex guard(-1, -1);
  std::vector<Complex> s(3, guard);
  std::vector<Complex> f(3, guard);
  int nf = 3;
  double fmin = 0.0;
  double fmax = 0.0;
  read_data_from_file(file_name, count_and_store, nf, fmin, fmax, s.data(), f.data());
  EXPECT_EQ(nf, 2);
  EXPECT_EQ(fmin, 1.0);
  EXPECT_EQ(fmax, 4.0);
  EXPECT_EQ(f, (std::vector<Complex>{{2, 3}, {5, 6}, guard}));
}

TEST_F(SampleFileTest, a_file_that_cannot_be_opened_is_reported_by_its_name_and_a_plain_stop) {
  std::string padded(file_name);
  padded.resize(256, ' ');
  for (const int mode : {count_only, count_and_store}) {
    const auto records = records_before_plain_stop([&] {
      int nf = 0;
      double fmin = 0.0;
      double fmax = 0.0;
      read_data_from_file(padded, mode, nf, fmin, fmax, nullptr, nullptr);
    });
    EXPECT_EQ(records, (std::vector<std::string>{" Error opening file: ..\\tmp_S_Par\\f_data.in"}));
  }
}

TEST_F(SampleFileTest, reading_prints_nothing) {
  EXPECT_EQ(records_of([this] { stored("1 2 3\n4 5\n"); }), std::vector<std::string>{});
}

}  // namespace
}  // namespace s_solver
