/// A fit that is asked for, and what must hold of what comes back whatever the data are.
///
/// What is recomputed is computed in long double by sums over the poles, with nothing of the library.
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "polefit/network_matrix.hpp"
#include "polefit/options.hpp"
#include "polefit/order_search.hpp"

namespace polefit::fit_cases {

enum class Request { fit, search, passive_fit, passive_search };

struct FitCase {
  Request request = Request::fit;
  std::vector<double> frequencies;           ///< in hertz
  std::vector<std::complex<double>> values;  ///< of the first response, then of the second
  std::size_t responses = 1;
  std::vector<double> weights;
  NetworkMatrix matrix;  ///< of all responses, where the request needs one
  Options options;
  Target target;
  /// Whether sizes are those of networks. Of others neither digits nor models are promised where numbers
  /// leave the range of doubles.
  bool usual_sizes = true;
};

enum class Effort {
  once,         ///< what comes back is looked at, at a few frequencies
  again_dense,  ///< the fit is done again with threads and another layout, and frequencies are many
};

/// What does not hold, a sentence each; empty where all does.
std::vector<std::string> faults_of(const FitCase& asked, Effort effort);

}  // namespace polefit::fit_cases
