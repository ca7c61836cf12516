#include "polefit/conversion.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace {

using namespace polefit;
using testing_support::eps;
using testing_support::RandomNumbers;
using Complex = std::complex<double>;
using Complexes = std::vector<Complex>;
using References = std::vector<double>;

Network named(char parameter, References references, Complexes values, std::vector<double> frequencies) {
  const std::size_t ports = references.size();
  Network network{.file = "n",
                  .matrix = NetworkMatrix{.parameter = parameter,
                                          .references = std::move(references),
                                          .elements = all_elements(ports)},
                  .frequencies = std::move(frequencies),
                  .names = {},
                  .values = std::move(values)};
  for (const MatrixElement& element : network.matrix->elements) {
    network.names.push_back(element_name(parameter, element, ports));
  }
  return network;
}

/// Random S of singular values well below 1, so that no matrix that is inverted has a condition above 10 or
/// so.
Network random_s(std::size_t ports, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  constexpr std::size_t samples = 5;
  References references;
  for (std::size_t i = 0; i < ports; ++i) {
    references.push_back(numbers.between(10.0, 100.0));
  }
  Complexes values;
  for (std::size_t i = 0; i < ports * ports * samples; ++i) {
    const double re = numbers.between(-1.0, 1.0);
    values.push_back(0.5 / static_cast<double>(ports) * Complex(re, numbers.between(-1.0, 1.0)));
  }
  return named('S', references, values, {1, 2, 3, 4, 5});
}

double relative_distance(const Network& a, const Network& b) {
  EXPECT_EQ(a.values.size(), b.values.size());
  double distance = 0.0;
  double largest = 0.0;
  for (std::size_t i = 0; i < a.values.size(); ++i) {
    distance = std::max(distance, std::abs(a.values[i] - b.values[i]));
    largest = std::max(largest, std::abs(b.values[i]));
  }
  return distance / largest;
}

std::string message_of(const std::function<void()>& action, ErrorKind kind) {
  try {
    action();
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), kind);
    return error.what();
  }
  return "no error";
}

TEST(Conversion, a_one_port_has_the_s_of_its_impedance) {
  const Network z = named('Z', {50}, {Complex(25, 30)}, {1});
  const Complex expected = Complex(-25, 30) / Complex(75, 30);
  const Network s = converted(z, 'S');
  EXPECT_NEAR(std::abs(s.values[0] - expected), 0.0, 4.0 * eps);
  EXPECT_EQ(s.names, std::vector<std::string>{"S11"});
  EXPECT_EQ(s.matrix->parameter, 'S');
  EXPECT_NEAR(std::abs(converted(s, 'Y').values[0] - 1.0 / Complex(25, 30)), 0.0, 10.0 * eps / 39.0);
  EXPECT_NEAR(std::abs(renormalised(s, References{75}).values[0] - Complex(-50, 30) / Complex(100, 30)), 0.0,
              10.0 * eps);
}

TEST(Conversion, unequal_references_weigh_as_the_definition_of_the_waves_has_it) {
  // A series impedance of 100 ohms between ports of 50 and 200: S21 = 2 sqrt(50 200) / (50 + 100 + 200).
  const Network y = named('Y', {50, 200}, {0.01, -0.01, -0.01, 0.01}, {1});
  const Network s = converted(y, 'S');
  EXPECT_NEAR(std::abs(s.values[2] - 200.0 / 350.0), 0.0, 10.0 * eps);
  EXPECT_NEAR(std::abs(s.values[0] - 250.0 / 350.0), 0.0, 10.0 * eps);
  EXPECT_NEAR(std::abs(s.values[3] - (150.0 - 200.0) / 350.0), 0.0, 10.0 * eps);
}

TEST(Conversion, hybrid_parameters_are_what_they_are_defined_as) {
  // Z of a T of 10, 20 and, across, 5 ohms; H: h11 with port 2 shorted, h12 and h21 the divider 5 / 25, h22 =
  // 1 / 25.
  const Network z = named('Z', {50, 50}, {15, 5, 5, 25}, {1});
  const Network h = hybrid(z, 'H');
  EXPECT_FALSE(h.matrix);
  EXPECT_EQ(h.names, (std::vector<std::string>{"H11", "H12", "H21", "H22"}));
  const std::vector<double> expected_h{14, 0.2, -0.2, 0.04};
  const std::vector<double> expected_g{1.0 / 15.0, -1.0 / 3.0, 1.0 / 3.0, 25.0 - 25.0 / 15.0};
  const Network g = hybrid(z, 'G');
  for (std::size_t r = 0; r < 4; ++r) {
    EXPECT_NEAR(std::abs(h.values[r] - expected_h[r]), 0.0, 20.0 * eps * 14.0);
    EXPECT_NEAR(std::abs(g.values[r] - expected_g[r]), 0.0, 20.0 * eps * 25.0);
  }
}

TEST(Conversion, every_way_there_and_back_keeps_twelve_digits) {
  for (std::size_t ports = 1; ports <= 12; ++ports) {
    const Network s = random_s(ports, ports);
    for (const char first : {'S', 'Y', 'Z'}) {
      for (const char second : {'S', 'Y', 'Z'}) {
        const Network start = converted(s, first);
        EXPECT_LT(relative_distance(converted(converted(start, second), first), start), 1e-12)
            << ports << first << second;
      }
    }
    const References others(ports, 33.0);
    EXPECT_LT(relative_distance(renormalised(renormalised(s, others), s.matrix->references), s), 1e-12)
        << ports;
    // The network is the same whatever its references are.
    EXPECT_LT(relative_distance(converted(renormalised(s, others), 'Y'), converted(s, 'Y')), 1e-12) << ports;
  }
}

TEST(Conversion, references_of_admittances_are_a_matter_of_name) {
  const Network y = converted(random_s(3, 7), 'Y');
  const Network renamed = renormalised(y, References{1, 2, 3});
  EXPECT_EQ(renamed.values, y.values);
  EXPECT_EQ(renamed.matrix->references, (References{1, 2, 3}));
  EXPECT_EQ(renormalised(y, References{5}).matrix->references, (References{5, 5, 5}));
}

TEST(Conversion, elements_in_another_order_are_sorted) {
  Network z = named('Z', {50, 50}, {15, 5, 6, 25}, {1});
  const Network expected = converted(z, 'Y');
  std::swap(z.values[0], z.values[3]);
  std::swap(z.names[0], z.names[3]);
  std::swap(z.matrix->elements[0], z.matrix->elements[3]);
  EXPECT_EQ(converted(z, 'Y').values, expected.values);
  EXPECT_EQ(converted(z, 'Y').names, expected.names);
}

TEST(Conversion, what_does_not_exist_is_refused_with_the_frequency) {
  const Network through = named('S', {50, 50}, {0.1, 0, 0.2, 1, 0.2, 1, 0.1, 0}, {1e9, 2e9});
  EXPECT_EQ(message_of([&] { converted(through, 'Z'); }, ErrorKind::numerical_breakdown),
            "n: found no Z parameters at 2e+09 Hz, where the matrix to be inverted for them is "
            "singular, expected S "
            "parameters of a network that has them");
  const Network series = named('Y', {50, 50}, {0.1, -0.1, -0.1, 0.1}, {3});
  EXPECT_NE(message_of([&] { converted(series, 'Z'); }, ErrorKind::numerical_breakdown).find("at 3 Hz"),
            std::string::npos);
  EXPECT_LT(std::abs(hybrid(series, 'H').values[0] - 10.0), 1e-13);
}

TEST(Conversion, what_is_no_whole_matrix_or_no_parameter_is_refused) {
  Network s = random_s(2, 1);
  EXPECT_EQ(message_of([&] { converted(s, 'H'); }, ErrorKind::bad_option),
            "n: the parameter of a network is S, Y or Z");
  EXPECT_EQ(message_of([&] { hybrid(s, 'S'); }, ErrorKind::bad_option), "n: hybrid parameters are H or G");
  EXPECT_EQ(message_of([] { hybrid(random_s(3, 1), 'H'); }, ErrorKind::bad_shape),
            "n: found 3 ports, expected the two of H parameters");
  EXPECT_EQ(message_of(
                [&] {
                  renormalised(s, References{1, 2, 3});
                },
                ErrorKind::bad_option),
            "n: found 3 reference resistances, expected one, or one for each of 2 ports");
  EXPECT_EQ(message_of([&] { renormalised(s, References{0}); }, ErrorKind::bad_option),
            "n: a reference resistance is not a positive number");
  s.matrix->references_vary = true;
  EXPECT_NE(message_of([&] { converted(s, 'Y'); }, ErrorKind::bad_option)
                .find("vary with frequency and are not told"),
            std::string::npos);
  s.matrix.reset();
  EXPECT_EQ(message_of([&] { converted(s, 'Y'); }, ErrorKind::bad_shape),
            "n: the network has no network matrix of which its responses are elements");
}

}  // namespace
