/// The vector instructions that a processor may have, and one body of a routine translated for each.
#pragma once

#include <utility>

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

#if defined(__x86_64__)
template <auto body, class... Arguments>
[[gnu::target("avx512f")]] inline void run_with_avx512(Arguments&&... arguments) {
  body(std::forward<Arguments>(arguments)...);
}
template <auto body, class... Arguments>
[[gnu::target("avx2")]] inline void run_with_avx2(Arguments&&... arguments) {
  body(std::forward<Arguments>(arguments)...);
}
#endif

/// Calls `body`, a function that is always inlined, translated for the instructions of `unit`, one that this
/// processor has. The values do not depend on the unit as long as products and sums are not contracted.
template <auto body, class... Arguments>
inline void run_with(VectorUnit unit, Arguments&&... arguments) {
  switch (unit) {
#if defined(__x86_64__)
    case VectorUnit::avx512:
      return run_with_avx512<body>(std::forward<Arguments>(arguments)...);
    case VectorUnit::avx2:
      return run_with_avx2<body>(std::forward<Arguments>(arguments)...);
#endif
    default:
      return body(std::forward<Arguments>(arguments)...);
  }
}

}  // namespace numerics
