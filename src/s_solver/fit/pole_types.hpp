/// The storage rule of a pole set, and the classification that follows from it.
///
/// A complex pole and its conjugate stand in consecutive elements: the pair leader, then the follower.
#pragma once

#include <complex>

namespace s_solver {

inline constexpr int real_pole = 0;
inline constexpr int pair_leader = 1;    ///< its conjugate is the next pole
inline constexpr int pair_follower = 2;  ///< its conjugate is the pole before

/// Up to which imaginary part a pole counts as real, and how far the two members of a pair may be from
/// exact conjugates; in rad/s, and absolute whatever the size of the pole.
inline constexpr double pair_tolerance = 1.0e-8;

/// Classifies order poles a (rad/s) into pole_type (order codes). Comparisons with a NaN count as within
/// the tolerance. With `verbose` it lists the types on standard output.
/// Prints the poles concerned and stops the program (plain stop) when the last pole is complex without a
/// partner, or when a complex pole and the next one are not conjugate. The messages name update_poles,
/// whoever classifies.
void classify_poles(int order, const std::complex<double>* a, int* pole_type, bool verbose);

}  // namespace s_solver
