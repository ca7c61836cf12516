/// The residues of a network's poles as products of few columns and rows: of a pole whose residue matrix has
/// rank r, r states are a realisation (Gilbert, "Controllability and observability in multivariable control
/// systems", J. SIAM Control 1(2), 1963).
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "numerics/complex_matrix.hpp"
#include "polefit/model.hpp"

namespace polefit {

/// C ~ left right.
struct ResidueFactors {
  numerics::ComplexMatrix left;   ///< P x r
  numerics::ComplexMatrix right;  ///< r x P; the largest part in a row is from 1/2 to 2 in modulus
};

/// Factors of the square matrix c whose product differs from it by at most the element of `tolerance` in the
/// modulus of each element, or by 16 P eps times the largest of c where that is more. Of a real matrix they
/// are real. Of one that is equal to its transpose the rows of `right` are the columns of `left` but for
/// powers of two and the signs of real ones, so that the product is symmetric too. Elements are finite.
///
/// Columns are taken by the largest norm of what is left, and orthogonalised (Gram and Schmidt, twice:
/// Giraud, Langou, Rozloznik, "The loss of orthogonality in the Gram-Schmidt orthogonalization process",
/// Comput. Math. Appl. 50, 2005). In their span a symmetric matrix is factorised by Takagi's theorem (Horn,
/// Johnson, "Matrix Analysis", 1985, 4.4), from the eigenvectors of a real symmetric matrix of twice its
/// order. r P^2 + r^3 operations. Empty where more than `most` columns are needed, and where the factors of a
/// symmetric matrix do not come that near.
std::optional<ResidueFactors> residue_factors(const numerics::ComplexMatrix& c,
                                              const numerics::Matrix& tolerance, std::size_t most);

/// A real pole or a pair, and the factors of the residue matrix of its first member.
struct FactoredPole {
  std::size_t pole = 0;  ///< the first one, counted from 0
  bool pair = false;
  std::optional<ResidueFactors> factors = std::nullopt;  ///< unless they would not be worth it
  /// What the factors lack at 0 Hz, to be added to the constants; empty where it is rounding.
  numerics::Matrix lacking = {};
};

/// The share of the error of a response (root mean square) by which factors may change it at a real
/// frequency: in squares, which is how errors add, a part in ten thousand.
inline constexpr double share_of_error = 1e-2;

/// Factors for all poles of a model of a whole matrix with P ports, in the order of the poles: of rank `most`
/// at most, but P for poles on the imaginary axis, and only where `is_worth` says so of a pole with factors.
///
/// With what they lack at 0 Hz as constants, the value there is the model's to rounding, and no element of
/// the matrix changes at any real frequency by more than share_of_error allows. Only rounding is dropped
/// where the model does not tell its errors, at poles on the axis, and where the model was certified passive
/// and `passivity` does not certify what the factors make of it, or is not asked since that takes long: where
/// the square of the poles times the responses is more than 10^9. Throws Error as matrix_of.
std::vector<FactoredPole> factored_poles(const Model& model, std::size_t most,
                                         const std::function<bool(const FactoredPole&)>& is_worth);

}  // namespace polefit
