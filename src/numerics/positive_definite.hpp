/// Whether a hermitian matrix is positive definite, by whether it has a factor of Cholesky.
#pragma once

#include "numerics/complex_matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

/// Whether the factorisation a - shift I = L L^H runs through with positive pivots. The lower triangle of the
/// square matrix a is used, and the imaginary parts of its diagonal are taken for 0. False when an element of
/// the triangle or the shift is not finite, also in those parts; true for no row.
///
/// True proves that all eigenvalues of a are at least
///
///     shift - 1.5 (n + 1) eps T,   T = sum of (a_ii - shift),
///
/// for n eps < 0.01. This is the argument of Rump, "Verification of positive definiteness", BIT 46, 2006, for
/// complex elements: L L^H, the diagonal of L being taken for the inverse of what its columns are multiplied
/// with, differs from a - shift I by E. A part of an element sums 2 n - 2 products, and is multiplied with
/// what took a root and a quotient. Hence |E_ij| <= sqrt(2) g |l_i| |l_j| with g = n eps / (1 - n eps) and
/// the rows l_i of L; on the diagonal, which is real, g + 2 eps instead of sqrt(2) g. The squares of these
/// norms add up to T times 1 + g + 2 eps, nearly, and the norm of E is at most the sum of those bounds on the
/// diagonal. The rounding of a_ii - shift adds eps T / 2, and what vanishes below the smallest numbers is far
/// less than the rest of the factor 1.5, since the matrix is brought to a unit in which its largest element
/// or the shift is about 1. Conversely an a whose eigenvalues are above shift by more than about that gives
/// true (Demmel, "On floating point errors in Cholesky", LAPACK Working Note 14, 1989).
///
/// Scaling a and the shift by one power of two changes nothing. The result does not depend on the unit, which
/// must be one of the processor.
bool is_positive_definite(const ComplexMatrix& a, double shift, VectorUnit unit = widest_vector_unit());

}  // namespace numerics
