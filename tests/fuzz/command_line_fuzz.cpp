/// The scan of the command line does what its keywords say, in order, up to an empty argument.

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "s_solver/driver/command_line.hpp"

namespace {

/// Whether `argument`, cut to 256 characters, is `keyword` and then only blanks.
bool is_keyword(const std::string& argument, const std::string& keyword) {
  std::string padded = argument.substr(0, 256);
  padded.resize(256, ' ');
  std::string wanted = keyword;
  wanted.resize(256, ' ');
  return padded == wanted;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> arguments(1);
  for (const char c : s_solver::fuzz::Bytes(data, size).rest()) {
    if (c == '\0') {
      arguments.emplace_back();
    } else {
      arguments.back() += c;
    }
  }
  std::vector<const char*> pointers;
  std::transform(arguments.begin(), arguments.end(), std::back_inserter(pointers),
                 [](const std::string& argument) { return argument.c_str(); });
  s_solver::FitOptions options;
  s_solver::scan_command_line(static_cast<int>(pointers.size()), pointers.data(), options);

  s_solver::FitOptions expected;
  for (const std::string& argument : arguments) {
    if (argument.empty()) {
      break;
    }
    for (const auto& [name, flag] :
         {std::pair("const", &expected.use_const), std::pair("sterm", &expected.use_sterm),
          std::pair("logf", &expected.use_logf), std::pair("cmplx", &expected.use_cmplx)}) {
      if (is_keyword(argument, name)) {
        *flag = 1;
      }
      if (is_keyword(argument, std::string("no") + name)) {
        *flag = 0;
      }
    }
  }
  s_solver::fuzz::check(options.use_const == expected.use_const && options.use_sterm == expected.use_sterm &&
                            options.use_logf == expected.use_logf && options.use_cmplx == expected.use_cmplx,
                        "the options agree");
  return 0;
}
