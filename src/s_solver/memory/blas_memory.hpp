/// The memory that the installed BLAS takes for itself.
#pragma once

namespace s_solver {

/// Checks, before the first call of a BLAS or LAPACK routine in the process, that the buffer which the
/// library asks for in that call and then keeps can be had. The library itself would ask again and again
/// without end. Throws MemoryError.
void ensure_blas_memory();

}  // namespace s_solver
