#include "s_solver/driver/command_line.hpp"

#include <array>
#include <cstddef>
#include <string_view>

#include "text/file_name.hpp"

namespace s_solver {
namespace {

struct Keyword {
  std::string_view text;
  int FitOptions::*flag;
  int value;
};

constexpr std::array<Keyword, 8> keywords{{
    {"const", &FitOptions::use_const, 1},
    {"noconst", &FitOptions::use_const, 0},
    {"sterm", &FitOptions::use_sterm, 1},
    {"nosterm", &FitOptions::use_sterm, 0},
    {"logf", &FitOptions::use_logf, 1},
    {"nologf", &FitOptions::use_logf, 0},
    {"cmplx", &FitOptions::use_cmplx, 1},
    {"nocmplx", &FitOptions::use_cmplx, 0},
}};

constexpr std::size_t longest_argument = 256;

}  // namespace

void scan_command_line(int count, const char* const* arguments, FitOptions& options) {
  for (int i = 0; i < count; ++i) {
    const std::string_view argument(arguments[i]);
    if (argument.empty()) {
      return;
    }
    const std::string_view word = text::without_trailing_blanks(argument.substr(0, longest_argument));
    for (const Keyword& keyword : keywords) {
      if (word == keyword.text) {
        options.*keyword.flag = keyword.value;
      }
    }
  }
}

}  // namespace s_solver
