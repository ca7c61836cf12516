#include "polefit_io/network/touchstone/matrix.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit_io/touchstone_support.hpp"

namespace {

using namespace polefit_io;
using polefit::ComplexFormat;
using polefit::Network;
using testing_support::eps;
using testing_support::refusal_of;
using testing_support::touchstone_file;
using Complex = std::complex<double>;
using Values = std::vector<Complex>;

/// Of two frequencies of two ports, whose values are counted through as integers.
RawData two_ports() {
  RawData data{.layout = {.ports = 2}, .frequencies = {1e9, 2e9}, .lines = {3, 5}, .values = {}};
  for (int i = 0; i < 16; ++i) {
    data.values.push_back(i);
  }
  return data;
}

/// The network of data that come in one block.
Network network_of(const RawData& data, const OptionLine& options, bool normalised, const std::string& file,
                   const std::vector<polefit::PortMode>& modes = {}) {
  NetworkBuilder builder(data.layout, options, normalised, modes, file);
  builder.append(data);
  return builder.finished();
}

OptionLine options_of(char parameter, std::vector<double> references) {
  return {.parameter = parameter, .format = ComplexFormat::ri, .references = std::move(references)};
}

TEST(TouchstoneMatrix, at_multiples_of_90_degrees_one_part_is_exactly_zero) {
  for (int turn = -3; turn <= 3; ++turn) {
    EXPECT_EQ(from_polar(0.3, 360.0 * turn), Complex(0.3, 0));
    EXPECT_EQ(from_polar(0.3, 360.0 * turn + 90.0), Complex(0, 0.3));
    EXPECT_EQ(from_polar(0.3, 360.0 * turn + 180.0), Complex(-0.3, 0));
    EXPECT_EQ(from_polar(0.3, 360.0 * turn + 270.0), Complex(0, -0.3));
  }
}

TEST(TouchstoneMatrix, other_angles_are_cosine_and_sine) {
  // Five roundings of half an eps each: pi, the quotient, the angle, its function, and the product.
  for (const double degrees : {-135.0, -45.0, 30.0, 60.0, 100.0, 225.0, 300.0}) {
    const auto expected = std::polar(2.0L, std::acos(-1.0L) * static_cast<long double>(degrees) / 180.0L);
    const Complex value = from_polar(2.0, degrees);
    EXPECT_NEAR(value.real(), static_cast<double>(expected.real()), 2.0 * 2.5 * eps) << degrees;
    EXPECT_NEAR(value.imag(), static_cast<double>(expected.imag()), 2.0 * 2.5 * eps) << degrees;
  }
}

TEST(TouchstoneMatrix, each_format_has_its_two_numbers) {
  EXPECT_EQ(complex_value(ComplexFormat::ri, 3, -4), Complex(3, -4));
  EXPECT_EQ(complex_value(ComplexFormat::ma, 3, 180), Complex(-3, 0));
  EXPECT_EQ(complex_value(ComplexFormat::db, 20, -90), Complex(0, -10));
}

TEST(TouchstoneMatrix, what_is_normalised_has_the_unit_of_its_row_over_that_of_its_column) {
  const std::vector<double> references{4, 9};
  EXPECT_EQ(denormalisation('Z', {1, 1}, references), 4.0);
  EXPECT_EQ(denormalisation('Z', {1, 2}, references), 6.0);
  EXPECT_EQ(denormalisation('Z', {2, 1}, references), 6.0);
  EXPECT_EQ(denormalisation('Z', {2, 1}, {0.3, 0.3}), 0.3);
  EXPECT_EQ(denormalisation('Y', {1, 1}, references), 0.25);
  EXPECT_EQ(denormalisation('S', {1, 2}, references), 1.0);
  EXPECT_EQ(denormalisation('H', {1, 1}, references), 4.0);
  EXPECT_EQ(denormalisation('H', {2, 2}, references), 1.0 / 9.0);
  EXPECT_EQ(denormalisation('H', {2, 1}, {9, 4}), 1.5);
  EXPECT_EQ(denormalisation('H', {1, 2}, {50, 50}), 1.0);
  EXPECT_EQ(denormalisation('G', {1, 1}, references), 0.25);
  EXPECT_EQ(denormalisation('G', {2, 2}, references), 9.0);
  EXPECT_EQ(denormalisation('G', {1, 2}, references), 1.5);
}

TEST(TouchstoneMatrix, modes_have_the_references_of_their_ports_in_series_and_parallel) {
  const RawData data{
      .layout = {.ports = 3}, .frequencies = {1}, .lines = {1}, .values = std::vector<double>(18, 0.5)};
  const Network network = network_of(data, options_of('S', {50, 60, 50}), false, touchstone_file,
                                     {{'D', 1, 3}, {'S', 2, 0}, {'C', 1, 3}});
  EXPECT_EQ(network.matrix->references, (std::vector<double>{100, 60, 25}));
  EXPECT_EQ(network.names, (std::vector<std::string>{"SDD11", "SDS12", "SDC11", "SSD21", "SSS22", "SSC21",
                                                     "SCD11", "SCS12", "SCC11"}));
}

TEST(TouchstoneMatrix, the_network_has_all_elements_row_by_row) {
  const Network network = network_of(two_ports(), options_of('S', {50}), true, touchstone_file);
  EXPECT_EQ(network.file, touchstone_file);
  EXPECT_EQ(network.frequencies, (std::vector<double>{1e9, 2e9}));
  EXPECT_EQ(network.names, (std::vector<std::string>{"S11", "S12", "S21", "S22"}));
  EXPECT_EQ(network.matrix->references, (std::vector<double>{50, 50}));
  EXPECT_EQ(network.matrix->elements, polefit::all_elements(2));
  EXPECT_EQ(network.values, (Values{{0, 1}, {8, 9}, {2, 3}, {10, 11}, {4, 5}, {12, 13}, {6, 7}, {14, 15}}));
}

TEST(TouchstoneMatrix, normalised_impedances_are_multiplied_and_admittances_divided) {
  const RawData data{.layout = {.ports = 1}, .frequencies = {1}, .lines = {1}, .values = {3, -4}};
  EXPECT_EQ(network_of(data, options_of('Z', {2}), true, touchstone_file).values, (Values{{6, -8}}));
  EXPECT_EQ(network_of(data, options_of('Y', {2}), true, touchstone_file).values, (Values{{1.5, -2}}));
  EXPECT_EQ(network_of(data, options_of('S', {2}), true, touchstone_file).values, (Values{{3, -4}}));
}

TEST(TouchstoneMatrix, values_that_are_not_normalised_stay_as_they_are) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    EXPECT_EQ(network_of(two_ports(), options_of(parameter, {2, 8}), false, touchstone_file).values[2],
              Complex(2, 3));
  }
}

TEST(TouchstoneMatrix, frequencies_in_several_blocks_keep_their_order) {
  RawData data{.layout = {.ports = 1}, .frequencies = {}, .lines = {}, .values = {}};
  for (int k = 0; k < 100; ++k) {
    data.frequencies.push_back(k);
    data.lines.push_back(k);
    data.values.insert(data.values.end(), {1.0 * k, -1.0 * k});
  }
  NetworkBuilder builder(data.layout, options_of('S', {50}), true, {}, touchstone_file);
  builder.append(data);
  builder.append(data);
  const Network network = builder.finished();
  ASSERT_EQ(network.values.size(), 200U);
  for (int k = 0; k < 200; ++k) {
    EXPECT_EQ(network.values[static_cast<std::size_t>(k)], Complex(k % 100, -(k % 100)));
    EXPECT_EQ(network.frequencies[static_cast<std::size_t>(k)], k % 100);
  }
}

TEST(TouchstoneMatrix, a_value_beyond_a_doubles_range_is_refused_with_the_line_of_its_frequency) {
  RawData data = two_ports();
  data.values[10] = std::numeric_limits<double>::max();
  EXPECT_EQ(refusal_of([&] { network_of(data, options_of('Z', {2}), true, touchstone_file); }),
            "5: a value of Z12 beyond a double's range | finite values");
}

}  // namespace
