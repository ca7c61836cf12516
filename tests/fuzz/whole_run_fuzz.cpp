/// A whole run on any small problem ends in one of the ways a run may end, with its result files to match.

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/driver/s_solver.hpp"
#include "text/free_format_writer.hpp"
#include "text/io_error.hpp"

namespace {

using s_solver::fuzz::check;

constexpr std::string_view earlier_content = "left by an earlier run\n";

std::vector<std::string> lines_of(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// Any double, often an ordinary one.
double take_number(s_solver::fuzz::Bytes& bytes) {
  switch (bytes.take_up_to(3)) {
    case 0:
      return bytes.take<double>();
    case 1:
      return bytes.take<std::int8_t>();
    case 2:
      return bytes.take<std::int16_t>() / 64.0;
    default:
      return std::ldexp(bytes.take<std::int16_t>(), bytes.take<std::int8_t>());
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  const std::filesystem::path place = s_solver::fuzz::own_directory() / "tmp_S_Par";
  const int nf = bytes.take_up_to(12);
  const int order = bytes.take_up_to(6);
  const int max_iterations = bytes.take_up_to(4);
  const int keywords = bytes.take_up_to(15);
  const s_solver::ProgramConstants constants{
      .test_set = 0, .verbose = bytes.take_up_to(1) == 1, .use_svd_invert = bytes.take_up_to(1) == 1};

  std::string samples;
  for (int k = 0; k < nf; ++k) {
    const double frequency = take_number(bytes);
    const double re = take_number(bytes);
    const double im = take_number(bytes);
    samples += text::free_format_record(frequency, re, im) + "\n";
  }
  s_solver::fuzz::write_file(place / "f_data.in", samples);
  s_solver::fuzz::write_file(place / "f_data.ini",
                             std::to_string(order) + "\n" + std::to_string(max_iterations) + "\n");
  s_solver::fuzz::write_file(place / "Tarn.coe", earlier_content);
  s_solver::fuzz::write_file(place / "f_data.out", earlier_content);

  const std::array<const char*, 4> arguments{
      (keywords & 1) != 0 ? "const" : "noconst", (keywords & 2) != 0 ? "sterm" : "nosterm",
      (keywords & 4) != 0 ? "logf" : "nologf", (keywords & 8) != 0 ? "cmplx" : "nocmplx"};
  bool completed = true;
  try {
    s_solver::S_Solver(constants, static_cast<int>(arguments.size()), arguments.data());
  } catch (const s_solver::PlainStop&) {
    completed = false;
  }

  const std::vector<std::string> model = lines_of(place / "Tarn.coe");
  const std::vector<std::string> plot = lines_of(place / "f_data.out");
  if (completed) {
    check(model.size() == static_cast<std::size_t>(8 + order), "the coefficient file is complete");
    check(plot.size() == static_cast<std::size_t>(2 + nf), "the plot file is complete");
    for (std::size_t k = 2; k < plot.size(); ++k) {
      check(plot[k].size() == 112, "a record of the plot file has seven columns");
    }
  } else {
    check(model.size() == 1 && plot.size() == 1, "the result files are untouched");
  }
  return 0;
}
