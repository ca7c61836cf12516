/// Fits the samples of 1 / (s + 2 pi 1e9) and prints the pole in hertz.

#include <complex>
#include <cstdio>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/fit.hpp"
#include "polefit/model_file.hpp"
#include "polefit/order_search.hpp"

namespace {

bool fits_and_saves() {
  constexpr double two_pi = 6.283185307179586;
  std::vector<double> frequencies;
  std::vector<std::complex<double>> values;
  for (int k = 1; k <= 50; ++k) {
    frequencies.push_back(1e8 * k);
    values.push_back(1e9 / std::complex<double>(two_pi * 1e9, two_pi * frequencies.back()));
  }
  const polefit::NetworkData data{frequencies, polefit::Responses::by_response(values, 1), {}, {}};
  polefit::Options options;
  options.complex_pairs = 0;
  options.real_poles = 1;
  const polefit::Fit fit = polefit::fit(data, options);
  std::printf("%.6g\n", fit.model.poles[0].real() / two_pi);
  return polefit::model_from_json(polefit::to_json(fit.model)).poles == fit.model.poles;
}

}  // namespace

int main() {
  try {
    return fits_and_saves() ? 0 : 1;
  } catch (const polefit::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
