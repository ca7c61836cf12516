/// The eigenvalues of a general real matrix.
///
/// The matrix is balanced by powers of two (Parlett, Reinsch, "Balancing a matrix for calculation of
/// eigenvalues and eigenvectors", Numer. Math. 13, 1969), brought to Hessenberg form by reflections, and
/// reduced by QR steps with two shifts at a time (Francis, "The QR transformation", Computer J. 4, 1961 and
/// 1962; Martin, Peters, Wilkinson, "The QR algorithm for real Hessenberg matrices", Numer. Math. 14, 1970).
#pragma once

#include <complex>
#include <optional>
#include <vector>

#include "numerics/matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

/// The eigenvalues of the square matrix a: pairs side by side, positive imaginary part first, exactly
/// conjugate; first those whose row or column has nothing beside the diagonal element, when others of that
/// kind are left out. The rest are those of a matrix that differs from the balanced one by rounding. Scaling
/// a by a power of two scales them exactly. The results do not depend on the unit, which must be one of the
/// processor.
///
/// Empty when an element is not finite, when an eigenvalue overflows, or when the steps do not converge, of
/// which no example is known.
std::optional<std::vector<std::complex<double>>> eigenvalues(const Matrix& a,
                                                             VectorUnit unit = widest_vector_unit());

}  // namespace numerics
