#include "s_solver/output/write_coefficients.hpp"
#include "numerics/angular_frequency.hpp"

#include <cerrno>
#include <cmath>
#include <complex>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"

namespace s_solver {
namespace {

using testing_support::content_of;
using testing_support::io_error_of;
using testing_support::lines_of;
using testing_support::records_of;
using testing_support::words_of;
using Complex = std::complex<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

double number(const std::string& word) {
  double value = 0.0;
  EXPECT_TRUE(text::parse_real(word, value)) << word;
  return value;
}

/// The numbers of a record, up to its comment.
std::vector<double> numbers_of(const std::string& record) {
  std::vector<double> numbers;
  for (const std::string& word : words_of(record.substr(0, record.find('#')))) {
    numbers.push_back(number(word));
  }
  return numbers;
}

const std::string pole_header = std::string(23, ' ') + "pole (a)" + std::string(41, ' ') + "residue (c)";
const std::string band_header = "            wnorm_min             wnorm_max                  nw";

class WriteCoefficientsTest : public testing_support::InOwnDirectory {
 protected:
  /// Writes the model and keeps what comes of it.
  void write(int order) {
    console_ = records_of(
        [&] { write_coefficients(order, a_.data(), c_.data(), nullptr, d_, h_, fmin_, fmax_, 101); });
    content_ = content_of(data("Tarn.coe"));
    records_ = lines_of(content_);
  }

  // Numbers without a short decimal form, so that every digit counts.
  std::vector<Complex> a_{{-1.0 / 3.0, 1e5 / 7.0}, {-1.0 / 3.0, -1e5 / 7.0}, {-1e9 / 11.0, 0.0}};
  std::vector<Complex> c_{{2.0 / 3.0, -1e-7 / 3.0}, {2.0 / 3.0, 1e-7 / 3.0}, {1e7 / 3.0, 0.0}};
  double d_ = -1.0 / 7.0;
  double h_ = 1e-9 / 3.0;
  double fmin_ = 0.1;
  double fmax_ = 12345.6;
  std::vector<std::string> console_;
  std::string content_;
  std::vector<std::string> records_;
};

TEST_F(WriteCoefficientsTest, the_first_record_is_the_title_without_a_leading_blank) {
  write(3);
  const std::string title = "Korfit output warning w=omega";
  ASSERT_EQ(title.size(), 29U);
  EXPECT_EQ(records_.at(0), title);
}

TEST_F(WriteCoefficientsTest, order_norm_and_polynomial_carry_their_comments) {
  write(3);
  const double wnorm = fmax_ * numerics::two_pi;
  ASSERT_GE(records_.size(), 5U);
  EXPECT_EQ(records_[1], text::free_format_record(3, " # order"));
  EXPECT_EQ(records_[2], text::free_format_record(wnorm, " # wnorm"));
  EXPECT_EQ(records_[3], text::free_format_record(d_, " # d"));
  EXPECT_EQ(records_[4], text::free_format_record(wnorm * h_, " # h"));
  EXPECT_TRUE(records_[1].ends_with("3  # order"));
}

TEST_F(WriteCoefficientsTest, the_headers_stand_as_they_are) {
  write(3);
  ASSERT_EQ(pole_header.size(), 83U);
  ASSERT_EQ(band_header.size(), 63U);
  EXPECT_EQ(records_.at(5), " " + pole_header);
  EXPECT_EQ(records_.at(9), " " + band_header);
}

TEST_F(WriteCoefficientsTest, poles_and_residues_are_divided_by_the_norm_to_the_last_bit) {
  // So many that a product with 1 / wnorm would show in some last bit.
  a_.resize(100);
  c_.resize(100);
  for (std::size_t i = 0; i < a_.size(); ++i) {
    const auto k = static_cast<double>(i);
    a_[i] = {-1.0 / (k + 3.0), 1e5 / (k + 7.0)};
    c_[i] = {1e7 / (k + 3.0), -1e-7 / (k + 7.0)};
  }
  write(100);
  const double wnorm = fmax_ * numerics::two_pi;
  ASSERT_EQ(records_.size(), 108U);
  for (std::size_t i = 0; i < a_.size(); ++i) {
    EXPECT_EQ(numbers_of(records_[6 + i]), (std::vector<double>{a_[i].real() / wnorm, a_[i].imag() / wnorm,
                                                                c_[i].real() / wnorm, c_[i].imag() / wnorm}));
  }
}

TEST_F(WriteCoefficientsTest, the_last_record_holds_the_normalised_band_and_the_number_of_samples) {
  write(3);
  EXPECT_EQ(numbers_of(records_.back()), (std::vector<double>{fmin_ / fmax_, 1.0, 101.0}));
  EXPECT_EQ(words_of(records_.back()).at(2), "101");
  EXPECT_TRUE(content_.ends_with("\n"));
}

TEST_F(WriteCoefficientsTest, the_written_model_is_the_fitted_one_on_the_normalised_axis) {
  write(3);
  const double wnorm = numbers_of(records_.at(2)).at(0);
  const Complex s(0.0, 1e5);
  const Complex normalised = s / wnorm;
  Complex fitted = d_ + s * h_;
  Complex written = numbers_of(records_.at(3)).at(0) + normalised * numbers_of(records_.at(4)).at(0);
  double size = std::abs(fitted);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto row = numbers_of(records_.at(6 + i));
    fitted += c_[i] / (s - a_[i]);
    written += Complex(row[2], row[3]) / (normalised - Complex(row[0], row[1]));
    size += std::abs(c_[i] / (s - a_[i]));
  }
  // Either model: some ten roundings per term and sum; s keeps 1e5 / 1.4e4 away from cancelling a pole.
  EXPECT_LE(std::abs(fitted - written), 20.0 * std::numeric_limits<double>::epsilon() * size);
}

TEST_F(WriteCoefficientsTest, without_poles_only_the_pole_records_are_missing) {
  for (const int order : {0, -2}) {
    SCOPED_TRACE(order);
    write(order);
    ASSERT_EQ(records_.size(), 8U);
    EXPECT_EQ(records_[1], text::free_format_record(order, " # order"))
        << "the order is written as it stands";
    EXPECT_EQ(records_[5], " " + pole_header);
    EXPECT_EQ(records_[6], " " + band_header);
    EXPECT_EQ(console_.size(), 5U);
  }
}

TEST_F(WriteCoefficientsTest, an_upper_band_edge_of_zero_makes_infinities_and_nans) {
  fmax_ = 0.0;
  write(3);
  ASSERT_EQ(records_.size(), 11U);
  EXPECT_EQ(numbers_of(records_[2]), std::vector<double>{0.0});
  const auto first = numbers_of(records_[6]);
  EXPECT_EQ(first.at(0), -infinity);
  EXPECT_EQ(first.at(1), infinity);
  EXPECT_TRUE(std::isnan(numbers_of(records_[8]).at(1)));  // 0 / 0
  EXPECT_EQ(numbers_of(records_[10]), (std::vector<double>{infinity, 1.0, 101.0}));

  fmin_ = 0.0;
  write(3);
  EXPECT_TRUE(std::isnan(numbers_of(records_.at(10)).at(0)));
}

TEST_F(WriteCoefficientsTest, zeros_of_d_and_h_are_written) {
  d_ = h_ = 0.0;
  write(3);
  EXPECT_EQ(records_.at(3), text::free_format_record(0.0, " # d"));
  EXPECT_EQ(records_.at(4), text::free_format_record(0.0, " # h"));
}

TEST_F(WriteCoefficientsTest, the_console_shows_the_model_in_single_precision) {
  write(3);
  const std::string header = std::string(15, ' ') + "pole (a)" + std::string(26, ' ') + "residue (c)";
  ASSERT_EQ(header.size(), 60U);
  ASSERT_EQ(console_.size(), 8U);
  EXPECT_EQ(console_[0], "");
  EXPECT_EQ(console_[1], text::free_format_record("d=", static_cast<float>(d_)));
  EXPECT_EQ(console_[2], text::free_format_record("h=", static_cast<float>(h_)));
  EXPECT_EQ(console_[3], " " + header);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(console_[4 + i],
              text::free_format_record(std::complex<float>(a_[i]), std::complex<float>(c_[i])));
  }
  EXPECT_EQ(console_[7], "");
}

TEST_F(WriteCoefficientsTest, an_existing_file_is_replaced_wholly) {
  write(3);
  const std::string alone = content_;
  write_data("Tarn.coe", std::string(100000, 'x'));
  write(3);
  EXPECT_EQ(content_, alone);
}

TEST_F(WriteCoefficientsTest, a_file_that_cannot_be_opened_or_written_is_an_error_after_the_echo) {
  text::IoErrorDetails details;
  const auto write_and_fail = [&] {
    console_ = records_of([&] {
      details =
          io_error_of([&] { write_coefficients(0, nullptr, nullptr, nullptr, d_, h_, fmin_, fmax_, 1); });
    });
    EXPECT_EQ(details.file, "..\\tmp_S_Par\\Tarn.coe");
    EXPECT_EQ(console_.size(), 5U);
  };
  std::filesystem::create_symlink("/dev/full", data("Tarn.coe"));
  write_and_fail();
  std::filesystem::remove_all(data(""));
  write_and_fail();
}

}  // namespace
}  // namespace s_solver
