/// The eigenvalues of any small matrix come back, pairs adjacent and exactly conjugate, or the run stops.

#include <complex>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/dmatrix/deig.hpp"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::own_directory();  // silences the messages
  s_solver::fuzz::Bytes bytes(data, size);
  const int n = 1 + bytes.take_up_to(7);
  std::vector<double> a(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
  for (double& element : a) {
    element = bytes.take<double>();
  }
  std::vector<std::complex<double>> zeros(static_cast<std::size_t>(n));
  try {
    s_solver::deig(a.data(), n, zeros.data(), n);
  } catch (const s_solver::PlainStop&) {
    return 0;
  }
  for (std::size_t i = 0; i < zeros.size(); ++i) {
    if (!(zeros[i].imag() == 0.0) && !std::isnan(zeros[i].imag())) {
      s_solver::fuzz::check(zeros[i].imag() > 0.0 && i + 1 < zeros.size(),
                            "a pair begins above the real axis");
      s_solver::fuzz::check(zeros[i + 1] == std::conj(zeros[i]), "a pair is exactly conjugate");
      ++i;
    }
  }
  return 0;
}
