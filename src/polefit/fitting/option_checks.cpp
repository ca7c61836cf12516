#include "polefit/fitting/option_checks.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>

#include "polefit/error.hpp"
#include "polefit/model/largest_modulus.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

/// What counts as rounding of a value at 0 Hz: parts of itself, as in files with six digits, or of the
/// response's largest value, as in what a solver leaves of a zero.
double permitted_at_zero(const NetworkData& data, std::size_t r, std::complex<double> value) {
  constexpr double of_value = 1e-6;
  constexpr double of_largest = 1e-9;
  const double largest =
      largest_modulus(data.responses.samples, [&](std::size_t k) { return data.responses(r, k); });
  return std::max(of_value * std::abs(value), of_largest * largest);
}

}  // namespace

void check_options(const Options& options) {
  if (options.iterations < 0) {
    throw Error(ErrorKind::bad_option, "the limit on iterations is " + std::to_string(options.iterations));
  }
  if (options.threads < 1) {
    throw Error(ErrorKind::bad_option, "the number of threads is " + std::to_string(options.threads));
  }
  if (!(options.pole_tolerance >= 0.0)) {
    throw Error(ErrorKind::bad_option,
                "the tolerance of the poles is " + text::significant(options.pole_tolerance, 6));
  }
}

void check_sizes(std::size_t samples, std::size_t responses, std::size_t poles, const Options& options) {
  if (options.exact_sample && *options.exact_sample >= samples) {
    throw Error(ErrorKind::bad_option, "the sample to be exact is " + std::to_string(*options.exact_sample) +
                                           ", counted from 0, and there are " + std::to_string(samples));
  }
  const std::size_t terms = (options.constant ? 1U : 0U) + (options.proportional ? 1U : 0U);
  constexpr std::size_t countable = std::numeric_limits<std::size_t>::max();
  const bool uncountable = poles > countable - terms;
  const std::size_t unknowns = uncountable ? countable : poles + terms;
  if (unknowns > 2 * samples) {
    throw Error(ErrorKind::too_many_unknowns, (uncountable ? "at least " : "") + std::to_string(unknowns) +
                                                  " unknowns a response, but only " +
                                                  std::to_string(2 * samples) + " equations of " +
                                                  std::to_string(samples) + " samples");
  }
  // Columns of the products and of the basis are counted in 32 bits.
  constexpr std::size_t most = static_cast<std::size_t>(std::numeric_limits<int>::max()) / 4;
  if (samples > most || responses * (poles + 1) > most) {
    throw Error(ErrorKind::bad_shape, "more samples or responses than can be counted");
  }
}

std::size_t order_of(const Options& options) {
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  if (!options.starting_poles.empty()) {
    return options.starting_poles.size();
  }
  return options.complex_pairs > (most - options.real_poles) / 2
             ? most
             : options.real_poles + 2 * options.complex_pairs;
}

void check_exact_sample(const NetworkData& data, const Options& options, std::size_t poles) {
  if (!options.exact_sample) {
    return;
  }
  const std::size_t exact = *options.exact_sample;
  const bool at_zero = data.frequencies[exact] == 0.0;
  const std::string place = at_zero ? "at 0 Hz" : "of sample " + std::to_string(exact) + " (counted from 0)";
  const bool nothing = poles == 0 && !options.constant && (at_zero || !options.proportional);
  const auto refuse_value = [&](std::size_t response, const std::string& why) {
    std::string sentence = "the value " + place;
    sentence.append(" of response ").append(std::to_string(response));
    sentence.append(" (counted from 0) cannot be exact: ").append(why);
    throw Error(ErrorKind::bad_option, sentence);
  };
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    const std::complex<double> value = data.responses(r, exact);
    if (nothing && value != 0.0) {
      refuse_value(r, "a model without poles and constant is 0 there");
    }
    if (!at_zero) {
      continue;
    }
    const double permitted = permitted_at_zero(data, r, value);
    if (std::abs(value.imag()) > permitted) {
      refuse_value(
          r, "it has an imaginary part of " + text::significant(value.imag(), 3) + ", a model is real there");
    }
    for (std::size_t k = 0; k < data.frequencies.size(); ++k) {
      if (data.frequencies[k] == 0.0 && std::abs(data.responses(r, k) - value) > permitted) {
        refuse_value(r, "samples " + std::to_string(std::min(k, exact)) + " and " +
                            std::to_string(std::max(k, exact)) + " (counted from 0) are different ones");
      }
    }
  }
}

}  // namespace polefit
