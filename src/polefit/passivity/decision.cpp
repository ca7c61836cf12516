#include "polefit/passivity/decision.hpp"

#include <algorithm>

namespace polefit {
namespace {

/// A Hamiltonian of this order takes as long as some hundred of the pieces that did not decide.
constexpr std::size_t largest_hamiltonian = 400;
/// Pieces after which it is asked first: few models need more that do not touch the limit.
constexpr std::size_t pieces_before = 5000;

}  // namespace

Decision decide(const ScaledModel& model, double limit, std::size_t most) {
  const bool has_hamiltonian = hamiltonian_order(model) <= largest_hamiltonian;
  const std::size_t first = has_hamiltonian ? std::min(most, pieces_before) : most;
  Decision decision{certify(model, limit, Thoroughness::yes_or_no, first), std::nullopt};
  if (!decision.decided() && has_hamiltonian) {
    decision.hamiltonian = decide_by_hamiltonian(model, limit);
  }
  if (!decision.decided() && first < most) {
    decision.certificate = certify(model, limit, Thoroughness::yes_or_no, most);
  }
  return decision;
}

Decision decide_as_result(ScaledModel model, double tolerance, std::size_t most) {
  model.least = 0.0;
  if (!model.scattering) {
    model.scale = std::min(model.scale, size_of(model));
  }
  return decide(model, model.limit() + tolerance, most);
}

}  // namespace polefit
