#include "polefit_io/network/touchstone_writer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "numerics.hpp"
#include "polefit_io/network/touchstone_reader.hpp"

namespace {

using namespace polefit_io;
using polefit::all_elements;
using polefit::ComplexFormat;
using polefit::element_name;
using polefit::FrequencyUnit;
using polefit::Network;
using polefit::TouchstoneOptions;
using testing_support::eps;
using testing_support::infinity;
using testing_support::io_error_of;
using testing_support::quiet_nan;
using testing_support::RandomNumbers;
using Complex = std::complex<double>;
using Limits = std::numeric_limits<double>;

/// A network of random values over many powers of two, at three frequencies.
Network random_network(std::size_t ports, char parameter, const std::vector<double>& references,
                       std::uint64_t seed) {
  RandomNumbers numbers(seed);
  const auto any = [&] { return std::ldexp(numbers(), numbers.below(200) - 100); };
  Network network{.file = "random",
                  .matrix =
                      polefit::NetworkMatrix{
                          .parameter = parameter, .references = references, .elements = all_elements(ports)},
                  .frequencies = {0.0, 1.1e9, 4.35e9},
                  .names = {},
                  .values = {}};
  for (const auto& element : network.matrix->elements) {
    network.names.push_back(element_name(parameter, element, ports));
  }
  while (network.values.size() < 3 * ports * ports) {
    network.values.emplace_back(any(), any());
  }
  return network;
}

Network random_network(std::size_t ports, char parameter, std::uint64_t seed = 1) {
  return random_network(ports, parameter, std::vector<double>(ports, 50.0), seed);
}

Network read_back(const Network& network, const TouchstoneOptions& options) {
  return read_touchstone(touchstone_of(network, options), "back", network.matrix->references.size());
}

bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](double x, double y) { return same_bits(x, y); });
}

bool same_bits(const std::vector<Complex>& a, const std::vector<Complex>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](Complex x, Complex y) {
    return same_bits(x.real(), y.real()) && same_bits(x.imag(), y.imag());
  });
}

/// What was found, of the refusal to write.
std::string found_in(const Network& network, const TouchstoneOptions& options = {}) {
  const auto details = io_error_of([&] { touchstone_of(network, options); });
  EXPECT_EQ(details.file, network.file);
  return details.found;
}

TEST(TouchstoneWriter, a_one_port_becomes_a_line_a_frequency) {
  Network network = random_network(1, 'S');
  network.values = {{0.5, -0.25}, {1e-12, 0.1}, {-1.0, 0.0}};
  EXPECT_EQ(touchstone_of(network),
            "# Hz S RI R 50\n"
            "0 0.5 -0.25\n"
            "1100000000 1e-12 0.1\n"
            "4350000000 -1 0\n");
}

TEST(TouchstoneWriter, a_two_port_stands_column_by_column_in_version_1) {
  Network network = random_network(2, 'S');
  network.frequencies = {1.0};
  network.values = {11, 12, 21, 22};
  EXPECT_EQ(touchstone_of(network), "# Hz S RI R 50\n1 11 0 21 0 12 0 22 0\n");
}

TEST(TouchstoneWriter, version_2_declares_what_it_holds) {
  Network network = random_network(2, 'Z');
  network.frequencies = {1.0};
  network.values = {11, 12, 21, 22};
  EXPECT_EQ(touchstone_of(network, {.version = 2}),
            "[Version] 2.0\n"
            "# Hz Z RI R 50\n"
            "[Number of Ports] 2\n"
            "[Two-Port Data Order] 12_21\n"
            "[Number of Frequencies] 1\n"
            "[Network Data]\n"
            "1 11 0 12 0 21 0 22 0\n"
            "[End]\n");
}

TEST(TouchstoneWriter, unequal_references_are_written_in_version_2) {
  Network network = random_network(1, 'S');
  EXPECT_EQ(touchstone_of(network).find("[Version]"), std::string::npos);
  network = random_network(3, 'S', {50.0, 75.0, 0.1}, 1);
  const std::string text = touchstone_of(network);
  EXPECT_TRUE(
      text.starts_with("[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 3\n"
                       "[Number of Frequencies] 3\n[Reference] 50 75 0.1\n[Network Data]\n"))
      << text;
}

TEST(TouchstoneWriter, z_and_y_of_version_1_are_normalised_to_one_ohm_and_say_so) {
  EXPECT_TRUE(touchstone_of(random_network(1, 'Z'))
                  .starts_with("! Z in ohms: normalised to R 1, which changes nothing\n# Hz Z RI R 1\n"));
  EXPECT_TRUE(touchstone_of(random_network(1, 'Y'))
                  .starts_with("! Y in siemens: normalised to R 1, which changes nothing\n# Hz Y RI R 1\n"));
}

TEST(TouchstoneWriter, rows_of_more_than_two_ports_begin_lines_of_four_values_at_most) {
  Network network = random_network(6, 'S');
  network.frequencies = {7.0};
  network.values.assign(36, 1.0);
  std::string expected = "# Hz S RI R 50\n7";
  for (int row = 0; row < 6; ++row) {
    expected += " 1 0 1 0 1 0 1 0\n 1 0 1 0\n";
  }
  EXPECT_EQ(touchstone_of(network), expected);
}

TEST(TouchstoneWriter, networks_read_back_have_the_same_bits) {
  for (const std::size_t ports : {1U, 2U, 3U, 4U, 12U}) {
    for (const char parameter : {'S', 'Y', 'Z'}) {
      for (const int version : {1, 2}) {
        SCOPED_TRACE(std::to_string(ports) + parameter + std::to_string(version));
        const Network network = random_network(ports, parameter, ports + 17);
        const Network back = read_back(network, {.version = version});
        EXPECT_TRUE(same_bits(back.frequencies, network.frequencies));
        EXPECT_TRUE(same_bits(back.values, network.values));
        EXPECT_EQ(back.names, network.names);
        EXPECT_EQ(back.matrix->parameter, parameter);
        EXPECT_EQ(back.matrix->elements, network.matrix->elements);
        const double reference = version == 1 && parameter != 'S' ? 1.0 : 50.0;
        EXPECT_EQ(back.matrix->references, std::vector<double>(ports, reference));
      }
    }
  }
}

TEST(TouchstoneWriter, unequal_references_read_back_to_the_same_bits) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    const Network network = random_network(4, parameter, {50.0, 1.0 / 3.0, 1e-300, 75.0}, 5);
    const Network back = read_back(network, {});
    EXPECT_TRUE(same_bits(back.matrix->references, network.matrix->references));
    EXPECT_TRUE(same_bits(back.values, network.values));
  }
}

TEST(TouchstoneWriter, the_ends_of_the_range_and_signed_zeros_keep_their_bits) {
  Network network = random_network(1, 'S');
  network.frequencies = {0.0, Limits::denorm_min(), Limits::max()};
  network.values = {{Limits::max(), -Limits::denorm_min()}, {0.1, -0.0}, {Limits::min(), 9007199254740993.0}};
  const Network back = read_back(network, {});
  EXPECT_TRUE(same_bits(back.frequencies, network.frequencies));
  EXPECT_TRUE(same_bits(back.values, network.values));
}

TEST(TouchstoneWriter, frequencies_keep_their_bits_in_every_unit) {
  RandomNumbers numbers(3);
  Network network = random_network(1, 'S');
  network.frequencies = {0.0, Limits::denorm_min(), 1e-5, 0.1, 1.0 / 3.0, 123.0, 1e9, 1.1e9};
  for (int k = 0; k < 2000; ++k) {
    network.frequencies.push_back(std::ldexp(numbers.between(0.5, 1.0), numbers.below(120) - 40));
  }
  std::sort(network.frequencies.begin(), network.frequencies.end());
  network.frequencies.push_back(Limits::max());
  network.values.assign(network.frequencies.size(), 1.0);
  for (const FrequencyUnit unit :
       {FrequencyUnit::hz, FrequencyUnit::khz, FrequencyUnit::mhz, FrequencyUnit::ghz}) {
    EXPECT_TRUE(same_bits(read_back(network, {.unit = unit}).frequencies, network.frequencies));
  }
}

TEST(TouchstoneWriter, frequencies_are_plain_decimals_where_those_are_short) {
  Network network = random_network(1, 'S');
  network.frequencies = {10.0, 1.5e3, 2.125e4, 1e9, 1.5e10, 1e16, 1e26};
  network.values.assign(network.frequencies.size(), 0.0);
  EXPECT_EQ(touchstone_of(network, {.unit = FrequencyUnit::mhz}),
            "# MHz S RI R 50\n1e-5 0 0\n0.0015 0 0\n0.02125 0 0\n1000 0 0\n15000 0 0\n10000000000 0 0\n"
            "1e20 0 0\n");
}

TEST(TouchstoneWriter, magnitude_and_angle_read_back_to_rounding) {
  for (const std::size_t ports : {1U, 2U, 3U}) {
    const Network network = random_network(ports, 'S', ports);
    const Network back = read_back(network, {.format = ComplexFormat::ma, .unit = FrequencyUnit::ghz});
    ASSERT_EQ(back.values.size(), network.values.size());
    EXPECT_TRUE(same_bits(back.frequencies, network.frequencies));
    for (std::size_t i = 0; i < network.values.size(); ++i) {
      // The angle, up to pi, is rounded by the arc, the factor and the product when it is written: at most
      // 3/2 eps pi. What reading adds is below 3 eps, and the magnitude's own rounding below 1.
      EXPECT_LE(std::abs(back.values[i] - network.values[i]), 9.0 * eps * std::abs(network.values[i]));
    }
  }
}

TEST(TouchstoneWriter, decibels_and_angle_read_back_to_rounding) {
  for (const std::size_t ports : {1U, 2U, 3U}) {
    const Network network = random_network(ports, 'S', ports);
    const Network back = read_back(network, {.format = ComplexFormat::db});
    ASSERT_EQ(back.values.size(), network.values.size());
    for (std::size_t i = 0; i < network.values.size(); ++i) {
      // Decibels D are rounded three times, by eps / 2 of the logarithm ln|v| = D ln(10) / 20 each.
      const double magnitude = std::abs(network.values[i]);
      const double tolerance = (9.0 + 1.5 * std::abs(std::log(magnitude))) * eps * magnitude;
      EXPECT_LE(std::abs(back.values[i] - network.values[i]), tolerance);
    }
  }
}

TEST(TouchstoneWriter, values_on_the_axes_and_zeros_read_back_from_polar_form) {
  Network network = random_network(2, 'S');
  network.frequencies = {1.0};
  network.values = {{0, 2}, {-2, 0}, {0, -2}, {0, 0}};
  for (const ComplexFormat format : {ComplexFormat::ma, ComplexFormat::db}) {
    const Network back = read_back(network, {.format = format});
    // 2 in decibels is rounded twice, its power once; see above.
    const double tolerance = format == ComplexFormat::ma ? 0.0 : 2.0 * 3.0 * eps;
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_NEAR(back.values[i].real(), network.values[i].real(), tolerance);
      EXPECT_NEAR(back.values[i].imag(), network.values[i].imag(), tolerance);
    }
    EXPECT_EQ(back.values[3], Complex(0, 0));
  }
  EXPECT_TRUE(touchstone_of(network, {.format = ComplexFormat::db}).ends_with(" -9999 0\n"));
}

TEST(TouchstoneWriter, elements_in_another_order_are_written_in_theirs) {
  Network network = random_network(2, 'S');
  network.frequencies = {1.0};
  network.matrix->elements = {{2, 2}, {1, 2}, {2, 1}, {1, 1}};
  network.values = {22, 12, 21, 11};
  EXPECT_EQ(touchstone_of(network), "# Hz S RI R 50\n1 11 0 21 0 12 0 22 0\n");
}

TEST(TouchstoneWriter, responses_that_are_no_whole_matrix_are_refused) {
  Network network = random_network(2, 'S');
  network.matrix.reset();
  EXPECT_EQ(found_in(network), "no network matrix of which its responses are elements");

  network = random_network(2, 'S');
  network.matrix->elements.pop_back();
  EXPECT_EQ(found_in(network), "not all elements of a matrix of 2 ports; S22 is missing");
  network.matrix->elements.push_back({1, 1});
  EXPECT_EQ(found_in(network), "a matrix in which responses[3] has the row and column of responses[0]");
  network.matrix->elements.back() = {3, 1};
  EXPECT_EQ(found_in(network), "a matrix in which responses[3].row is 3, expected 1 to 2");
  network.matrix->elements.back() = {0, 1};
  EXPECT_EQ(found_in(network), "a matrix in which responses[3].row is 0, expected 1 to 2");

  network = random_network(2, 'S');
  network.matrix->references.clear();
  EXPECT_EQ(found_in(network), "a matrix in which network.references has 0 elements, expected one a port");
  network = random_network(2, 'S');
  network.matrix->parameter = 'T';
  EXPECT_EQ(found_in(network), "a matrix in which network.parameter is none of S, Y and Z");
  network = random_network(2, 'S');
  network.values.pop_back();
  EXPECT_EQ(found_in(network), "11 values");
}

TEST(TouchstoneWriter, frequencies_that_could_not_be_read_back_are_refused) {
  Network network = random_network(1, 'S');
  for (const std::vector<double>& frequencies :
       {std::vector{-1.0, 0.0, 1.0}, {0.0, 2.0, 1.0}, {0.0, 1.0, infinity}, {0.0, quiet_nan, 1.0}}) {
    network.frequencies = frequencies;
    EXPECT_EQ(found_in(network), "frequencies that decrease, are below 0 or not finite");
  }
  network.frequencies.clear();
  network.values.clear();
  EXPECT_EQ(found_in(network), "no frequencies");
}

TEST(TouchstoneWriter, references_and_values_that_could_not_be_read_back_are_refused) {
  for (const double reference : {0.0, -50.0, infinity, quiet_nan}) {
    EXPECT_EQ(found_in(random_network(1, 'S', {reference}, 1)),
              "a matrix in which network.references[0] is not a finite number above 0");
  }
  for (const Complex value : {Complex(quiet_nan, 0), Complex(0, infinity)}) {
    Network network = random_network(1, 'S');
    network.values[1] = value;
    EXPECT_EQ(found_in(network), "a value that is not finite");
  }
}

TEST(TouchstoneWriter, a_magnitude_beyond_the_range_of_doubles_is_refused_where_it_is_to_be_written) {
  Network network = random_network(1, 'S');
  network.values[1] = {Limits::max(), Limits::max()};
  EXPECT_TRUE(same_bits(read_back(network, {}).values, network.values));
  EXPECT_EQ(found_in(network, {.format = ComplexFormat::ma}), "a magnitude beyond a double's range");
  EXPECT_EQ(found_in(network, {.format = ComplexFormat::db}), "a magnitude beyond a double's range");
}

}  // namespace
