/// One binary, every vector unit: the same source translated for each, one form chosen at run time.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "numerics/vector_unit.hpp"

namespace numerics {

/// A register of `width` doubles.
template <std::size_t width>
struct Register {
  using Type __attribute__((vector_size(width * sizeof(double)))) = double;
};

template <class Vector>
[[gnu::always_inline]] inline void load(Vector& vector, const double* from) {
  std::memcpy(&vector, from, sizeof vector);
}

template <class Vector>
[[gnu::always_inline]] inline void store(const Vector& vector, double* to) {
  std::memcpy(to, &vector, sizeof vector);
}

/// The number of doubles in a register, as the argument of a body.
template <std::size_t width>
using Width = std::integral_constant<std::size_t, width>;

#if defined(__x86_64__)
template <class Body>
[[gnu::target("avx512f")]] auto in_avx512_form(const Body& body) {
  return body(Width<8>());
}
template <class Body>
[[gnu::target("avx2")]] auto in_avx2_form(const Body& body) {
  return body(Width<4>());
}
#endif

/// body(Width<..>()), translated for the unit. The body and all that it calls are to be inlined always: what
/// is not, keeps the baseline's instructions. The values do not depend on the unit, one that this processor
/// has, as long as products and sums are not contracted and the order of every sum is fixed.
template <class Body>
[[gnu::always_inline]] inline auto in_vector_form(VectorUnit unit, const Body& body) {
  switch (unit) {
#if defined(__x86_64__)
    case VectorUnit::avx512:
      return in_avx512_form(body);
    case VectorUnit::avx2:
      return in_avx2_form(body);
#endif
    default:
      return body(Width<2>());
  }
}

/// The same for a body that is a function and does not ask for the width.
template <auto body, class... Arguments>
[[gnu::always_inline]] inline void run_with(VectorUnit unit, Arguments&&... arguments) {
  in_vector_form(
      unit, [&](auto) __attribute__((always_inline)) { body(arguments...); });
}

/// The sums of products have this many parts, one for each lane of the widest registers.
inline constexpr std::size_t sum_parts = 8;

/// The parts of a sum, added up.
[[gnu::always_inline]] inline double sum_of_parts(const double* part) {
  return ((part[0] + part[4]) + (part[2] + part[6])) + ((part[1] + part[5]) + (part[3] + part[7]));
}

}  // namespace numerics
