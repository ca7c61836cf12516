/// A search for the order ends on any data, soon, with a model that is a real system, or with a sentence.

#include <cmath>
#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/order_search.hpp"

namespace {

using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::number;

/// Of plain numbers.
constexpr double parts = 16.0;

struct Request {
  explicit Request(Bytes& bytes) {
    const int kind = bytes.take<std::uint8_t>();
    const bool any = (kind & 1) != 0;
    const auto responses = static_cast<std::size_t>(1 + bytes.take_up_to(1));
    const auto samples = static_cast<std::size_t>(1 + bytes.take_up_to(15));
    for (std::size_t k = 0; k < samples; ++k) {
      frequencies.push_back((kind & 2) != 0 ? std::abs(number(bytes, any, parts)) : static_cast<double>(k));
    }
    const int weighted = (kind >> 2) & 3;
    for (std::size_t k = 0; weighted > 1 && k < (weighted == 2 ? samples : responses * samples); ++k) {
      weights.push_back(std::abs(number(bytes, any, parts)));
    }
    options.constant = (kind & 16) == 0;
    options.proportional = (kind & 32) != 0;
    options.orthogonal = (kind & 64) != 0;
    if ((kind & 128) != 0) {
      options.exact_sample = bytes.take_up_to(15);
    }
    target.error = std::pow(10.0, -bytes.take_up_to(14));
    target.measure = static_cast<polefit::Measure>(bytes.take_up_to(2));
    for (std::size_t i = 0; i < responses * samples; ++i) {
      const double re = number(bytes, any, parts);
      values.emplace_back(re, number(bytes, any, parts));
    }
    data = {frequencies, polefit::Responses::by_response(values, responses), {}, weights};
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  std::vector<double> frequencies;
  std::vector<std::complex<double>> values;
  std::vector<double> weights;
  polefit::NetworkData data;
  polefit::Target target;
  polefit::Options options;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  Request request(bytes);
  int steps = 0;
  request.options.progress = [&](const polefit::Progress&) {
    check(++steps < 5000, "a search of up to 8 poles takes no more than some hundred steps");
    return true;
  };
  try {
    const polefit::Search search = polefit::fit_to_error(request.data, request.target, request.options);
    const polefit::Model& model = search.fit.model;
    polefit::check(model);
    check(2 * model.poles.size() <= request.frequencies.size(), "half as many poles as samples at most");
    for (const std::complex<double> pole : model.poles) {
      check(pole.real() < 0.0, "poles are in the left half-plane");
    }
    for (const std::complex<double> residue : model.residues) {
      check(std::isfinite(residue.real()) && std::isfinite(residue.imag()), "residues are finite");
    }
    check(search.end != polefit::SearchEnd::target_met || search.error <= request.target.error,
          "a target that is met is");
    check(!search.fit.report.finding.empty(), "an end is told");
  } catch (const polefit::Error& error) {
    check(std::string(error.what()).size() > 10, "a refusal says why");
  }
  return 0;
}
