/// The singular values and vectors of a complex matrix.
///
/// Columns are turned in pairs until all are orthogonal (Hestenes, "Inversion of matrices by
/// biorthogonalization and related results", J. SIAM 6(1), 1958), the longer one first (de Rijk, "A one-sided
/// Jacobi algorithm for computing the singular value decomposition on a vector computer", SIAM J. Sci. Stat.
/// Comput. 10(2), 1989). Unlike eigenvalues of a^H a alone this gives orthonormal vectors on both sides, and
/// small values that are not lost in the rounding of the square of the largest one. A few columns need few
/// turns. Of more than six, the first turn is made by the eigenvectors of a^H a, which leave little to do;
/// and their values alone, when no vectors are asked for, are the roots of its eigenvalues.
#pragma once

#include <optional>
#include <vector>

#include "numerics/complex_matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

struct SingularValues {
  std::vector<double> values;  ///< falling, as many as the lesser of rows and columns
  ComplexMatrix left;          ///< a column for each value, empty when not asked for
  ComplexMatrix right;         ///< likewise: a right_j = values_j left_j
};

/// The singular values of a, of any shape. Each is off by a few n eps of the largest one s at most; without
/// vectors, for more than six rows and columns, a value t is off by s / t times as much, which is as little
/// for those near the largest, but root(n eps) s for the least ones. The vectors of either side are
/// orthonormal to a few n eps, with an exception: where a value is 0, the left vector, or for more columns
/// than rows the right one, is zeros. Values below 1e-60 of the largest element are 0. Scaling a by a power
/// of two scales the values exactly and leaves the vectors. The results do not depend on the unit, which must
/// be one of the processor.
///
/// Empty when an element is not finite, when a value overflows, or when the turns do not converge, of which
/// no example is known.
std::optional<SingularValues> singular_values(const ComplexMatrix& a, bool with_vectors,
                                              VectorUnit unit = widest_vector_unit());

}  // namespace numerics
