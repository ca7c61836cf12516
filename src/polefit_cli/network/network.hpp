/// A network's samples in memory, as a file gave them.
#pragma once

#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "polefit/model.hpp"
#include "polefit/network_data.hpp"

namespace polefit_cli {

struct Network {
  std::string file;                              ///< name as messages show it
  std::optional<polefit::NetworkMatrix> matrix;  ///< when the responses are elements of one
  std::vector<double> frequencies;               ///< in hertz
  std::vector<std::string> names;                ///< one a response, such as S21
  std::vector<std::complex<double>> values;      ///< all samples of the first response, then of the second

  /// What the library takes; the network must outlive it.
  polefit::NetworkData data() const {
    return {.frequencies = frequencies,
            .responses = polefit::Responses::by_response(values, names.size()),
            .names = names,
            .weights = {}};
  }
};

/// Makes a network of one response that of a one-port. Throws s_solver::IoError when there are more
/// responses, or when the file says that it is of another parameter.
void declare_one_port(Network& network, char parameter, double reference);

/// S21, or S10_2 when there are ten ports and more.
std::string element_name(char parameter, const polefit::MatrixElement& element, std::size_t ports);

/// All elements of the matrix, row by row: S11, S12, S21, S22.
std::vector<polefit::MatrixElement> all_elements(std::size_t ports);

}  // namespace polefit_cli
