/// The vector instructions that a processor may have.
#pragma once

namespace numerics {

enum class VectorUnit { baseline, avx2, avx512 };

/// The widest that this processor has.
inline VectorUnit widest_vector_unit() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) {
    return VectorUnit::avx512;
  }
  if (__builtin_cpu_supports("avx2")) {
    return VectorUnit::avx2;
  }
#endif
  return VectorUnit::baseline;
}

}  // namespace numerics
