#include "polefit/network.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"
#include "support.hpp"

namespace {

using namespace polefit;
using testing_support::infinity;
using testing_support::quiet_nan;
using NetworkFileTest = testing_support::InOwnDirectory;
using Names = std::vector<std::string>;

Network two_ports() {
  Network network{
      .file = "net.s2p",
      .matrix = NetworkMatrix{.parameter = 'S', .references = {50, 75}, .elements = all_elements(2)},
      .frequencies = {},
      .names = {"S11", "S12", "S21", "S22"},
      .values = {}};
  for (int k = 1; k <= 9; ++k) {
    network.frequencies.push_back(k);
  }
  for (int i = 1; i <= 36; ++i) {
    network.values.emplace_back(i, -i);
  }
  return network;
}

/// The kind and the sentence of the error that `action` throws; nothing without one.
std::optional<std::pair<ErrorKind, std::string>> error_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return std::pair(error.kind(), std::string(error.what()));
  }
  return std::nullopt;
}

void expect_error(ErrorKind kind, const std::string& sentence, const std::function<void()>& action) {
  const auto error = error_of(action);
  ASSERT_TRUE(error.has_value()) << "no error, expected: " << sentence;
  EXPECT_EQ(error->first, kind);
  EXPECT_EQ(error->second, sentence);
}

struct Contradiction {
  std::string sentence;
  std::function<void(Network&)> make;
};

std::vector<Contradiction> contradictions() {
  const std::string values =
      "net.s2p: found 35 values, expected 36, one for each of 4 names at each of 9 frequencies";
  return {
      {values, [](Network& n) { n.values.pop_back(); }},
      {"net.s2p: found 0 values, expected 36, one for each of 4 names at each of 9 frequencies",
       [](Network& n) { n.values.clear(); }},
      {"net.s2p: found 36 values, expected 9, one for each of 1 name at each of 9 frequencies",
       [](Network& n) { n.names.resize(1); }},
      {"net.s2p: found 36 values, expected 0, one for each of 0 names at each of 9 frequencies",
       [](Network& n) { n.names.clear(); }},
      {"net.s2p: found 36 values, expected 40, one for each of 4 names at each of 10 frequencies",
       [](Network& n) { n.frequencies.push_back(10); }},
      {"net.s2p: found 3 elements of the matrix, expected 4, one for each name",
       [](Network& n) { n.matrix->elements.pop_back(); }},
      {"net.s2p: found a matrix in which responses[3].row is 3, expected 1 to 2",
       [](Network& n) {
         n.matrix->elements.back() = {3, 1};
       }},
      {"net.s2p: found a matrix in which responses[3] has the row and column of responses[0]",
       [](Network& n) {
         n.matrix->elements.back() = {1, 1};
       }},
      {"net.s2p: found 3 port impedances, expected 18, one for each port at each frequency, or none",
       [](Network& n) { n.impedances.assign(3, 1.0); }},
      {"net.s2p: found a matrix in which network.references[1] is not a finite number above 0",
       [](Network& n) { n.matrix->references[1] = quiet_nan; }},
  };
}

TEST(Network, elements_of_ten_ports_have_a_mark_between_row_and_column) {
  EXPECT_EQ(element_name('S', {2, 1}, 9), "S21");
  EXPECT_EQ(element_name('Z', {10, 2}, 10), "Z10_2");
  EXPECT_EQ(element_name('Y', {1, 2}, 12), "Y1_2");
}

TEST(Network, elements_are_listed_row_by_row) {
  EXPECT_EQ(all_elements(2), (std::vector<MatrixElement>{{1, 1}, {1, 2}, {2, 1}, {2, 2}}));
}

TEST(Network, one_that_agrees_with_itself_passes_with_and_without_samples_and_matrix) {
  EXPECT_NO_THROW(check(Network{}));
  Network network = two_ports();
  EXPECT_NO_THROW(check(network));
  network.matrix.reset();
  EXPECT_NO_THROW(check(network));
  network.values.assign(36, quiet_nan);
  EXPECT_NO_THROW(check(network));
  network.frequencies.clear();
  network.values.clear();
  EXPECT_NO_THROW(check(network));
}

TEST(Network, one_that_contradicts_itself_is_refused_by_all_that_take_one) {
  const Names last{"S22"};
  for (const auto& [sentence, make] : contradictions()) {
    Network network = two_ports();
    make(network);
    expect_error(ErrorKind::bad_shape, sentence, [&] { check(network); });
    expect_error(ErrorKind::bad_shape, sentence, [&] { touchstone_text(network); });
    expect_error(ErrorKind::bad_shape, sentence, [&] { csv_text(network); });
    expect_error(ErrorKind::bad_shape, sentence, [&] { select_responses(network, last); });
    expect_error(ErrorKind::bad_shape, sentence, [&] { fit(network); });
    expect_error(ErrorKind::bad_shape, sentence, [&] { fit_to_error(network, {}); });
  }
}

TEST_F(NetworkFileTest, nothing_is_written_of_a_network_that_contradicts_itself) {
  Network network = two_ports();
  network.values.pop_back();
  EXPECT_TRUE(error_of([&] { write_touchstone(network, "net.s2p"); }).has_value());
  EXPECT_TRUE(error_of([&] { write_csv(network, "net.csv"); }).has_value());
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(Network, one_without_a_file_is_called_the_network) {
  Network network = two_ports();
  network.file.clear();
  const Names wanted{"S33"};
  const auto begins = [](const std::function<void()>& action) {
    const auto error = error_of(action);
    return error.has_value() && error->second.starts_with("the network: ");
  };
  EXPECT_TRUE(begins([&] { select_responses(network, wanted); }));
  EXPECT_TRUE(begins([&] { declare_one_port(network, 'S', 50); }));
  EXPECT_TRUE(begins([&] { touchstone_text(network, {.version = 3}); }));
  network.values[0] = quiet_nan;
  EXPECT_TRUE(begins([&] { touchstone_text(network); }));
  EXPECT_TRUE(begins([&] { csv_text(network); }));
  EXPECT_TRUE(begins([&] { fit(network); }));
  network.values.clear();
  EXPECT_TRUE(begins([&] { check(network); }));
  const auto from_text = error_of([] { network_from_text("x", ""); });
  ASSERT_TRUE(from_text.has_value());
  EXPECT_TRUE(from_text->second.starts_with("the network, line 1")) << from_text->second;
}

TEST(Network, options_of_touchstone_that_are_none_are_refused) {
  const std::string sentence = "net.s2p: the format, unit or version of Touchstone is none that there is";
  for (const TouchstoneOptions& options :
       {TouchstoneOptions{.format = static_cast<ComplexFormat>(3)},
        TouchstoneOptions{.format = static_cast<ComplexFormat>(-1)},
        TouchstoneOptions{.unit = static_cast<FrequencyUnit>(4)}, TouchstoneOptions{.version = 0},
        TouchstoneOptions{.version = 3}}) {
    expect_error(ErrorKind::bad_option, sentence, [&] { touchstone_text(two_ports(), options); });
  }
}

TEST(Network, a_format_of_files_that_is_none_is_refused) {
  const auto none = static_cast<NetworkFormat>(4);
  const std::string sentence = "a.in: the format of the file is none that there is";
  expect_error(ErrorKind::bad_option, sentence, [&] { network_from_text("1 2 3\n", "a.in", none); });
  expect_error(ErrorKind::bad_option, sentence, [&] { read_network("a.in", none); });
}

TEST(Network, a_model_is_not_sampled_where_it_or_the_frequency_is_not_finite) {
  const double two_pi = 6.283185307179586;
  const Model model{.poles = {{0, two_pi}, {0, -two_pi}},
                    .residues = {1, 1},
                    .constants = {0},
                    .proportionals = {0},
                    .names = {}};
  EXPECT_EQ(sampled(model, {2, 3}, "grid").names, Names{"1"});
  for (const auto& [frequency, text] : {std::pair(1.0, "1"), {quiet_nan, "nan"}, {infinity, "inf"}}) {
    expect_error(ErrorKind::bad_option,
                 "grid: found no finite value at " + std::string(text) +
                     " Hz, expected a finite frequency that is no pole",
                 [&, at = frequency] {
                   sampled(model, {2, at}, "grid");
                 });
  }
}

}  // namespace
