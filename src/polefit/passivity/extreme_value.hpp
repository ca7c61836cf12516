/// How far a model is from its limit at single frequencies.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// The largest singular value of S, or what the smallest eigenvalue of the Hermitian part lacks of the least
/// in the unit of the value. Not a number where the value is none.
double measure_at(const ScaledModel& model, double omega);
/// The same of a value, with the kind, the ports and the scale of the model.
double measure_of(const ScaledModel& model, const ComplexMatrix& value);

/// Those of them above the limit, one a frequency, and minus infinity for the others, which are told in a
/// fraction of the time.
std::vector<double> measures_above(const ScaledModel& model, const std::vector<double>& omegas, double limit);

/// The matrix whose largest eigenvalue it is, for S its square: H^H H, or the least less the Hermitian part
/// in the unit of the value. Its lower triangle.
ComplexMatrix judged_matrix(const ScaledModel& model, const ComplexMatrix& value);

struct Extreme {
  double omega = 0.0;
  double measure = 0.0;
};

/// The measure at places where resonances can make it large, at both ends of the axis and evenly over
/// decades.
class Scan {
 public:
  explicit Scan(const ScaledModel& model);

  /// The largest one between two frequencies, the higher of which may be infinite: of the places, of the ends
  /// and of what golden sections find where there could be a larger one between these.
  Extreme largest_within(double lowest, double highest) const;
  Extreme largest() const;
  /// The same, where a certificate has the last word: it ends when nothing is larger by more than a part in a
  /// billion (of the scale for Y and Z), or when `most` pieces have not been enough to tell.
  Extreme certified_largest(std::size_t most) const;

 private:
  std::vector<Extreme> finer(std::vector<Extreme> values, double far_below) const;
  Extreme refined(double low, double high) const;
  Extreme refined_about(double omega) const;
  Extreme at(double omega) const { return {omega, measure_at(model_, omega)}; }

  const ScaledModel& model_;
  std::vector<Extreme> places_;  // by frequency
};

}  // namespace polefit
