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

}  // namespace polefit
