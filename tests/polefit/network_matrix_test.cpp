#include "polefit/network_matrix.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"
#include "requests.hpp"

namespace polefit {
namespace {

using testing_support::all_requests;
using testing_support::infinity;
using testing_support::quiet_nan;

NetworkMatrix two_ports(std::vector<MatrixElement> elements) {
  return {.parameter = 'S', .references = {50.0, 75.0}, .elements = std::move(elements)};
}

TEST(WholeMatrix, it_knows_the_response_of_each_element) {
  const auto matrix = whole_matrix(two_ports({{2, 1}, {1, 1}, {2, 2}, {1, 2}}));
  ASSERT_TRUE(matrix);
  EXPECT_EQ(matrix->ports(), 2U);
  EXPECT_EQ(matrix->response(0, 0), 1U);
  EXPECT_EQ(matrix->response(0, 1), 3U);
  EXPECT_EQ(matrix->response(1, 0), 0U);
  EXPECT_EQ(matrix->response(1, 1), 2U);
}

TEST(WholeMatrix, what_is_none_has_a_sentence_that_says_why) {
  const auto sentence_of = [](const std::optional<NetworkMatrix>& matrix) {
    const auto found = incompleteness(matrix);
    EXPECT_EQ(whole_matrix(matrix).has_value(), !found.has_value());
    return found.value_or("whole");
  };
  EXPECT_EQ(sentence_of(two_ports(all_elements(2))), "whole");
  EXPECT_EQ(sentence_of(std::nullopt), "no network matrix of which its responses are elements");
  EXPECT_EQ(sentence_of(two_ports({{1, 1}, {2, 2}, {2, 1}})),
            "not all elements of a matrix of 2 ports; S12 is missing");
  EXPECT_EQ(sentence_of(two_ports({})),
            "not all elements of a matrix of 2 ports; S11, S12, S21, S22 are missing");
  EXPECT_EQ(sentence_of(two_ports({{1, 1}, {1, 2}, {2, 1}, {1, 1}})),
            "a matrix in which responses[3] has the row and column of responses[0]");
  EXPECT_EQ(sentence_of(two_ports({{1, 1}, {1, 2}, {2, 1}, {2, 3}})),
            "a matrix in which responses[3].column is 3, expected 1 to 2");
  NetworkMatrix matrix = two_ports(all_elements(2));
  matrix.parameter = 'H';
  EXPECT_EQ(sentence_of(matrix), "a matrix in which network.parameter is none of S, Y and Z");
  matrix = two_ports({});
  matrix.references.clear();
  EXPECT_EQ(sentence_of(matrix), "a matrix in which network.references has 0 elements, expected one a port");
  matrix.references = {50.0, 0.0};
  EXPECT_EQ(sentence_of(matrix), "a matrix in which network.references[1] is not a finite number above 0");
}

TEST(WholeMatrix, of_many_missing_elements_the_first_few_are_named) {
  NetworkMatrix matrix{'Z', std::vector<double>(12, 50.0), {{1, 1}, {1, 3}}};
  EXPECT_EQ(incompleteness(matrix),
            "not all elements of a matrix of 12 ports; Z1_2, Z1_4, Z1_5, Z1_6, Z1_7, Z1_8, Z1_9, Z1_10 and "
            "134 more are missing");
}

TEST(WholeMatrix, few_elements_of_many_ports_take_no_memory_of_the_size_of_the_matrix) {
  const std::optional<NetworkMatrix> matrix =
      NetworkMatrix{'S', std::vector<double>(most_named_ports, 50.0), {{1, 1}, {9999, 9999}, {2, 1}}};
  all_requests = 0;
  EXPECT_FALSE(whole_matrix(matrix));
  const std::string sentence = incompleteness(matrix).value_or("whole");
  // A sentence and three elements. One byte for each port would be 9999, one bit for each element 12 MB.
  EXPECT_LE(all_requests, 5000U);
  EXPECT_TRUE(sentence.ends_with("S1_9 and 99979990 more are missing")) << sentence;
}

struct Refusal {
  ErrorKind kind;
  std::string sentence;
};

Refusal refusal_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return {error.kind(), error.what()};
  }
  return {{}, "was accepted"};
}

TEST(OnePort, it_is_the_single_element_of_a_matrix) {
  const NetworkMatrix declared = one_port(1, std::nullopt, 'Z', 75.0);
  EXPECT_EQ(declared.parameter, 'Z');
  EXPECT_EQ(declared.references, std::vector{75.0});
  EXPECT_EQ(declared.elements, (std::vector<MatrixElement>{{1, 1}}));
  EXPECT_TRUE(whole_matrix(declared));
}

TEST(OnePort, a_known_matrix_of_the_same_parameter_gets_another_reference) {
  // As S21 alone of a two-port.
  EXPECT_EQ(one_port(1, two_ports({{2, 1}}), 'S', 25.0).references, std::vector{25.0});
}

TEST(OnePort, a_parameter_or_reference_that_is_none_is_refused) {
  for (const char parameter : {'H', 's', '\0'}) {
    const Refusal refusal = refusal_of([&] { one_port(1, std::nullopt, parameter, 50.0); });
    EXPECT_EQ(refusal.kind, ErrorKind::bad_option);
    EXPECT_EQ(refusal.sentence, "the parameter of a one-port is S, Y or Z");
  }
  for (const double reference : {0.0, -50.0, infinity, quiet_nan}) {
    const Refusal refusal = refusal_of([&] { one_port(1, std::nullopt, 'S', reference); });
    EXPECT_EQ(refusal.kind, ErrorKind::bad_option);
    EXPECT_EQ(refusal.sentence, "the reference resistance of a one-port is not a positive number");
  }
}

TEST(OnePort, other_numbers_of_responses_and_another_parameter_are_refused) {
  Refusal refusal = refusal_of([] { one_port(4, std::nullopt, 'S', 50.0); });
  EXPECT_EQ(refusal.kind, ErrorKind::bad_shape);
  EXPECT_EQ(refusal.sentence, "found 4 responses, expected the single one of a one-port");
  refusal = refusal_of([] { one_port(0, std::nullopt, 'S', 50.0); });
  EXPECT_EQ(refusal.kind, ErrorKind::bad_shape);
  refusal = refusal_of([] { one_port(1, two_ports({{1, 1}}), 'Y', 50.0); });
  EXPECT_EQ(refusal.kind, ErrorKind::bad_shape);
  EXPECT_EQ(refusal.sentence, "found S parameters, expected Y of a one-port");
}

}  // namespace
}  // namespace polefit
