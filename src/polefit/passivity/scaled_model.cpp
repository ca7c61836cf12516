#include "polefit/passivity/scaled_model.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"

namespace polefit {
namespace {

void refuse_what_cannot_be_passive(const Model& model) {
  const auto refuse = [](const std::string& what) {
    throw Error(ErrorKind::bad_shape, "the model has " + what);
  };
  const auto finite = [](double value) { return std::isfinite(value); };
  const auto both_finite = [](std::complex<double> z) {
    return std::isfinite(z.real()) && std::isfinite(z.imag());
  };
  if (!std::all_of(model.poles.begin(), model.poles.end(), both_finite) ||
      !std::all_of(model.residues.begin(), model.residues.end(), both_finite) ||
      !std::all_of(model.constants.begin(), model.constants.end(), finite) ||
      !std::all_of(model.proportionals.begin(), model.proportionals.end(), finite)) {
    refuse("numbers that are not finite");
  }
  if (!std::all_of(model.poles.begin(), model.poles.end(),
                   [](std::complex<double> a) { return a.real() < 0.0; })) {
    refuse("poles that are not in the left half-plane: it is not stable, let alone passive");
  }
}

/// The power of two, so that scaling is exact, at the upper end of the band that the model was fitted to, or
/// at what its poles say of it.
double unit_of(const Model& model) {
  double largest = 0.0;
  if (model.origin && model.origin->highest > 0.0) {
    largest = numerics::two_pi * model.origin->highest;
  } else {
    for (const std::complex<double> pole : model.poles) {
      largest = std::max(largest, std::abs(pole));
    }
  }
  return largest > 0.0 && std::isfinite(largest) ? std::exp2(std::ilogb(largest)) : 1.0;
}

/// The frequencies over which the size of the values is told: the band of the fit, or that of the poles and
/// beyond it on either side.
void set_band(ScaledModel& scaled, const std::optional<Origin>& origin) {
  constexpr double decades = 3.0;  // where the band starts at 0
  constexpr double beyond = 10.0;
  double lowest = std::numeric_limits<double>::infinity();
  double highest = 0.0;
  if (origin && origin->highest > 0.0) {
    lowest = numerics::two_pi * origin->lowest / scaled.unit;
    highest = numerics::two_pi * origin->highest / scaled.unit;
  } else {
    for (const std::complex<double> pole : scaled.poles) {
      lowest = std::min(lowest, std::abs(pole) / beyond);
      highest = std::max(highest, std::abs(pole) * beyond);
    }
  }
  scaled.highest = highest;
  scaled.lowest = std::max(std::min(lowest, highest), highest * std::pow(10.0, -decades));
}

/// Whether products of a few of its numbers are in the range of a double.
bool is_in_range(const ScaledModel& model) {
  constexpr double largest = 1e100;
  const auto small = [](double value) { return std::abs(value) <= largest; };
  return std::all_of(
             model.poles.begin(), model.poles.end(),
             [](std::complex<double> a) { return std::abs(a) <= largest && a.real() <= -1.0 / largest; }) &&
         std::all_of(model.x.elements.begin(), model.x.elements.end(), small) &&
         std::all_of(model.e.elements.begin(), model.e.elements.end(), small) &&
         (model.scattering || size_of(model) >= 1.0 / largest);
}

}  // namespace

ScaledModel scaled_model(const Model& model) {
  check(model);
  refuse_what_cannot_be_passive(model);
  const WholeMatrix matrix = matrix_of(model);
  ScaledModel scaled;
  scaled.scattering = model.network->parameter == 'S';
  scaled.ports = matrix.ports();
  scaled.unit = unit_of(model);
  const std::size_t elements = scaled.ports * scaled.ports;
  std::vector<std::size_t>& kept = scaled.source;
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    bool counts = false;
    for (std::size_t r = 0; r < model.responses(); ++r) {
      counts = counts || model.residues_of(r)[i] != 0.0;
    }
    if (counts) {
      kept.push_back(i);
      scaled.poles.push_back(model.poles[i] / scaled.unit);
    }
  }
  scaled.x = Matrix(kept.size() + 1, elements);
  scaled.e = Matrix(scaled.ports, scaled.ports);
  for (std::size_t column = 0; column < scaled.ports; ++column) {
    for (std::size_t row = 0; row < scaled.ports; ++row) {
      const std::size_t r = matrix.response(row, column);
      const std::size_t place = row + column * scaled.ports;
      for (std::size_t k = 0; k < kept.size(); ++k) {
        const std::complex<double> residue = model.residues_of(r)[kept[k]] / scaled.unit;
        const bool second = k > 0 && !is_real(scaled.poles[k]) && scaled.poles[k].imag() < 0.0;
        scaled.x(k, place) = second ? -residue.imag() : residue.real();
      }
      scaled.x(kept.size(), place) = model.constants[r];
      scaled.e(row, column) = model.proportionals[r] * scaled.unit;
    }
  }
  set_band(scaled, model.origin);
  if (!is_in_range(scaled)) {
    throw Error(ErrorKind::bad_shape,
                "the model has numbers that are too large or too small to tell whether it is passive");
  }
  if (!scaled.scattering) {
    scaled.scale = size_of(scaled);
  }
  return scaled;
}

Model unscaled(const Model& model, const ScaledModel& scaled) {
  const WholeMatrix matrix = matrix_of(model);
  Model result = model;
  std::vector<std::size_t> source = scaled.source;
  for (std::size_t k = 0; k < source.size(); ++k) {
    result.poles[source[k]] = scaled.poles[k] * scaled.unit;
  }
  for (std::size_t k = source.size(); k < scaled.poles.size(); ++k) {
    source.push_back(result.poles.size());
    result.poles.push_back(scaled.poles[k] * scaled.unit);
  }
  const std::size_t order = result.poles.size();
  result.residues.assign(order * model.responses(), 0.0);
  for (std::size_t column = 0; column < scaled.ports; ++column) {
    for (std::size_t row = 0; row < scaled.ports; ++row) {
      const std::size_t r = matrix.response(row, column);
      const std::size_t place = row + column * scaled.ports;
      std::complex<double>* const residues = result.residues.data() + r * order;
      for_each_group(
          scaled.poles, [&](std::size_t k) { residues[source[k]] = scaled.x(k, place) * scaled.unit; },
          [&](std::size_t k) {
            const std::complex<double> scaled_residue(scaled.x(k, place), scaled.x(k + 1, place));
            residues[source[k]] = scaled_residue * scaled.unit;
            residues[source[k + 1]] = std::conj(residues[source[k]]);
          });
      result.constants[r] = scaled.x(scaled.poles.size(), place);
      result.proportionals[r] = scaled.e(row, column) / scaled.unit;
    }
  }
  return result;
}

std::vector<std::complex<double>> basis_at(const ScaledModel& model, double omega) {
  std::vector<std::complex<double>> phi(model.functions());
  phi.back() = 1.0;
  if (std::isinf(omega)) {
    return phi;
  }
  const std::complex<double> s(0.0, omega);
  for_each_group(
      model.poles, [&](std::size_t i) { phi[i] = 1.0 / (s - model.poles[i]); },
      [&](std::size_t i) {
        const std::complex<double> u = 1.0 / (s - model.poles[i]);
        const std::complex<double> v = 1.0 / (s - model.poles[i + 1]);
        phi[i] = u + v;
        phi[i + 1] = std::complex<double>(v.imag() - u.imag(), u.real() - v.real());
      });
  return phi;
}

double norm_of(const ComplexMatrix& value) {
  double largest = 0.0;
  for (std::size_t i = 0; i < value.re.elements.size(); ++i) {
    largest = std::max({largest, std::abs(value.re.elements[i]), std::abs(value.im.elements[i])});
  }
  if (!(largest > 0.0) || !std::isfinite(largest)) {
    return largest;
  }
  // In units of the largest, so that no square leaves the range.
  double squares = 0.0;
  for (std::size_t i = 0; i < value.re.elements.size(); ++i) {
    const double re = value.re.elements[i] / largest;
    const double im = value.im.elements[i] / largest;
    squares += re * re + im * im;
  }
  return largest * std::sqrt(squares);
}

double size_of(const ScaledModel& model) {
  constexpr int places = 33;
  std::vector<double> norms;
  norms.reserve(places);
  for (int i = 0; i < places; ++i) {
    const double part = static_cast<double>(i) / (places - 1);
    const double omega =
        model.highest > 0.0 ? model.lowest * std::pow(model.highest / model.lowest, part) : 0.0;
    norms.push_back(norm_of(value_at(model, omega)));
  }
  std::nth_element(norms.begin(), norms.begin() + places / 2, norms.end());
  const double size = norms[places / 2];
  return size > 0.0 && std::isfinite(size) ? size : 1.0;
}

double unit_of_value(const ScaledModel& model, const ComplexMatrix& value) {
  return model.by_norm && !model.scattering ? std::max(model.scale, norm_of(value)) : model.scale;
}

ComplexMatrix value_at(const ScaledModel& model, double omega) {
  const std::vector<std::complex<double>> phi = basis_at(model, omega);
  ComplexMatrix value(model.ports, model.ports);
  for (std::size_t j = 0; j < model.x.columns; ++j) {
    double re = 0.0;
    double im = 0.0;
    for (std::size_t k = 0; k < phi.size(); ++k) {
      re += phi[k].real() * model.x(k, j);
      im += phi[k].imag() * model.x(k, j);
    }
    value.re.elements[j] = re;
    value.im.elements[j] = im;
  }
  return value;
}

}  // namespace polefit
