/// One binary, every vector unit: loops that the compiler translates several times over.
#pragma once

/// Before a function: the compiler translates it for the vector instructions of newer processors too, and the
/// system chooses when the program starts. The values do not depend on the choice, since products and sums
/// are never contracted. Where the compiler cannot do so, the function is translated once.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define NUMERICS_VECTOR_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define NUMERICS_VECTOR_CLONES
#endif
