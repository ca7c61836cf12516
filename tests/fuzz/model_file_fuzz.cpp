/// A text is refused as a model file, or it is a model that is written and read back the same and that every
/// function takes.

#include <algorithm>
#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/error.hpp"
#include "polefit/model_file.hpp"

namespace {

using s_solver::fuzz::check;

/// A NaN is no number here, so that no two are the same.
bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) && !std::isnan(a);
}
bool same_bits(std::complex<double> a, std::complex<double> b) {
  return same_bits(a.real(), b.real()) && same_bits(a.imag(), b.imag());
}
bool same_bits(const polefit::ResponseError& a, const polefit::ResponseError& b) {
  return same_bits(a.rms, b.rms) && same_bits(a.relative, b.relative) && same_bits(a.largest, b.largest);
}
template <class Item>
bool same_bits(const std::vector<Item>& a, const std::vector<Item>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const Item& x, const Item& y) { return same_bits(x, y); });
}

void check_same(const polefit::Model& a, const polefit::Model& b) {
  check(same_bits(a.poles, b.poles) && same_bits(a.residues, b.residues), "poles and residues are kept");
  check(same_bits(a.constants, b.constants) && same_bits(a.proportionals, b.proportionals),
        "constant and proportional terms are kept");
  check(a.names == b.names, "names are kept");
  check(a.network.has_value() == b.network.has_value() && a.origin.has_value() == b.origin.has_value(),
        "network and origin are kept");
  if (a.network) {
    check(a.network->parameter == b.network->parameter && a.network->elements == b.network->elements &&
              same_bits(a.network->references, b.network->references),
          "the network is kept");
  }
  if (a.origin) {
    check(same_bits(a.origin->lowest, b.origin->lowest) && same_bits(a.origin->highest, b.origin->highest) &&
              a.origin->samples == b.origin->samples && same_bits(a.origin->errors, b.origin->errors),
          "the origin is kept");
  }
  check(a.passivity.has_value() == b.passivity.has_value(), "what was certified is kept");
  if (a.passivity) {
    check(a.passivity->passive == b.passivity->passive &&
              same_bits(a.passivity->tolerance, b.passivity->tolerance) &&
              same_bits(a.passivity->extreme, b.passivity->extreme) &&
              same_bits(a.passivity->frequency, b.passivity->frequency),
          "the numbers that were certified are kept");
  }
}

std::optional<polefit::Model> read(const std::string& text) {
  try {
    return polefit::model_from_json(text);
  } catch (const polefit::Error& error) {
    check(error.kind() == polefit::ErrorKind::bad_model_file, "a refusal is one of a model file");
    check(*error.what() != '\0', "a refusal says something");
    return std::nullopt;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto model = read(std::string(s_solver::fuzz::Bytes(data, size).rest()));
  if (!model) {
    return 0;
  }
  check_same(polefit::model_from_json(polefit::to_json(*model)), *model);
  const std::vector<double> frequencies{0.0, 1.0, 1e9};
  check(polefit::evaluate(*model, frequencies).size() == frequencies.size() * model->responses(),
        "each response has a value at each frequency");
  const polefit::StateSpace system = polefit::state_space(*model);
  check(system.order == model->poles.size() && system.a.size() == system.order * system.order &&
            system.c.size() == system.order * model->responses(),
        "the state space has a state a pole and an output a response");
  return 0;
}
