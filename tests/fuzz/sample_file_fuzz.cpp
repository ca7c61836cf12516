/// The sample file reader counts and stores what the reference reading finds, and never writes past its room.

#include <array>
#include <complex>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "s_solver/driver/sample_file.hpp"
#include "text/io_error.hpp"

namespace {

using s_solver::fuzz::check;
using s_solver::fuzz::same_number;

constexpr const char* file_name = "..\\tmp_S_Par\\f_data.in";

struct Reading {
  bool accepted = false;
  int nf = 0;
  double fmin = 0.0;
  double fmax = 0.0;
};

Reading read(int read_mode, int room, std::vector<std::complex<double>>& s,
             std::vector<std::complex<double>>& f) {
  Reading reading{.nf = room};
  try {
    s_solver::read_data_from_file(file_name, read_mode, reading.nf, reading.fmin, reading.fmax, s.data(),
                                  f.data());
    reading.accepted = true;
  } catch (const text::IoError&) {
    // A refusal; whether it is due, the caller knows.
  }
  return reading;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  s_solver::fuzz::write_file(s_solver::fuzz::own_directory() / "tmp_S_Par" / "f_data.in", bytes.rest());

  s_solver::fuzz::ReferenceReader reference(bytes.rest());
  std::vector<std::vector<double>> samples;
  std::vector<double> sample(3, 0.0);
  auto end = reference.read(sample);
  for (; end == s_solver::fuzz::ReferenceReader::End::complete; end = reference.read(sample)) {
    samples.push_back(sample);
  }
  const bool acceptable = end == s_solver::fuzz::ReferenceReader::End::end_of_file;

  std::vector<std::complex<double>> s;
  std::vector<std::complex<double>> f;
  const Reading counted = read(s_solver::count_only, 0, s, f);
  check(counted.accepted == acceptable, "the count refuses what is no sample file");
  if (!acceptable) {
    return 0;
  }
  check(counted.nf == static_cast<int>(samples.size()), "the count is right");
  check(counted.fmin == 1.0e30 && counted.fmax == 0.0, "counting leaves the band as it starts");

  s.resize(samples.size());
  f.resize(samples.size());
  const Reading stored = read(s_solver::count_and_store, counted.nf, s, f);
  check(stored.accepted && stored.nf == counted.nf, "the second reading finds the same");
  double fmin = 1.0e30;
  double fmax = 0.0;
  for (std::size_t k = 0; k < samples.size(); ++k) {
    const double frequency = samples[k][0];
    fmin = frequency < fmin ? frequency : fmin;
    fmax = frequency > fmax ? frequency : fmax;
    check(same_number(s[k].real(), 0.0) && same_number(s[k].imag(), frequency * 6.283185307179586),
          "a sample point is j 2 pi frequency");
    check(same_number(f[k].real(), samples[k][1]) && same_number(f[k].imag(), samples[k][2]),
          "a value is stored");
  }
  check(same_number(stored.fmin, fmin) && same_number(stored.fmax, fmax), "the band is right");

  if (!samples.empty()) {
    s.resize(samples.size() - 1);
    f.resize(samples.size() - 1);
    s.shrink_to_fit();
    f.shrink_to_fit();
    check(!read(s_solver::count_and_store, counted.nf - 1, s, f).accepted,
          "a file that has grown is refused");
  }
  return 0;
}
