/// The eigenvalues and eigenvectors of a hermitian matrix.
///
/// Reflections bring the matrix to tridiagonal form (Householder's method; for complex matrices Mueller,
/// "Householder's method for complex matrices and eigensystems of Hermitian matrices", Numer. Math. 8, 1966).
/// With vectors, implicit QL steps with Wilkinson's shift reduce that (Dubrulle, Martin, Wilkinson, "The
/// implicit QL algorithm", Numer. Math. 12, 1968); without them, the same steps in rational form, which needs
/// no roots (Reinsch, "A stable, rational QR algorithm for the computation of the eigenvalues of an
/// Hermitian, tridiagonal matrix", Math. Comp. 25, 1971; Parlett, "The symmetric eigenvalue problem", 1980,
/// 8-15). Two rows take one rotation in closed form (Rutishauser, "The Jacobi method for real symmetric
/// matrices", Numer. Math. 9, 1966).
#pragma once

#include <optional>
#include <vector>

#include "numerics/complex_matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

struct HermitianEigenvalues {
  std::vector<double> values;  ///< rising
  ComplexMatrix vectors;       ///< their columns, orthonormal; empty when not asked for
};

/// The eigenvalues of the square matrix a, of which the lower triangle is used and the imaginary parts of the
/// diagonal are taken for 0. They are those of a matrix that differs from a by a few n eps |a|, and the
/// vectors are orthonormal to a few n eps; with and without vectors the values differ by as much. Elements
/// below 1e-140 of the largest beside the diagonal may count for nothing. Scaling a by a power of two scales
/// the values exactly and leaves the vectors. The results do not depend on the unit, which must be one of the
/// processor.
///
/// Empty when an element is not finite, also in the imaginary parts of the diagonal, when a value overflows,
/// or when the steps do not converge, of which no example is known.
std::optional<HermitianEigenvalues> hermitian_eigenvalues(const ComplexMatrix& a, bool with_vectors,
                                                          VectorUnit unit = widest_vector_unit());

}  // namespace numerics
