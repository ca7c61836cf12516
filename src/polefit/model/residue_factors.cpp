#include "polefit/model/residue_factors.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <span>

#include "numerics/hermitian_eigenvalues.hpp"
#include "numerics/power_of_two.hpp"
#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/passivity.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;
using numerics::ComplexMatrix;

double largest_part(const ComplexMatrix& a) {
  double largest = 0.0;
  for (const auto* part : {&a.re, &a.im}) {
    for (const double element : part->elements) {
      largest = std::max(largest, std::abs(element));
    }
  }
  return largest;
}

double largest_modulus(const ComplexMatrix& a) {
  double square = 0.0;
  for (std::size_t k = 0; k < a.re.elements.size(); ++k) {
    square = std::max(square, a.re.elements[k] * a.re.elements[k] + a.im.elements[k] * a.im.elements[k]);
  }
  return std::sqrt(square);
}

/// Whether no element is larger in modulus than is allowed.
bool is_within(const ComplexMatrix& a, const numerics::Matrix& allowed) {
  for (std::size_t k = 0; k < allowed.elements.size(); ++k) {
    const double square = a.re.elements[k] * a.re.elements[k] + a.im.elements[k] * a.im.elements[k];
    if (!(square <= allowed.elements[k] * allowed.elements[k])) {
      return false;
    }
  }
  return true;
}

bool is_real(const ComplexMatrix& a) {
  return std::all_of(a.im.elements.begin(), a.im.elements.end(), [](double x) { return x == 0.0; });
}

bool is_symmetric(const ComplexMatrix& a) {
  for (std::size_t j = 0; j < a.columns(); ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      if (a(i, j) != a(j, i)) {
        return false;
      }
    }
  }
  return true;
}

ComplexMatrix scaled(const ComplexMatrix& a, int exponent) {
  const numerics::PowerOfTwo factor(exponent);
  ComplexMatrix result = a;
  for (auto* part : {&result.re, &result.im}) {
    for (double& element : part->elements) {
      element = factor.times(element);
    }
  }
  return result;
}

/// a^H b for column j of a and column k of b.
Complex product(const ComplexMatrix& a, std::size_t j, const ComplexMatrix& b, std::size_t k) {
  const double* const ar = a.re.column(j);
  const double* const ai = a.im.column(j);
  const double* const br = b.re.column(k);
  const double* const bi = b.im.column(k);
  double re = 0.0;
  double im = 0.0;
  for (std::size_t i = 0; i < a.rows(); ++i) {
    re += ar[i] * br[i] + ai[i] * bi[i];
    im += ar[i] * bi[i] - ai[i] * br[i];
  }
  return {re, im};
}

/// Column k of b less `factor` times column j of a.
void subtract(const ComplexMatrix& a, std::size_t j, Complex factor, ComplexMatrix& b, std::size_t k) {
  const double* const ar = a.re.column(j);
  const double* const ai = a.im.column(j);
  double* const br = b.re.column(k);
  double* const bi = b.im.column(k);
  for (std::size_t i = 0; i < a.rows(); ++i) {
    br[i] -= factor.real() * ar[i] - factor.imag() * ai[i];
    bi[i] -= factor.real() * ai[i] + factor.imag() * ar[i];
  }
}

double squared_norm(const ComplexMatrix& a, std::size_t j) { return product(a, j, a, j).real(); }

void append_column(ComplexMatrix& a, const ComplexMatrix& b, std::size_t j) {
  for (auto [to, from] : {std::pair(&a.re, &b.re), std::pair(&a.im, &b.im)}) {
    to->rows = from->rows;
    to->elements.insert(to->elements.end(), from->column(j), from->column(j) + from->rows);
    ++to->columns;
  }
}

/// Orthonormal columns whose span leaves no more of c than is allowed.
std::optional<ComplexMatrix> basis_of(const ComplexMatrix& c, const numerics::Matrix& allowed,
                                      std::size_t most) {
  ComplexMatrix rest = c;
  ComplexMatrix basis(c.rows(), 0);
  while (!is_within(rest, allowed)) {
    if (basis.columns() == most) {
      return std::nullopt;
    }
    std::size_t largest = 0;
    double square = 0.0;
    for (std::size_t j = 0; j < rest.columns(); ++j) {
      if (const double other = squared_norm(rest, j); other > square) {
        largest = j;
        square = other;
      }
    }
    append_column(basis, rest, largest);
    const std::size_t k = basis.columns() - 1;
    for (int turn = 0; turn < 2; ++turn) {
      for (std::size_t j = 0; j < k; ++j) {
        subtract(basis, j, product(basis, j, basis, k), basis, k);
      }
    }
    const double norm = std::sqrt(squared_norm(basis, k));
    if (!(norm > 0.0)) {
      return std::nullopt;
    }
    for (std::size_t i = 0; i < c.rows(); ++i) {
      basis.re(i, k) /= norm;
      basis.im(i, k) /= norm;
    }
    for (std::size_t j = 0; j < rest.columns(); ++j) {
      subtract(basis, k, product(basis, k, rest, j), rest, j);
    }
  }
  return basis;
}

ComplexMatrix adjoint_times(const ComplexMatrix& a, const ComplexMatrix& b) {
  ComplexMatrix result(a.columns(), b.columns());
  for (std::size_t j = 0; j < b.columns(); ++j) {
    for (std::size_t i = 0; i < a.columns(); ++i) {
      result.set(i, j, product(a, i, b, j));
    }
  }
  return result;
}

ComplexMatrix conjugate(ComplexMatrix a) {
  for (double& element : a.im.elements) {
    element = -element;
  }
  return a;
}

/// A small symmetric matrix as the sum of sizes(k) x_k x_k^T, the largest first.
struct SymmetricFactors {
  std::vector<double> sizes;  // above 0 unless the matrix is real
  ComplexMatrix columns;
};

/// S x* = sigma x is [A B; B -A] [y; z] = sigma [y; z] for S = A + j B, x = y + j z: its eigenvalues come in
/// pairs of either sign. Of a real one the real eigenvectors do, with values of either sign.
std::optional<SymmetricFactors> takagi_factors(const ComplexMatrix& s, bool real) {
  const std::size_t n = s.rows();
  const std::size_t order = real ? n : 2 * n;
  ComplexMatrix embedded(order, order);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n; ++i) {
      embedded.re(i, j) = 0.5 * (s.re(i, j) + s.re(j, i));
      if (!real) {
        embedded.re(n + i, n + j) = -embedded.re(i, j);
        embedded.re(n + i, j) = 0.5 * (s.im(i, j) + s.im(j, i));
        embedded.re(i, n + j) = embedded.re(n + i, j);
      }
    }
  }
  const auto eigen = numerics::hermitian_eigenvalues(embedded, true);
  if (!eigen) {
    return std::nullopt;
  }
  std::vector<std::size_t> places;
  for (std::size_t k = 0; k < n; ++k) {
    places.push_back(order - 1 - k);
  }
  std::sort(places.begin(), places.end(), [&](std::size_t a, std::size_t b) {
    return std::abs(eigen->values[a]) > std::abs(eigen->values[b]);
  });
  SymmetricFactors factors{{}, ComplexMatrix(n, n)};
  for (std::size_t k = 0; k < n; ++k) {
    factors.sizes.push_back(eigen->values[places[k]]);
    for (std::size_t i = 0; i < n; ++i) {
      factors.columns.set(
          i, k, {eigen->vectors.re(i, places[k]), real ? 0.0 : eigen->vectors.re(n + i, places[k])});
    }
  }
  return factors;
}

ComplexMatrix times(const ComplexMatrix& a, const ComplexMatrix& b) {
  ComplexMatrix result(a.rows(), b.columns());
  for (std::size_t j = 0; j < b.columns(); ++j) {
    for (std::size_t k = 0; k < a.columns(); ++k) {
      subtract(a, k, -b(k, j), result, j);
    }
  }
  return result;
}

ComplexMatrix difference(const ComplexMatrix& a, const ComplexMatrix& b) {
  ComplexMatrix result = a;
  for (std::size_t k = 0; k < result.re.elements.size(); ++k) {
    result.re.elements[k] -= b.re.elements[k];
    result.im.elements[k] -= b.im.elements[k];
  }
  return result;
}

/// The factors of a symmetric matrix from a basis of its columns, as few as what is allowed to be left.
std::optional<ResidueFactors> symmetric_factors(const ComplexMatrix& c, const ComplexMatrix& basis,
                                                const numerics::Matrix& allowed) {
  const bool real = is_real(c);
  const ComplexMatrix inner = times(adjoint_times(basis, c), conjugate(basis));
  const auto small = takagi_factors(inner, real);
  if (!small) {
    return std::nullopt;
  }
  const ComplexMatrix columns = times(basis, small->columns);
  const std::size_t ports = c.rows();
  ComplexMatrix rest = c;
  std::size_t rank = 0;
  for (; rank < small->sizes.size() && !is_within(rest, allowed); ++rank) {
    for (std::size_t j = 0; j < ports; ++j) {
      subtract(columns, rank, small->sizes[rank] * columns(j, rank), rest, j);
    }
  }
  ResidueFactors factors{ComplexMatrix(ports, rank), ComplexMatrix(rank, ports)};
  for (std::size_t k = 0; k < rank; ++k) {
    const double root = std::sqrt(std::abs(small->sizes[k]));
    for (std::size_t i = 0; i < ports; ++i) {
      factors.left.set(i, k, root * columns(i, k));
      factors.right.set(k, i, std::copysign(root, small->sizes[k]) * columns(i, k));
    }
  }
  return factors;
}

/// Makes the rows of the right factor about 1, by powers of two.
void balance(ResidueFactors& factors) {
  for (std::size_t k = 0; k < factors.right.rows(); ++k) {
    double largest = 0.0;
    for (std::size_t j = 0; j < factors.right.columns(); ++j) {
      largest = std::max({largest, std::abs(factors.right.re(k, j)), std::abs(factors.right.im(k, j))});
    }
    const int exponent = largest > 0.0 ? std::ilogb(largest) : 0;
    const numerics::PowerOfTwo down(-exponent);
    const numerics::PowerOfTwo up(exponent);
    for (std::size_t j = 0; j < factors.right.columns(); ++j) {
      factors.right.re(k, j) = down.times(factors.right.re(k, j));
      factors.right.im(k, j) = down.times(factors.right.im(k, j));
      factors.left.re(j, k) = up.times(factors.left.re(j, k));
      factors.left.im(j, k) = up.times(factors.left.im(j, k));
    }
  }
}

ComplexMatrix residues_at(const Model& model, const WholeMatrix& matrix, std::size_t pole) {
  ComplexMatrix residues(matrix.ports(), matrix.ports());
  for (std::size_t row = 0; row < matrix.ports(); ++row) {
    for (std::size_t column = 0; column < matrix.ports(); ++column) {
      residues.set(row, column, model.residues_of(matrix.response(row, column))[pole]);
    }
  }
  return residues;
}

/// By how much factors may change each element of the matrix.
numerics::Matrix allowed_change(const Model& model, const WholeMatrix& matrix) {
  numerics::Matrix allowed(matrix.ports(), matrix.ports());
  for (std::size_t row = 0; model.origin && row < matrix.ports(); ++row) {
    for (std::size_t column = 0; column < matrix.ports(); ++column) {
      allowed(row, column) = share_of_error * model.origin->errors[matrix.response(row, column)].rms;
    }
  }
  return allowed;
}

numerics::Matrix times(double factor, numerics::Matrix a) {
  for (double& element : a.elements) {
    element *= factor;
  }
  return a;
}

/// With factors still to be found.
std::vector<FactoredPole> poles_of(const Model& model) {
  std::vector<FactoredPole> poles;
  for (std::size_t i = 0; i < model.poles.size();) {
    const bool pair = model.poles[i].imag() != 0.0;
    poles.push_back({.pole = i, .pair = pair, .factors = ResidueFactors{}});
    i += pair ? 2 : 1;
  }
  return poles;
}

using IsWorth = std::function<bool(const FactoredPole&)>;

/// Where there were none with a larger tolerance there are none.
void factorise(std::vector<FactoredPole>& poles, const Model& model, const WholeMatrix& matrix,
               const numerics::Matrix& change, std::size_t most, const IsWorth& is_worth) {
  const auto count = static_cast<double>(poles.size());
  for (FactoredPole& each : poles) {
    if (!each.factors) {
      continue;
    }
    const double damping = std::abs(model.poles[each.pole].real());
    // |1 / (j omega - a)| is at most 1 / |a'|, a pair has two of them, and there is as much at 0 Hz.
    const double share = 0.5 * damping / (each.pair ? 2.0 : 1.0) / count;
    each.factors = residue_factors(residues_at(model, matrix, each.pole), times(share, change),
                                   damping > 0.0 ? most : matrix.ports());
    if (each.factors && !is_worth(each)) {
      each.factors.reset();
    }
  }
}

/// What the factors of a pole lack at 0 Hz.
numerics::Matrix lacking_at_zero(const Model& model, const WholeMatrix& matrix, const FactoredPole& pole) {
  const ComplexMatrix rest =
      difference(residues_at(model, matrix, pole.pole), times(pole.factors->left, pole.factors->right));
  numerics::Matrix lacking(matrix.ports(), matrix.ports());
  for (std::size_t column = 0; column < matrix.ports(); ++column) {
    for (std::size_t row = 0; row < matrix.ports(); ++row) {
      const Complex value = rest(row, column) / -model.poles[pole.pole];
      lacking(row, column) = (pole.pair ? 2.0 : 1.0) * value.real();
    }
  }
  return lacking;
}

std::optional<std::size_t> rank_of(const FactoredPole& pole) {
  return pole.factors ? std::optional(pole.factors->left.columns()) : std::nullopt;
}

Model with_factors(const Model& model, const WholeMatrix& matrix, const std::vector<FactoredPole>& poles) {
  Model result = model;
  const std::size_t order = model.poles.size();
  for (const FactoredPole& each : poles) {
    if (!each.factors) {
      continue;
    }
    const ComplexMatrix residues = times(each.factors->left, each.factors->right);
    for (std::size_t row = 0; row < matrix.ports(); ++row) {
      for (std::size_t column = 0; column < matrix.ports(); ++column) {
        Complex* const first = &result.residues[matrix.response(row, column) * order + each.pole];
        first[0] = residues(row, column);
        if (each.pair) {
          first[1] = std::conj(residues(row, column));
        }
        if (!each.lacking.elements.empty()) {
          result.constants[matrix.response(row, column)] += each.lacking(row, column);
        }
      }
    }
  }
  return result;
}

bool stays_certified(const Model& model, const WholeMatrix& matrix, const std::vector<FactoredPole>& poles) {
  constexpr double too_long = 1e9;
  const auto order = static_cast<double>(model.poles.size());
  if (order * order * static_cast<double>(model.responses()) > too_long) {
    return false;
  }
  try {
    return passivity(with_factors(model, matrix, poles)).passive;
  } catch (const Error&) {  // what a file records can be of another model
    return false;
  }
}

}  // namespace

std::optional<ResidueFactors> residue_factors(const ComplexMatrix& c, const numerics::Matrix& tolerance,
                                              std::size_t most) {
  const double largest = largest_part(c);
  if (largest == 0.0) {
    return ResidueFactors{ComplexMatrix(c.rows(), 0), ComplexMatrix(0, c.columns())};
  }
  // In units of the largest element squares neither overflow nor vanish.
  const int exponent = std::ilogb(largest);
  const ComplexMatrix unit = scaled(c, -exponent);
  const auto ports = static_cast<double>(c.rows());
  const double rounding = 16.0 * ports * std::numeric_limits<double>::epsilon() * largest_modulus(unit);
  numerics::Matrix allowed = tolerance;
  for (double& element : allowed.elements) {
    element = std::max(numerics::PowerOfTwo(-exponent).times(element), rounding);
  }
  const auto come_near = [&](const std::optional<ResidueFactors>& factors) {
    return factors && is_within(difference(unit, times(factors->left, factors->right)), allowed);
  };
  std::optional<ResidueFactors> factors;
  if (is_symmetric(c)) {
    // With E = (I - Q Q^H) C the matrix Q Q^H C Q* Q^T lacks E + Q Q^H E^T, in which elements are mixed.
    const auto basis = basis_of(unit, times(1.0 / (1.0 + std::sqrt(ports)), allowed), most);
    if (basis) {
      factors = symmetric_factors(unit, *basis, allowed);
    }
  } else if (const auto basis = basis_of(unit, allowed, most)) {
    factors = ResidueFactors{*basis, adjoint_times(*basis, unit)};
  }
  if (!come_near(factors)) {
    return std::nullopt;
  }
  factors->left = scaled(factors->left, exponent);
  balance(*factors);
  return factors;
}

std::vector<FactoredPole> factored_poles(const Model& model, std::size_t most, const IsWorth& is_worth) {
  const WholeMatrix matrix = matrix_of(model);
  const numerics::Matrix change = allowed_change(model, matrix);
  const numerics::Matrix none = times(0.0, change);
  std::vector<FactoredPole> poles = poles_of(model);
  factorise(poles, model, matrix, change, most, is_worth);
  if (change.elements == none.elements) {
    return poles;
  }
  std::vector<FactoredPole> exact = poles;
  factorise(exact, model, matrix, none, most, is_worth);
  bool same = true;
  for (std::size_t i = 0; i < poles.size(); ++i) {
    if (rank_of(poles[i]) == rank_of(exact[i])) {
      poles[i] = exact[i];
    } else {
      poles[i].lacking = lacking_at_zero(model, matrix, poles[i]);
      same = false;
    }
  }
  const bool certified = model.passivity && model.passivity->passive;
  return same || (certified && !stays_certified(model, matrix, poles)) ? exact : poles;
}

}  // namespace polefit
