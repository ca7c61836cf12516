#include "polefit/model_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using namespace testing_support;
using testing_support::quiet_nan;  // not the one of <math.h>

// The example of docs/model_file.md.
const std::string example_text = R"({
  "format": "polefit model",
  "version": 1,
  "poles": [
    [-1500000000.0,0.0],
    [-20000000.0,6283185307.179586],
    [-20000000.0,-6283185307.179586]
  ],
  "responses": [
    {"name":"S11","constant":0.5,"proportional":0.0,"residues":[[3e8,0.0],[1250000.0,-4e6],[1250000.0,4e6]]},
    {"name":"S21","constant":-0.125,"proportional":1e-12,"residues":[[-7e7,0.0],[0.0,2e5],[0.0,-2e5]]}
  ]
}
)";

// The second example there.
const std::string network_text = R"({
  "format": "polefit model",
  "version": 1,
  "network": {"parameter":"Z","references":[50.0,75.0]},
  "origin": {"lowest":0.0,"highest":3e9,"samples":501},
  "poles": [
    [-1500000000.0,0.0]
  ],
  "responses": [
    {"name":"Z12","row":1,"column":2,"error":{"rms":0.002,"relative":4e-5,"largest":0.01},"constant":0.5,)"
                                 R"("proportional":0.0,"residues":[[3e8,0.0]]},
    {"name":"Z22","row":2,"column":2,"error":{"rms":0.001,"relative":3e-5,"largest":0.004},"constant":0.0,)"
                                 R"("proportional":1e-9,"residues":[[-7e7,0.0]]}
  ]
}
)";

Model network_model() {
  Model model{{-1.5e9}, {3e8, -7e7}, {0.5, 0.0}, {0.0, 1e-9}, {"Z12", "Z22"}};
  model.network = {'Z', {50.0, 75.0}, {{1, 2}, {2, 2}}};
  model.origin = {0.0, 3e9, 501, {{0.002, 4e-5, 0.01}, {0.001, 3e-5, 0.004}}};
  return model;
}

// The third one there.
const std::string certified_text = R"({
  "format": "polefit model",
  "version": 1,
  "network": {"parameter":"S","references":[50.0]},
  "passivity": {"passive":true,"tolerance":1e-9,"extreme":0.75,"frequency":"infinite"},
  "poles": [
    [-1500000000.0,0.0]
  ],
  "responses": [
    {"name":"S11","row":1,"column":1,"constant":-0.75,"proportional":0.0,"residues":[[3e8,0.0]]}
  ]
}
)";

Model certified_model() {
  Model model{{-1.5e9}, {3e8}, {-0.75}, {0.0}, {"S11"}};
  model.network = {'S', {50.0}, {{1, 1}}};
  model.passivity = {true, 1e-9, 0.75, infinity};
  return model;
}

Model example_model() {
  return {{-1.5e9, {-2e7, 6283185307.179586}, {-2e7, -6283185307.179586}},
          {3e8, {1.25e6, -4e6}, {1.25e6, 4e6}, -7e7, {0.0, 2e5}, {0.0, -2e5}},
          {0.5, -0.125},
          {0.0, 1e-12},
          {"S11", "S21"}};
}

bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

template <class Numbers>
bool same_bits(const Numbers& a, const Numbers& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](std::complex<double> x, std::complex<double> y) {
           return same_bits(x.real(), y.real()) && same_bits(x.imag(), y.imag());
         });
}

bool same_network(const std::optional<NetworkMatrix>& a, const std::optional<NetworkMatrix>& b) {
  return a.has_value() == b.has_value() &&
         (!a ||
          (a->parameter == b->parameter && same_bits(a->references, b->references) &&
           a->elements == b->elements && a->modes == b->modes && a->references_vary == b->references_vary));
}

bool same_origin(const std::optional<Origin>& a, const std::optional<Origin>& b) {
  return a.has_value() == b.has_value() &&
         (!a ||
          (same_bits(a->lowest, b->lowest) && same_bits(a->highest, b->highest) && a->samples == b->samples &&
           std::equal(a->errors.begin(), a->errors.end(), b->errors.begin(), b->errors.end(),
                      [](const ResponseError& x, const ResponseError& y) {
                        return same_bits(x.rms, y.rms) && same_bits(x.relative, y.relative) &&
                               same_bits(x.largest, y.largest);
                      })));
}

bool same_passivity(const std::optional<CertifiedPassivity>& a, const std::optional<CertifiedPassivity>& b) {
  return a.has_value() == b.has_value() &&
         (!a || (a->passive == b->passive && same_bits(a->tolerance, b->tolerance) &&
                 same_bits(a->extreme, b->extreme) && same_bits(a->frequency, b->frequency)));
}

bool same_model(const Model& a, const Model& b) {
  return same_bits(a.poles, b.poles) && same_bits(a.residues, b.residues) &&
         same_bits(a.constants, b.constants) && same_bits(a.proportionals, b.proportionals) &&
         a.names == b.names && same_network(a.network, b.network) && same_origin(a.origin, b.origin) &&
         same_passivity(a.passivity, b.passivity);
}

/// The sentence of the error that `action` throws.
template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::bad_model_file);
    return error.what();
  }
  return "accepted";
}

std::string refusal_of(const std::string& text) {
  return refusal([&] { model_from_json(text); });
}

/// An example with one part replaced.
std::string text_with(std::string text, const std::string& part, const std::string& replacement) {
  const auto place = text.find(part);
  EXPECT_NE(place, std::string::npos) << part;
  return place == std::string::npos ? text : text.replace(place, part.size(), replacement);
}

std::string example_with(const std::string& part, const std::string& replacement) {
  return text_with(example_text, part, replacement);
}

TEST(ModelJson, the_documented_example_is_read_as_its_model) {
  EXPECT_TRUE(same_model(model_from_json(example_text), example_model()));
}

TEST(ModelJson, the_documented_example_of_a_network_is_read_as_its_model) {
  EXPECT_TRUE(same_model(model_from_json(network_text), network_model()));
}

TEST(ModelJson, the_documented_example_of_a_certified_model_is_read_as_its_model) {
  EXPECT_TRUE(same_model(model_from_json(certified_text), certified_model()));
}

TEST(ModelJson, what_was_certified_becomes_a_line_with_a_number_or_a_word_for_the_frequency) {
  Model model = certified_model();
  EXPECT_NE(to_json(model).find(
                "\n  \"passivity\": "
                "{\"passive\":true,\"tolerance\":1e-09,\"extreme\":0.75,\"frequency\":\"infinite\"},\n"),
            std::string::npos)
      << to_json(model);
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  model.passivity = {false, 0.0, 1.0 + eps, 1e10 / 3.0};
  EXPECT_NE(to_json(model).find("\"frequency\":3333333333.3333335}"), std::string::npos) << to_json(model);
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  model.passivity->extreme = -1e-300;
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  model.passivity.reset();
  EXPECT_EQ(to_json(model).find("passiv"), std::string::npos);
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
}

TEST(ModelJson, network_and_origin_become_a_line_each_and_short_keys_of_the_responses) {
  Model model{{-1.0}, {3.0}, {0.25}, {0.0}, {"S21"}};
  model.network = {'S', {50.0, 75.5}, {{2, 1}}};
  model.origin = {0.5, 1e10, 201, {{0.125, 1e-5, 0.5}}};
  EXPECT_EQ(to_json(model), R"({
  "format": "polefit model",
  "version": 1,
  "network": {"parameter":"S","references":[50.0,75.5]},
  "origin": {"lowest":0.5,"highest":10000000000.0,"samples":201},
  "poles": [
    [-1.0,0.0]
  ],
  "responses": [
    {"name":"S21","row":2,"column":1,"error":{"rms":0.125,"relative":1e-05,"largest":0.5},"constant":0.25,)"
                            R"("proportional":0.0,"residues":[[3.0,0.0]]}
  ]
}
)");
}

TEST(ModelJson, modes_and_references_that_vary_read_back) {
  Model model{{}, {}, {0.25}, {0.0}, {"SDC11"}};
  model.network = {'S', {100.0, 25.0, 50.0}, {{1, 2}}};
  model.network->modes = {{'D', 3, 1}, {'C', 1, 3}, {'S', 2, 0}};
  model.network->references_vary = true;
  const std::string text = to_json(model);
  EXPECT_NE(text.find(R"("references":[100.0,25.0,50.0],"modes":[{"kind":"D","port":3,"other":1},)"
                      R"({"kind":"C","port":1,"other":3},{"kind":"S","port":2}],"references_vary":true})"),
            std::string::npos)
      << text;
  EXPECT_TRUE(same_model(model_from_json(text), model));
  model.network->modes.pop_back();
  EXPECT_EQ(refusal([&] { to_json(model); }),
            "network.modes are no modes of it: 2 modes are named for 3 ports");
}

TEST(ModelJson, network_and_origin_are_there_each_by_itself) {
  Model model = network_model();
  model.origin.reset();
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  model = network_model();
  model.network.reset();
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  // Without responses there are no elements and no errors.
  Model empty;
  empty.network = {'Y', {1e-3}, {}};
  empty.origin = Origin();
  EXPECT_TRUE(same_model(model_from_json(to_json(empty)), empty));
}

TEST(ModelJson, a_model_becomes_one_line_a_pole_and_one_a_response) {
  const Model model{{{-1.0, 2.0}, {-1.0, -2.0}}, {{3.0, 0.5}, {3.0, -0.5}}, {0.25}, {0.0}, {"S21"}};
  EXPECT_EQ(to_json(model), R"({
  "format": "polefit model",
  "version": 1,
  "poles": [
    [-1.0,2.0],
    [-1.0,-2.0]
  ],
  "responses": [
    {"name":"S21","constant":0.25,"proportional":0.0,"residues":[[3.0,0.5],[3.0,-0.5]]}
  ]
}
)");
}

TEST(ModelJson, a_model_read_back_has_the_same_bits) {
  std::mt19937_64 bits(1);
  const auto any_double = [&] {
    double value = quiet_nan;
    while (!std::isfinite(value) || value == 0.0) {
      value = std::bit_cast<double>(static_cast<std::uint64_t>(bits()));
    }
    return value;
  };
  for (int round = 0; round < 200; ++round) {
    Model model;
    const auto pairs = static_cast<std::size_t>(round % 5);
    model.poles.emplace_back(any_double());
    for (std::size_t i = 0; i < pairs; ++i) {
      const Complex a(any_double(), std::abs(any_double()));
      model.poles.insert(model.poles.end(), {a, std::conj(a)});
    }
    for (int r = 0; r < round % 4; ++r) {
      model.constants.push_back(any_double());
      model.proportionals.push_back(any_double());
      model.residues.emplace_back(any_double());
      for (std::size_t i = 0; i < pairs; ++i) {
        const Complex c(any_double(), any_double());
        model.residues.insert(model.residues.end(), {c, std::conj(c)});
      }
    }
    const std::size_t responses = model.constants.size();
    if (round % 3 != 0) {
      model.network = {"SYZ" [round % 3], {}, {}};
      for (std::size_t i = 0; i < responses + 1; ++i) {
        model.network->references.push_back(std::abs(any_double()));
      }
      for (std::size_t r = 0; r < responses; ++r) {
        model.network->elements.push_back({responses + 1 - r / 2, 1 + r % 2});
      }
    }
    if (round % 2 != 0) {
      const double lowest = std::abs(any_double());
      model.origin = {lowest, std::max(lowest, std::abs(any_double())), static_cast<std::size_t>(bits()), {}};
      for (std::size_t r = 0; r < responses; ++r) {
        model.origin->errors.push_back(
            {std::abs(any_double()), std::abs(any_double()), std::abs(any_double())});
      }
    }
    ASSERT_TRUE(same_model(model_from_json(to_json(model)), model)) << to_json(model);
  }
}

TEST(ModelJson, the_ends_of_the_range_and_signed_zeros_keep_their_bits) {
  using Limits = std::numeric_limits<double>;
  for (const double value : {0.0, -0.0, Limits::denorm_min(), -Limits::denorm_min(), Limits::min(),
                             std::nextafter(Limits::min(), 0.0), Limits::max(), -Limits::max(), 0.1,
                             1.0 + eps, 1e22, 1e23, 9007199254740993.0, 18446744073709551616.0}) {
    const Model model{{{value, -0.0}}, {{value, -0.0}}, {value}, {value}, {}};
    EXPECT_TRUE(same_model(model_from_json(to_json(model)), model)) << value;
  }
}

TEST(ModelJson, empty_models_are_read_back) {
  for (const Model& model : {Model(), Model{{-1.0}, {}, {}, {}, {}}, Model{{}, {}, {1.0}, {2.0}, {}},
                             Model{{}, {}, {1.0}, {2.0}, {""}}}) {
    EXPECT_TRUE(same_model(model_from_json(to_json(model)), model)) << to_json(model);
  }
}

TEST(ModelJson, any_utf_8_is_a_name) {
  const std::string zero("\0", 1);
  Model model{{}, {}, {1.0, 2.0}, {3.0, 4.0}, {"\"\\/\n\t" + zero + "\x7f", "Ω→😀"}};
  EXPECT_TRUE(same_model(model_from_json(to_json(model)), model));
  model.names[1] = "caf\xe9";
  EXPECT_EQ(refusal([&] { to_json(model); }), "responses[1].name is not UTF-8: \"caf\\ufffd\"");
}

TEST(ModelJson, what_a_reader_would_refuse_is_not_written) {
  const auto refused = [](auto change) {
    Model model = example_model();
    change(model);
    return refusal([&] { to_json(model); });
  };
  EXPECT_EQ(refused([](Model& m) { m.poles[1].real(quiet_nan); }), "poles[1] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.poles[2].imag(-infinity); }), "poles[2] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.residues[4].imag(infinity); }),
            "responses[1].residues[1] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.constants[0] = quiet_nan; }),
            "responses[0].constant is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.proportionals[1] = infinity; }),
            "responses[1].proportional is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.residues.pop_back(); }), "the model has 5 residues, expected 6");
  EXPECT_EQ(refused([](Model& m) { m.proportionals.clear(); }),
            "the model has 0 proportional terms, expected 2");
  EXPECT_EQ(refused([](Model& m) { m.names.pop_back(); }), "the model has 1 names, expected 2");
  EXPECT_EQ(refused([](Model& m) { m.names[1] = m.names[0]; }),
            "responses[1].name is \"S11\" as that of responses[0] is, expected a name of its own");
  EXPECT_EQ(refused([](Model& m) { std::swap(m.poles[1], m.poles[2]); }),
            "poles[1] leads a pair without a positive imaginary part");
  EXPECT_EQ(refused([](Model& m) { m.residues[0].imag(1.0); }),
            "responses[0].residues[0] is not real, as the residue of a real pole is");
}

TEST(ModelJson, a_network_or_an_origin_that_a_reader_would_refuse_is_not_written) {
  const auto refused = [](auto change) {
    Model model = network_model();
    change(model);
    return refusal([&] { to_json(model); });
  };
  EXPECT_EQ(refused([](Model& m) { m.network->parameter = 'H'; }), "network.parameter is none of S, Y and Z");
  EXPECT_EQ(refused([](Model& m) { m.network->parameter = '\0'; }),
            "network.parameter is none of S, Y and Z");
  EXPECT_EQ(refused([](Model& m) { m.network->references.clear(); }),
            "network.references has 0 elements, expected one a port");
  for (const double reference : {0.0, -50.0, infinity, quiet_nan}) {
    EXPECT_EQ(refused([&](Model& m) { m.network->references[1] = reference; }),
              "network.references[1] is not a finite number above 0");
  }
  EXPECT_EQ(refused([](Model& m) { m.network->elements.pop_back(); }),
            "the model has 1 matrix elements, expected 2");
  EXPECT_EQ(refused([](Model& m) { m.network->elements[1].row = 3; }),
            "responses[1].row is 3, expected 1 to 2");
  EXPECT_EQ(refused([](Model& m) { m.network->elements[0].column = 0; }),
            "responses[0].column is 0, expected 1 to 2");
  EXPECT_EQ(refused([](Model& m) { m.network->elements[1] = m.network->elements[0]; }),
            "responses[1] has the row and column of responses[0]");
  EXPECT_EQ(refused([](Model& m) { m.origin->errors.emplace_back(); }), "the model has 3 errors, expected 2");
  EXPECT_EQ(refused([](Model& m) { m.origin->lowest = -1.0; }),
            "origin.lowest is not a finite number of at least 0");
  EXPECT_EQ(refused([](Model& m) { m.origin->highest = infinity; }),
            "origin.highest is not a finite number of at least 0");
  EXPECT_EQ(refused([](Model& m) { m.origin->lowest = 4e9; }), "origin.highest is below origin.lowest");
  EXPECT_EQ(refused([](Model& m) { m.origin->errors[1].rms = quiet_nan; }),
            "responses[1].error.rms is not a finite number of at least 0");
  EXPECT_EQ(refused([](Model& m) { m.origin->errors[0].relative = -1e-300; }),
            "responses[0].error.relative is not a finite number of at least 0");
  EXPECT_EQ(refused([](Model& m) { m.origin->errors[1].largest = infinity; }),
            "responses[1].error.largest is not a finite number of at least 0");
}

TEST(ModelJson, a_certificate_that_a_reader_would_refuse_is_not_written) {
  const auto refused = [](auto change) {
    Model model = certified_model();
    change(model);
    return refusal([&] { to_json(model); });
  };
  for (const double tolerance : {-1e-9, infinity, quiet_nan}) {
    EXPECT_EQ(refused([&](Model& m) { m.passivity->tolerance = tolerance; }),
              "passivity.tolerance is not a finite number of at least 0");
  }
  for (const double extreme : {infinity, quiet_nan}) {
    EXPECT_EQ(refused([&](Model& m) { m.passivity->extreme = extreme; }),
              "passivity.extreme is not a finite number");
  }
  for (const double frequency : {-1.0, -infinity, quiet_nan}) {
    EXPECT_EQ(refused([&](Model& m) { m.passivity->frequency = frequency; }),
              "passivity.frequency is not a number of at least 0");
  }
  EXPECT_EQ(refused([&](Model& m) { m.network.reset(); }),
            "passivity is that of a whole matrix, the model has no network matrix of which its responses are "
            "elements");
}

TEST(ModelJson, whole_numbers_spaces_other_orders_and_unknown_keys_are_read) {
  const Model model = model_from_json(
      "\xEF\xBB\xBF\t{\"responses\":[{\"residues\":[[2,0]],\"later\":[{\"a\":[null]}],\"proportional\":0,\r\n"
      "\"constant\":-3}],\"poles\":[[-1,0]],\"units\":\"SI\",\"version\":1,\"format\":\"polefit model\"}  ");
  EXPECT_TRUE(same_model(model, {{-1.0}, {2.0}, {-3.0}, {0.0}, {}}));
}

TEST(ModelJson, names_are_of_all_responses_or_of_none) {
  EXPECT_EQ(model_from_json(
                example_with("\"name\":\"S11\",", "").erase(example_text.find("\"name\":\"S21\",") - 13, 13))
                .names.size(),
            0U);
  EXPECT_EQ(refusal_of(example_with("\"name\":\"S11\",", "")),
            "responses[1] has a name, the responses before it have none");
  EXPECT_EQ(refusal_of(example_with("\"name\":\"S21\",", "")),
            "responses[1] has no name, the responses before it have one");
}

TEST(ModelJson, names_that_contradict_row_and_column_are_refused) {
  const std::string text = R"json({"format":"polefit model","version":1,"poles":[],
    "network":{"parameter":"S","references":[50,50]},
    "responses":[{"name":"S(2,1)","row":1,"column":2,"constant":0.5,"proportional":0,"residues":[]}]})json";
  EXPECT_EQ(refusal_of(text),
            "responses[0].name is \"S(2,1)\", expected \"S12\", which is row 1 and column 2");
}

TEST(ModelJson, text_that_does_not_follow_the_schema_is_refused_with_the_place) {
  struct Case {
    std::string part;
    std::string replacement;
    std::string sentence;
  };
  const std::string s11 = "[[3e8,0.0],[1250000.0,-4e6],[1250000.0,4e6]]";
  for (const auto& [part, replacement, sentence] : std::vector<Case>{
           {"\"format\": \"polefit model\",", "", "the text has no key \"format\""},
           {"\"polefit model\"", "7", "format is of type number, expected a string"},
           {"\"polefit model\"", "\"polefit\"", "format is \"polefit\", expected \"polefit model\""},
           {"polefit model", std::string(99, 'x'),
            "format is \"" + std::string(40, 'x') + "\"..., expected \"polefit model\""},
           {"\"version\": 1,", "", "the text has no key \"version\""},
           {"\"version\": 1", "\"version\": 2", "version is 2, expected 1"},
           {"\"version\": 1", "\"version\": 0", "version is 0, expected 1"},
           {"\"version\": 1", "\"version\": -1", "version is -1, expected 1"},
           {"\"version\": 1", "\"version\": 1.0", "version is 1.0, expected 1"},
           {"\"version\": 1", "\"version\": 18446744073709551615",
            "version is 18446744073709551615, expected 1"},
           {"\"version\": 1", "\"version\": \"1\"", "version is of type string, expected 1"},
           {"\"poles\"", "\"Poles\"", "the text has no key \"poles\""},
           {"\"responses\"", "\"response\"", "the text has no key \"responses\""},
           {"\"poles\": [", "\"poles\": {}, \"_\": [", "poles is of type object, expected an array"},
           {"\"responses\": [", "\"responses\": null, \"_\": [",
            "responses is of type null, expected an array"},
           {"[-1500000000.0,0.0]", "-1500000000.0", "poles[0] is of type number, expected an array"},
           {"[-1500000000.0,0.0]", "[-1500000000.0]", "poles[0] has 1 element, expected 2"},
           {"[-1500000000.0,0.0]", "[-1500000000.0,0.0,0]", "poles[0] has 3 elements, expected 2"},
           {"[-1500000000.0,0.0]", "[]", "poles[0] has 0 elements, expected 2"},
           {"[-1500000000.0,0.0]", "[-1500000000.0,\"0\"]",
            "poles[0][1] is of type string, expected a number"},
           {"[-1500000000.0,0.0]", "[null,0.0]", "poles[0][0] is of type null, expected a number"},
           {"[-1500000000.0,0.0]", "[true,0.0]", "poles[0][0] is of type boolean, expected a number"},
           {"[-1500000000.0,0.0]", "[-1500000000.0,1.0]",
            "poles[0] is complex and not followed by its exact conjugate"},
           {",\n    [-20000000.0,-6283185307.179586]", "",
            "responses[0].residues has 3 elements, expected 2"},
           {"[-20000000.0,-6283185307.179586]", "[-20000000.0,-6283185307.179587]",
            "poles[1] is complex and not followed by its exact conjugate"},
           {"[-20000000.0,6283185307.179586],\n    [-20000000.0,-6283185307.179586]",
            "[-20000000.0,-6283185307.179586],\n    [-20000000.0,6283185307.179586]",
            "poles[1] leads a pair without a positive imaginary part"},
           {"{\"name\":\"S11\"", "7,{\"name\":\"S11\"", "responses[0] is of type number, expected an object"},
           {"\"S21\"", "[]", "responses[1].name is of type array, expected a string"},
           {"\"constant\":0.5,", "", "responses[0] has no key \"constant\""},
           {"\"constant\":0.5", "\"constant\":[0.5]",
            "responses[0].constant is of type array, expected a number"},
           {"\"proportional\":1e-12,", "", "responses[1] has no key \"proportional\""},
           {"1e-12", "null", "responses[1].proportional is of type null, expected a number"},
           {",\"residues\":" + s11, "", "responses[0] has no key \"residues\""},
           {s11, "{}", "responses[0].residues is of type object, expected an array"},
           {s11, "[]", "responses[0].residues has 0 elements, expected 3"},
           {"[3e8,0.0],", "[3e8,0.0],[0,0],", "responses[0].residues has 4 elements, expected 3"},
           {"[-7e7,0.0]", "[-7e7]", "responses[1].residues[0] has 1 element, expected 2"},
           {"[-7e7,0.0]", "[-7e7,{}]", "responses[1].residues[0][1] is of type object, expected a number"},
           {"[-7e7,0.0]", "[-7e7,1e-300]",
            "responses[1].residues[0] is not real, as the residue of a real pole is"},
           {"[0.0,-2e5]", "[0.0,2e5]",
            "responses[1].residues[2] is not the exact conjugate of the one before it, as its pole is"},
           {"\"constant\":0.5", "\"constant\":1e999",
            "the text has a number beyond the range of a double at line 10, byte 34"},
           {"\"constant\":0.5", "\"constant\":NaN", "the text is not JSON at line 10, byte 30"},
           {"\"constant\":0.5", "\"constant\":.5", "the text is not JSON at line 10, byte 30"},
           {"\"constant\":0.5", "\"constant\":0,5", "the text is not JSON at line 10, byte 32"},
           {"\"constant\":0.5", "\"constant\":0.5,\"constant\":0.5",
            "the key \"constant\" stands twice in one object"},
           {"\"version\": 1,", "\"version\": 1, // first\n", "the text is not JSON at line 3, byte 17"},
           {"\"S11\"", "\"S\xff\"", "the text is not JSON at line 10, byte 15"},
       }) {
    EXPECT_EQ(refusal_of(example_with(part, replacement)), sentence);
  }
}

TEST(ModelJson, a_network_or_an_origin_that_does_not_follow_the_schema_is_refused_with_the_place) {
  struct Case {
    std::string part;
    std::string replacement;
    std::string sentence;
  };
  const std::string network = "\"network\": {\"parameter\":\"Z\",\"references\":[50.0,75.0]}";
  const std::string error = "\"error\":{\"rms\":0.002,\"relative\":4e-5,\"largest\":0.01}";
  for (const auto& [part, replacement, sentence] : std::vector<Case>{
           {network, "\"network\": null", "network is of type null, expected an object"},
           {"\"parameter\":\"Z\",", "", "network has no key \"parameter\""},
           {"\"Z\"", "7", "network.parameter is of type number, expected a string"},
           {"\"Z\"", "\"z\"", "network.parameter is none of S, Y and Z"},
           {"\"Z\"", "\"SY\"", "network.parameter is none of S, Y and Z"},
           {"\"Z\"", "\"\"", "network.parameter is none of S, Y and Z"},
           {"\"Z\"", "\"\\u0000\"", "network.parameter is none of S, Y and Z"},
           {",\"references\":[50.0,75.0]", "", "network has no key \"references\""},
           {"[50.0,75.0]", "50.0", "network.references is of type number, expected an array"},
           {"[50.0,75.0]", "[]", "network.references has 0 elements, expected one a port"},
           {"[50.0,75.0]", "[50.0]", "responses[0].column is 2, expected 1 to 1"},
           {"75.0", "\"75\"", "network.references[1] is of type string, expected a number"},
           {"75.0", "0.0", "network.references[1] is not a finite number above 0"},
           {"\"row\":1,", "", "responses[0] has no key \"row\""},
           {"\"column\":2,", "", "responses[0] has no key \"column\""},
           {"\"row\":2", "\"row\":true", "responses[1].row is of type boolean, expected a whole number"},
           {"\"row\":2", "\"row\":2.0", "responses[1].row is 2.0, expected a whole number of at least 0"},
           {"\"row\":2", "\"row\":-2", "responses[1].row is -2, expected a whole number of at least 0"},
           {"\"row\":2", "\"row\":0", "responses[1].row is 0, expected 1 to 2"},
           {"\"row\":2", "\"row\":18446744073709551615",
            "responses[1].row is 18446744073709551615, expected 1 to 2"},
           {"\"row\":2", "\"row\":18446744073709551616",
            "responses[1].row is 1.8446744073709552e+19, expected a whole number of at least 0"},
           {"\"row\":2", "\"row\":1", "responses[1] has the row and column of responses[0]"},
           {network + ",", "", "responses[0] has a key \"row\", the text has no key \"network\""},
           {"\"origin\": {", "\"origin\": [], \"_\": {", "origin is of type array, expected an object"},
           {"\"lowest\":0.0,", "", "origin has no key \"lowest\""},
           {"\"highest\":3e9,", "", "origin has no key \"highest\""},
           {",\"samples\":501", "", "origin has no key \"samples\""},
           {"\"samples\":501", "\"samples\":501.5",
            "origin.samples is 501.5, expected a whole number of at least 0"},
           {"\"lowest\":0.0", "\"lowest\":-1", "origin.lowest is not a finite number of at least 0"},
           {"\"lowest\":0.0", "\"lowest\":4e9", "origin.highest is below origin.lowest"},
           {error + ",", "", "responses[0] has no key \"error\""},
           {error, "\"error\":0.002", "responses[0].error is of type number, expected an object"},
           {"\"rms\":0.001,", "", "responses[1].error has no key \"rms\""},
           {"\"relative\":3e-5,", "", "responses[1].error has no key \"relative\""},
           {",\"largest\":0.004", "", "responses[1].error has no key \"largest\""},
           {"0.004", "null", "responses[1].error.largest is of type null, expected a number"},
           {"0.004", "-0.004", "responses[1].error.largest is not a finite number of at least 0"},
           {"\"origin\": {\"lowest\":0.0,\"highest\":3e9,\"samples\":501},", "",
            "responses[0] has a key \"error\", the text has no key \"origin\""},
       }) {
    EXPECT_EQ(refusal_of(text_with(network_text, part, replacement)), sentence);
  }
  EXPECT_EQ(refusal_of(example_with("\"S21\"", "\"S21\",\"column\":1")),
            "responses[1] has a key \"column\", the text has no key \"network\"");
}

TEST(ModelJson, a_certificate_that_does_not_follow_the_schema_is_refused_with_the_place) {
  struct Case {
    std::string part;
    std::string replacement;
    std::string sentence;
  };
  for (const auto& [part, replacement, sentence] : std::vector<Case>{
           {"\"passivity\": {", "\"passivity\": true, \"_\": {",
            "passivity is of type boolean, expected an object"},
           {"\"passive\":true,", "", "passivity has no key \"passive\""},
           {"true", "1", "passivity.passive is of type number, expected true or false"},
           {"\"tolerance\":1e-9,", "", "passivity has no key \"tolerance\""},
           {"1e-9", "-1e-9", "passivity.tolerance is not a finite number of at least 0"},
           {"\"extreme\":0.75,", "", "passivity has no key \"extreme\""},
           {"\"extreme\":0.75", "\"extreme\":\"0.75\"",
            "passivity.extreme is of type string, expected a number"},
           {",\"frequency\":\"infinite\"", "", "passivity has no key \"frequency\""},
           {"\"infinite\"", "\"inf\"", "passivity.frequency is \"inf\", expected a number or \"infinite\""},
           {"\"infinite\"", "null", "passivity.frequency is of type null, expected a number"},
           {"\"infinite\"", "-1", "passivity.frequency is not a number of at least 0"},
           {"[50.0]", "[50.0,50.0]",
            "passivity is that of a whole matrix, the model has not all elements of a matrix of 2 ports; "
            "S12, "
            "S21, S22 are missing"},
       }) {
    EXPECT_EQ(refusal_of(text_with(certified_text, part, replacement)), sentence);
  }
}

TEST(ModelJson, text_that_is_no_object_is_refused) {
  EXPECT_EQ(refusal_of(""), "the text is not JSON at line 1, byte 0");
  EXPECT_EQ(refusal_of("[]"), "the text is of type array, expected an object");
  EXPECT_EQ(refusal_of("null"), "the text is of type null, expected an object");
  EXPECT_EQ(refusal_of("1"), "the text is of type number, expected an object");
  EXPECT_EQ(refusal_of("{}"), "the text has no key \"format\"");
  EXPECT_EQ(refusal_of(example_text + "{}"), "the text is not JSON at line 14, byte 1");
  // Not an end of the text.
  EXPECT_EQ(refusal_of(example_text + std::string(1, '\0')), "the text is not JSON at line 14, byte 1");
  EXPECT_EQ(refusal_of(example_with("\"S11\"", "\"" + std::string(1, '\0') + "\"")),
            "the text is not JSON at line 10, byte 14");
}

TEST(ModelJson, deep_nesting_is_refused_wherever_it_is) {
  const std::string sentence = "the text nests deeper than 64 levels";
  const std::size_t deep = 1000000;
  std::string objects;
  for (std::size_t i = 0; i < deep; ++i) {
    objects += "{\"a\":";
  }
  EXPECT_EQ(refusal_of(std::string(deep, '[')), sentence);
  EXPECT_EQ(refusal_of(objects), sentence);
  const std::string bomb = std::string(deep, '[') + std::string(deep, ']');
  EXPECT_EQ(refusal_of(bomb), sentence);
  EXPECT_EQ(refusal_of(example_with("\"version\"", "\"later\": " + bomb + ", \"version\"")), sentence);
  EXPECT_EQ(refusal_of(example_with("[-7e7,0.0]", bomb)), sentence);
  // One level is the object of the text itself.
  const auto later = [](std::size_t levels) {
    return example_with(
        "\"version\"", "\"later\": " + std::string(levels, '[') + std::string(levels, ']') + ", \"version\"");
  };
  EXPECT_EQ(refusal_of(later(63)), "accepted");
  EXPECT_EQ(refusal_of(later(64)), sentence);
}

TEST(ModelJson, every_text_that_breaks_off_is_refused) {
  const std::size_t end = example_text.rfind('}');
  for (std::size_t length = 0; length <= end; ++length) {
    EXPECT_NE(refusal_of(example_text.substr(0, length)), "accepted") << length;
  }
}

TEST(ModelJson, a_changed_text_is_refused_or_read_as_a_model_that_can_be_written) {
  RandomNumbers numbers(7);
  const std::string pieces = "{}[],:\"0123456789.eE+-ntfu\\ \n\xff";
  const auto place_in = [&](const std::string& text) {
    return static_cast<std::size_t>(numbers.below(static_cast<int>(text.size()) + 1));
  };
  int accepted = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text = round % 3 == 0 ? example_text : round % 3 == 1 ? network_text : certified_text;
    for (int changes = 1 + numbers.below(4); changes > 0; --changes) {
      const std::size_t place = place_in(text);
      switch (numbers.below(4)) {
        case 0:
          text.insert(place, 1,
                      pieces[static_cast<std::size_t>(numbers.below(static_cast<int>(pieces.size())))]);
          break;
        case 1:
          text.erase(place, static_cast<std::size_t>(numbers.below(8)));
          break;
        case 2:
          text.insert(place,
                      std::string(text.substr(place_in(text), static_cast<std::size_t>(numbers.below(40)))));
          break;
        default:
          text.replace(place, 1, 1,
                       pieces[static_cast<std::size_t>(numbers.below(static_cast<int>(pieces.size())))]);
      }
    }
    try {
      const Model model = model_from_json(text);
      ASSERT_TRUE(same_model(model_from_json(to_json(model)), model)) << text;
      ++accepted;
    } catch (const Error& error) {
      ASSERT_EQ(error.kind(), ErrorKind::bad_model_file) << text;
    }
  }
  EXPECT_GT(accepted, 100);  // digits and blanks may change; else this test would be about syntax alone
}

/// A test with an empty directory of its own.
class ModelFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "polefit_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string path(const std::string& name) const { return (directory_ / name).string(); }
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }
  static std::string content_of(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
      result.push_back(entry.path().filename().string());
    }
    std::sort(result.begin(), result.end());
    return result;
  }

 private:
  std::filesystem::path directory_;
};

using Names = std::vector<std::string>;

TEST_F(ModelFile, a_saved_model_is_loaded_with_the_same_bits_and_nothing_else_is_left) {
  const std::string file = path("m.json");
  save(example_model(), file);
  EXPECT_EQ(content_of(file), to_json(example_model()));
  EXPECT_TRUE(same_model(load(file), example_model()));
  EXPECT_EQ(names(), Names{"m.json"});
}

TEST_F(ModelFile, a_model_that_cannot_be_written_leaves_the_old_file) {
  const std::string file = write("m.json", "old");
  Model model = example_model();
  model.constants[1] = quiet_nan;
  EXPECT_EQ(refusal([&] { save(model, file); }), "responses[1].constant is not a finite number");
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(names(), Names{"m.json"});
}

TEST_F(ModelFile, a_file_that_cannot_be_written_is_an_error) {
  EXPECT_EQ(refusal([&] { save(example_model(), path("missing/m.json")); }),
            path("missing/m.json") + ": found the system error \"" + std::generic_category().message(ENOENT) +
                "\", expected a folder in which a file can be made");
  EXPECT_EQ(refusal([&] { save(example_model(), path("")); }),
            path("") + ": found what is no regular file, expected a regular file or a name that is free");
}

TEST_F(ModelFile, a_file_that_cannot_be_read_is_an_error) {
  EXPECT_EQ(refusal([&] { load(path("missing")); }), path("missing") + ": found the system error \"" +
                                                         std::generic_category().message(ENOENT) +
                                                         "\", expected a file that can be opened");
  EXPECT_EQ(refusal([&] { load(path("m") + std::string("\0.json", 6)); }),
            "the name of a file: found a zero byte, expected a name that the system takes whole");
}

TEST_F(ModelFile, a_name_of_a_thousand_bytes_is_the_longest) {
  Model model = example_model();
  model.names[1] = std::string(1000, 'x');
  EXPECT_EQ(model_from_json(to_json(model)).names[1], model.names[1]);
  model.names[1] += 'x';
  EXPECT_EQ(refusal([&] { to_json(model); }), "responses[1].name has 1001 bytes, expected at most 1000");
}

TEST_F(ModelFile, what_is_wrong_with_a_file_is_said_with_its_name) {
  const std::string file = write("m.json", example_with("[-7e7,0.0],", ""));
  EXPECT_EQ(refusal([&] { load(file); }), file + ": responses[1].residues has 2 elements, expected 3");
  EXPECT_EQ(refusal([&] { load(write("empty", "")); }),
            path("empty") + ": the text is not JSON at line 1, byte 0");
}

}  // namespace
}  // namespace polefit
