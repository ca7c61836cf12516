#include "s_solver/fit/pole_types.hpp"

#include <cmath>

#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"

namespace s_solver {
namespace {

[[noreturn]] void stop_without_partner(std::complex<double> pole) {
  print_record("Error in update_poles: no second pole of conjugate pair");
  print_record("pole i  :", pole);
  plain_stop();
}

[[noreturn]] void stop_with_unequal_pair(std::complex<double> pole, std::complex<double> next, double test1,
                                         double test2) {
  print_record("Error in update_poles: poles do not form a conjugate pair");
  print_record("pole i  :", pole);
  print_record("pole i+1:", next);
  print_record("test1 value=", test1, " should be <", pair_tolerance);
  print_record("test2 value=", test2, " should be <", pair_tolerance);
  plain_stop();
}

}  // namespace

void classify_poles(int order, const std::complex<double>* a, int* pole_type, bool verbose) {
  for (int i = 0; i < order; ++i) {
    if (!(std::abs(a[i].imag()) > pair_tolerance)) {
      pole_type[i] = real_pole;
      continue;
    }
    if (i + 1 >= order) {
      stop_without_partner(a[i]);
    }
    const double test1 = a[i].real() - a[i + 1].real();
    const double test2 = a[i + 1].imag() + a[i].imag();
    if (std::abs(test1) > pair_tolerance || std::abs(test2) > pair_tolerance) {
      stop_with_unequal_pair(a[i], a[i + 1], test1, test2);
    }
    pole_type[i] = pair_leader;
    pole_type[++i] = pair_follower;
  }

  if (verbose) {
    print_record("Pole types:");
    for (int i = 0; i < order; ++i) {
      print_record("pole", i + 1, " type ", pole_type[i]);
    }
  }
}

}  // namespace s_solver
