#include "polefit/model_file.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <span>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace {

/// The system call that fails next, for steps that nothing else can make fail.
enum class Step { none, permissions, synchronise, close, rename };
Step failing = Step::none;

bool fails(Step step) {
  if (failing != step) {
    return false;
  }
  failing = Step::none;
  errno = EIO;
  return true;
}

}  // namespace

// These stand before the system library's, whose parameters have reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {
int fchmod(int file, mode_t mode) noexcept {
  return fails(Step::permissions) ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
int fsync(int file) { return fails(Step::synchronise) ? -1 : static_cast<int>(syscall(SYS_fsync, file)); }
int close(int file) {
  const int result = static_cast<int>(syscall(SYS_close, file));  // the descriptor is gone in either case
  return fails(Step::close) ? -1 : result;
}
int rename(const char* from, const char* to) noexcept {
  return fails(Step::rename) ? -1 : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace polefit {
namespace {

using namespace s_solver::testing_support;
using s_solver::testing_support::nan;  // not the one of <math.h>

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

bool same_model(const Model& a, const Model& b) {
  return same_bits(a.poles, b.poles) && same_bits(a.residues, b.residues) &&
         same_bits(a.constants, b.constants) && same_bits(a.proportionals, b.proportionals) &&
         a.names == b.names;
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

/// The example with one part replaced.
std::string example_with(const std::string& part, const std::string& replacement) {
  std::string text = example_text;
  const auto place = text.find(part);
  EXPECT_NE(place, std::string::npos) << part;
  return place == std::string::npos ? text : text.replace(place, part.size(), replacement);
}

// ---- to_json and model_from_json

TEST(ModelJson, the_documented_example_is_read_as_its_model) {
  EXPECT_TRUE(same_model(model_from_json(example_text), example_model()));
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
    double value = nan;
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
  EXPECT_EQ(refused([](Model& m) { m.poles[1].real(nan); }), "poles[1] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.poles[2].imag(-infinity); }), "poles[2] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.residues[4].imag(infinity); }),
            "responses[1].residues[1] is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.constants[0] = nan; }), "responses[0].constant is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.proportionals[1] = infinity; }),
            "responses[1].proportional is not a finite number");
  EXPECT_EQ(refused([](Model& m) { m.residues.pop_back(); }), "the model has 5 residues, expected 6");
  EXPECT_EQ(refused([](Model& m) { m.proportionals.clear(); }),
            "the model has 0 proportional terms, expected 2");
  EXPECT_EQ(refused([](Model& m) { m.names.pop_back(); }), "the model has 1 names, expected 2");
  EXPECT_EQ(refused([](Model& m) { std::swap(m.poles[1], m.poles[2]); }),
            "poles[1] leads a pair without a positive imaginary part");
  EXPECT_EQ(refused([](Model& m) { m.residues[0].imag(1.0); }),
            "responses[0].residues[0] is not real, as the residue of a real pole is");
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
    std::string text = example_text;
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

// ---- save and load

/// A test with an empty directory of its own.
class ModelFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "polefit_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
  }
  void TearDown() override {
    failing = Step::none;
    std::filesystem::remove_all(directory_);
  }

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
  static mode_t permissions(const std::string& file) {
    struct stat status = {};
    EXPECT_EQ(stat(file.c_str(), &status), 0) << file;
    return status.st_mode & 07777;
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

TEST_F(ModelFile, a_name_without_a_directory_is_one_in_the_working_directory) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(path(""));
  save(example_model(), "m.json");
  const Model model = load("m.json");
  std::filesystem::current_path(before);
  EXPECT_TRUE(same_model(model, example_model()));
  EXPECT_EQ(names(), Names{"m.json"});
}

TEST_F(ModelFile, the_longest_name_of_the_system_can_be_saved) {
  const std::string name(255, 'm');
  save(example_model(), path(name));
  EXPECT_EQ(names(), Names{name});
}

TEST_F(ModelFile, a_longer_file_is_replaced_wholly_and_keeps_its_permissions) {
  const std::string file = write("m.json", std::string(100000, 'x'));
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  save(example_model(), file);
  EXPECT_EQ(content_of(file), to_json(example_model()));
  EXPECT_EQ(permissions(file), 0640U);
}

TEST_F(ModelFile, a_new_file_has_the_permissions_that_the_mask_leaves) {
  const mode_t before = umask(027);
  save(example_model(), path("m.json"));
  umask(before);
  EXPECT_EQ(permissions(path("m.json")), 0640U);
}

TEST_F(ModelFile, a_reader_of_the_old_file_keeps_the_old_file) {
  const std::string file = write("m.json", "old");
  std::ifstream reader(file, std::ios::binary);
  save(example_model(), file);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

TEST_F(ModelFile, a_link_stays_a_link_to_the_saved_file) {
  std::filesystem::create_directory(path("store"));
  write("store/m.json", "old");
  std::filesystem::create_symlink("store/m.json", path("link"));
  save(example_model(), path("link"));
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(content_of(path("store/m.json")), to_json(example_model()));
  EXPECT_EQ(names(), (Names{"link", "store"}));
}

TEST_F(ModelFile, when_a_step_fails_the_old_file_stays_and_the_temporary_one_goes) {
  const std::string file = write("m.json", "old");
  const std::string reason = ": " + std::generic_category().message(EIO);
  for (const auto& [step, sentence] :
       {std::pair(Step::permissions, "cannot be written, its permissions cannot be kept"),
        std::pair(Step::synchronise, "cannot be written to the disk"),
        std::pair(Step::close, "cannot be closed after writing"),
        std::pair(Step::rename, "cannot be replaced")}) {
    failing = step;
    EXPECT_EQ(refusal([&] { save(example_model(), file); }), file + " " + sentence + reason);
    EXPECT_EQ(failing, Step::none) << sentence;
    EXPECT_EQ(content_of(file), "old") << sentence;
    EXPECT_EQ(names(), Names{"m.json"}) << sentence;
  }
}

TEST_F(ModelFile, a_disk_that_fills_up_leaves_the_old_file) {
  const std::string file = write("m.json", "old");
  // A limit on the size of files is what a test can have of a full disk; the write that crosses it is a short
  // one.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit tight{100, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  const std::string sentence = refusal([&] { save(example_model(), file); });
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(sentence, file + " cannot be written: " + std::generic_category().message(EFBIG));
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(names(), Names{"m.json"});
}

TEST_F(ModelFile, a_model_that_cannot_be_written_leaves_the_old_file) {
  const std::string file = write("m.json", "old");
  Model model = example_model();
  model.constants[1] = nan;
  EXPECT_EQ(refusal([&] { save(model, file); }), "responses[1].constant is not a finite number");
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(names(), Names{"m.json"});
}

TEST_F(ModelFile, a_directory_that_takes_no_files_is_an_error) {
  const std::string file = path("missing/m.json");
  EXPECT_EQ(
      refusal([&] { save(example_model(), file); }),
      file + " cannot be written, no file can be made beside it: " + std::generic_category().message(ENOENT));
  // A directory that refuses even a privileged user.
  EXPECT_NE(refusal([] { save(example_model(), "/proc/self/m.json"); }), "accepted");
}

TEST_F(ModelFile, what_is_no_regular_file_is_not_replaced) {
  std::filesystem::create_directory(path("m.json"));
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("pipe", path("link"));  // never a device: a mistake would replace it
  for (const char* name : {"m.json", "pipe", "link"}) {
    EXPECT_EQ(refusal([&] { save(example_model(), path(name)); }),
              path(name) + " cannot be written, it is not a regular file");
  }
  EXPECT_TRUE(std::filesystem::is_fifo(path("pipe")));
  EXPECT_EQ(names(), (Names{"link", "m.json", "pipe"}));
}

TEST_F(ModelFile, a_name_that_the_system_would_take_for_another_is_refused) {
  const std::string sentence = "the name of a model file is empty or has a zero byte in it";
  for (const std::string& name : {std::string(), path("m") + std::string("\0.json", 6)}) {
    EXPECT_EQ(refusal([&] { save(example_model(), name); }), sentence);
    EXPECT_EQ(refusal([&] { load(name); }), sentence);
  }
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFile, a_file_that_cannot_be_read_is_an_error) {
  EXPECT_EQ(refusal([&] { load(path("missing")); }),
            path("missing") + " cannot be opened: " + std::generic_category().message(ENOENT));
  EXPECT_EQ(refusal([&] { load(path("")); }),
            path("") + " cannot be read: " + std::generic_category().message(EISDIR));
}

TEST_F(ModelFile, what_is_wrong_with_a_file_is_said_with_its_name) {
  const std::string file = write("m.json", example_with("[-7e7,0.0],", ""));
  EXPECT_EQ(refusal([&] { load(file); }), file + ": responses[1].residues has 2 elements, expected 3");
  EXPECT_EQ(refusal([&] { load(write("empty", "")); }),
            path("empty") + ": the text is not JSON at line 1, byte 0");
}

TEST_F(ModelFile, a_file_larger_than_a_read_is_loaded_wholly) {
  Model model;
  RandomNumbers numbers(1);
  for (int i = 0; i < 20000; ++i) {
    model.poles.emplace_back(numbers());
  }
  save(model, path("m.json"));
  EXPECT_GT(std::filesystem::file_size(path("m.json")), 200000U);
  EXPECT_TRUE(same_model(load(path("m.json")), model));
}

}  // namespace
}  // namespace polefit
