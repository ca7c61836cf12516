#include "polefit/passivity.hpp"

#include <cmath>
#include <limits>
#include <optional>

#include "numerics/angular_frequency.hpp"
#include "numerics/hermitian_eigenvalues.hpp"
#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/decision.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {
namespace {

/// Parts of the largest element by which a matrix of proportional terms may miss symmetry, or its least
/// eigenvalue 0.
constexpr double rounding = 1e-12;

/// The largest value is not only looked for, but certified to be the largest, where that takes no long time.
constexpr std::size_t ports_to_be_certain = 32;
constexpr std::size_t pieces_to_be_certain = 2000;

/// What is wrong with E, which only matters where s is large.
std::string proportional_fault(const ScaledModel& model) {
  const Matrix& e = model.e;
  double largest = 0.0;
  double asymmetry = 0.0;
  ComplexMatrix symmetric(e.rows, e.columns);
  for (std::size_t j = 0; j < e.columns; ++j) {
    for (std::size_t i = 0; i < e.rows; ++i) {
      largest = std::max(largest, std::abs(e(i, j)));
      asymmetry = std::max(asymmetry, std::abs(e(i, j) - e(j, i)));
      symmetric.re(i, j) = 0.5 * (e(i, j) + e(j, i));
    }
  }
  if (largest == 0.0) {
    return "";
  }
  if (model.scattering) {
    return "S grows with the frequency";
  }
  if (asymmetry > rounding * largest) {
    return "the terms proportional to s are not symmetric";
  }
  const auto found = numerics::hermitian_eigenvalues(symmetric, false);
  return found && found->values.front() >= -rounding * largest
             ? ""
             : "the terms proportional to s have a negative eigenvalue";
}

CrossedInterval interval_of(const Piece& piece) {
  return {piece.frequency(piece.reciprocal ? piece.high : piece.low),
          piece.frequency(piece.reciprocal ? piece.low : piece.high)};
}

/// The violating pieces that follow each other without a gap, as intervals of omega. Where nothing can be
/// told between two of them there is none.
std::vector<CrossedInterval> joined(const Certificate& certificate) {
  constexpr double rounded = 1.0 + 1e-12;  // ends of the same frequency, of omega and of its reciprocal
  std::vector<CrossedInterval> intervals;
  auto untold = certificate.untold.begin();
  double reached = -1.0;
  for (const Piece& piece : certificate.violating) {
    const CrossedInterval next = interval_of(piece);
    for (; untold != certificate.untold.end() && interval_of(*untold).lowest < next.lowest; ++untold) {
      if (interval_of(*untold).lowest <= reached * rounded) {
        reached = interval_of(*untold).highest;
      }
    }
    if (!intervals.empty() && next.lowest <= reached * rounded) {
      intervals.back().highest = next.highest;
    } else {
      intervals.push_back(next);
    }
    reached = next.highest;
  }
  return intervals;
}

}  // namespace

Passivity passivity(const Model& model) {
  const ScaledModel scaled = scaled_model(model);
  Passivity result;
  const double touching = scaled.limit() + result.tolerance;
  ScaledModel judged = scaled;
  judged.by_norm = true;
  const auto in_hertz = [&](double omega) { return omega * scaled.unit / numerics::two_pi; };
  const auto value = [&](double omega) {
    const double measure = measure_at(scaled, omega);
    return scaled.scattering ? measure : -measure * scaled.scale;
  };

  const Decision decision = decide(judged, touching);
  const bool holds = decision.holds();
  result.pieces = decision.certificate.pieces;
  result.decided = decision.decided();
  result.method = decision.hamiltonian ? PassivityMethod::hamiltonian : PassivityMethod::certificate;
  result.proportional_fault = proportional_fault(scaled);
  result.passive = holds && result.proportional_fault.empty();
  const auto largest_of = [&](const ScaledModel& looked_at) {
    const Scan scan(looked_at);
    return scaled.ports <= ports_to_be_certain ? scan.certified_largest(pieces_to_be_certain)
                                               : scan.largest();
  };
  Extreme extreme = largest_of(scaled);
  if (holds && extreme.measure > scaled.limit() && !scaled.scattering) {
    // Rounding at the height of a resonance, where it tells nothing.
    extreme = largest_of(judged);
  }
  result.extreme = value(extreme.omega);
  result.frequency = in_hertz(extreme.omega);
  if (!holds) {
    std::vector<CrossedInterval> intervals;
    if (decision.hamiltonian) {
      intervals = decision.hamiltonian->violating;
    } else if (decision.certificate.witness) {  // without one the same pieces would be left open again
      const Certificate all = certify(judged, touching, Thoroughness::intervals);
      result.pieces += all.pieces;
      intervals = joined(all);
    }
    const Scan scan(scaled);
    for (const CrossedInterval& interval : intervals) {
      const double omega = scan.largest_within(interval.lowest, interval.highest).omega;
      result.violations.push_back(
          {in_hertz(interval.lowest), in_hertz(interval.highest), value(omega), in_hertz(omega)});
      if (scaled.scattering ? value(omega) > result.extreme : value(omega) < result.extreme) {
        result.extreme = value(omega);
        result.frequency = in_hertz(omega);
      }
    }
  }
  return result;
}

std::vector<double> passivity_curve(const Model& model, std::span<const double> frequencies) {
  const ScaledModel scaled = scaled_model(model);
  std::vector<double> curve;
  curve.reserve(frequencies.size());
  for (const double frequency : frequencies) {
    const double measure = measure_at(scaled, numerics::two_pi * frequency / scaled.unit);
    curve.push_back(scaled.scattering ? measure : -measure * scaled.scale);
  }
  return curve;
}

}  // namespace polefit
