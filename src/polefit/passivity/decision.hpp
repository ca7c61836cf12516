/// Whether a model stays below a limit, by whatever can tell.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>

#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/hamiltonian.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

struct Decision {
  Certificate certificate;
  std::optional<HamiltonianDecision> hamiltonian;  ///< where the certificate could not tell

  bool decided() const { return certificate.decided || certificate.witness || hamiltonian; }
  bool holds() const { return hamiltonian ? hamiltonian->holds : certificate.holds; }
};

/// By the certificate, and where rounding keeps that from telling, as beside resonances without losses, by
/// the Hamiltonian matrix of a model that is not large.
///
/// limit, most   as certify
Decision decide(const ScaledModel& model, double limit,
                std::size_t most = std::numeric_limits<std::size_t>::max());

/// The same of a model in the making, with its limit and a tolerance: without the least that its eigenvalues
/// are to be, and no larger than in units of its own size, by which it will be judged.
Decision decide_as_result(ScaledModel model, double tolerance, std::size_t most);

}  // namespace polefit
