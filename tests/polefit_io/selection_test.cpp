#include "polefit_io/network/selection.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "io_error_of.hpp"

namespace {

using namespace polefit_io;
using polefit::all_elements;
using polefit::Network;
using testing_support::io_error_of;
using Names = std::vector<std::string>;
using Values = std::vector<std::complex<double>>;

Network two_ports() {
  return {
      .file = "filter.s2p",
      .matrix = polefit::NetworkMatrix{.parameter = 'S', .references = {50, 75}, .elements = all_elements(2)},
      .frequencies = {1, 2},
      .names = {"S11", "S12", "S21", "S22"},
      .values = {11, 110, 12, 120, 21, 210, 22, 220}};
}

std::string refusal_of(const Network& network, const Names& wanted) {
  return io_error_of([&] { chosen_responses(network, wanted); }).found;
}

TEST(Selection, responses_come_in_the_wanted_order) {
  const Network selected = chosen_responses(two_ports(), Names{"S21", "S11"});
  EXPECT_EQ(selected.file, "filter.s2p");
  EXPECT_EQ(selected.frequencies, (std::vector<double>{1, 2}));
  EXPECT_EQ(selected.names, (Names{"S21", "S11"}));
  EXPECT_EQ(selected.values, (Values{21, 210, 11, 110}));
}

TEST(Selection, the_matrix_keeps_its_ports_and_the_chosen_elements) {
  const Network selected = chosen_responses(two_ports(), Names{"S21"});
  ASSERT_TRUE(selected.matrix.has_value());
  EXPECT_EQ(selected.matrix->parameter, 'S');
  EXPECT_EQ(selected.matrix->references, (std::vector<double>{50, 75}));
  EXPECT_EQ(selected.matrix->elements, (std::vector<polefit::MatrixElement>{{2, 1}}));
}

TEST(Selection, an_element_may_be_written_in_other_ways) {
  for (const std::string name : {"S21", "s21", "S2_1", "S(2,1)", "s[2, 1]"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(chosen_responses(two_ports(), Names{name}).names, Names{"S21"});
  }
}

TEST(Selection, names_without_a_matrix_are_taken_as_they_stand) {
  Network network = two_ports();
  network.matrix.reset();
  network.names = {"a", "A", "S21", "s21"};
  EXPECT_EQ(chosen_responses(network, Names{"s21", "A"}).values, (Values{22, 220, 12, 120}));
  EXPECT_EQ(refusal_of(network, {"S(2,1)"}), "the wanted response \"S(2,1)\"");
}

TEST(Selection, an_unknown_response_is_refused_with_those_that_there_are) {
  for (const std::string name : {"S13", "Z21", "S", "", "S2"}) {
    SCOPED_TRACE(name);
    const auto details = io_error_of([&] { chosen_responses(two_ports(), Names{"S11", name}); });
    EXPECT_EQ(details.file, "filter.s2p");
    EXPECT_EQ(details.found, "the wanted response \"" + name + "\"");
    EXPECT_EQ(details.expected, "S11, S12, S21 or S22");
  }
}

TEST(Selection, a_long_list_of_responses_is_cut_short) {
  Network network;
  for (int i = 0; i < 400; ++i) {
    network.names.push_back("a" + std::to_string(i));
  }
  const std::string expected = io_error_of([&] { chosen_responses(network, Names{"b"}); }).expected;
  EXPECT_LT(expected.size(), 120U);
  EXPECT_NE(expected.find("400 in all"), std::string::npos) << expected;
}

TEST(Selection, nothing_and_the_same_twice_are_refused) {
  EXPECT_EQ(refusal_of(two_ports(), {}), "no name of a response");
  EXPECT_EQ(refusal_of(two_ports(), {"S21", "S(2,1)"}), "the wanted response \"S(2,1)\" twice");
}

}  // namespace
