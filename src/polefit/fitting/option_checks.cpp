#include "polefit/fitting/option_checks.hpp"

#include <limits>
#include <string>

#include "polefit/error.hpp"

namespace polefit {

void check_options(const Options& options) {
  if (options.iterations < 0) {
    throw Error(ErrorKind::bad_option, "the limit on iterations is " + std::to_string(options.iterations));
  }
  if (options.threads < 1) {
    throw Error(ErrorKind::bad_option, "the number of threads is " + std::to_string(options.threads));
  }
  if (!(options.pole_tolerance >= 0.0)) {
    throw Error(ErrorKind::bad_option,
                "the tolerance of the poles is " + std::to_string(options.pole_tolerance));
  }
}

void check_sizes(std::size_t samples, std::size_t responses, std::size_t poles, const Options& options) {
  if (options.exact_sample && *options.exact_sample >= samples) {
    throw Error(ErrorKind::bad_option, "the sample to be exact is " + std::to_string(*options.exact_sample) +
                                           ", counted from 0, and there are " + std::to_string(samples));
  }
  const std::size_t unknowns = poles + (options.constant ? 1U : 0U) + (options.proportional ? 1U : 0U);
  if (unknowns > 2 * samples) {
    throw Error(ErrorKind::too_many_unknowns, std::to_string(unknowns) + " unknowns a response, but only " +
                                                  std::to_string(2 * samples) + " equations of " +
                                                  std::to_string(samples) + " samples");
  }
  // Columns of the products and of the basis are counted in 32 bits.
  constexpr std::size_t most = static_cast<std::size_t>(std::numeric_limits<int>::max()) / 4;
  if (samples > most || responses * (poles + 1) > most) {
    throw Error(ErrorKind::bad_shape, "more samples or responses than can be counted");
  }
}

}  // namespace polefit
