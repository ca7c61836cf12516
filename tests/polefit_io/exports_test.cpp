#include "polefit/exports.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace {

using namespace polefit;
using testing_support::infinity;
using testing_support::quiet_nan;

Model one_port() {
  return {.poles = {-1e9},
          .residues = {1e9},
          .constants = {0},
          .proportionals = {0},
          .names = {},
          .network = NetworkMatrix{.parameter = 'S', .references = {50}, .elements = {{1, 1}}},
          .origin = Origin{.lowest = 1e6, .highest = 1e9, .samples = 3, .errors = {{}}}};
}

bool refused(const std::function<std::string()>& text) {
  try {
    text();
  } catch (const Error&) {
    return true;
  }
  return false;
}

TEST(Exports, bytes_of_a_callers_own_are_the_whole_file_or_an_error_and_the_old_one) {
  const std::string folder = testing::TempDir();
  const std::string file = folder + "export_of_a_caller";
  const auto content = [&] {
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  };
  const std::string bytes("PK\0\n\r\xff", 6);
  write_export(file, "old, and longer than what replaces it");
  write_export(file, bytes);
  EXPECT_EQ(content(), bytes);
  EXPECT_THROW(write_export(file + "/below", "new"), Error);
  EXPECT_EQ(content(), bytes);
  std::filesystem::remove(file);
}

TEST(Exports, a_model_with_a_number_that_is_not_finite_is_refused_by_all) {
  const std::vector<std::function<void(Model&, double)>> places{
      [](Model& m, double x) { m.poles[0] = x; },       [](Model& m, double x) { m.residues[0] = x; },
      [](Model& m, double x) { m.constants[0] = x; },   [](Model& m, double x) { m.proportionals[0] = x; },
      [](Model& m, double x) { m.origin->lowest = x; }, [](Model& m, double x) { m.origin->highest = x; }};
  EXPECT_FALSE(refused([] { return spice_subcircuit(one_port(), "dut"); }));
  EXPECT_FALSE(refused([] { return state_space_text(one_port()); }));
  EXPECT_FALSE(refused([] { return s_solver_coefficients(one_port(), 0); }));
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (const double number : {quiet_nan, infinity}) {
      SCOPED_TRACE(i);
      Model model = one_port();
      places[i](model, number);
      EXPECT_TRUE(refused([&] { return spice_subcircuit(model, "dut"); }));
      EXPECT_TRUE(refused([&] { return state_space_text(model); }));
      EXPECT_TRUE(refused([&] { return s_solver_coefficients(model, 0); }));
    }
  }
}

}  // namespace
