/// Responses as the elements of a network's matrix: S, Y or Z, by row and column.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit/export.hpp"

namespace polefit {

/// Row and column of a matrix, counted from 1 as ports are.
struct MatrixElement {
  std::size_t row = 1;     ///< the port that answers
  std::size_t column = 1;  ///< the port that is driven
  /// Equal when both row and column are.
  friend bool operator==(const MatrixElement&, const MatrixElement&) = default;
};

/// What a row and column of a matrix of mixed modes belong to. Of the pair of ports i and j the differential
/// mode has the voltage V_i - V_j and the current (I_i - I_j) / 2, the common mode (V_i + V_j) / 2 and I_i +
/// I_j (IBIS Open Forum, "Touchstone File Format", version 2.0, 2009), so that both carry the power of the
/// pair.
struct PortMode {
  char kind = 'S';        ///< S of a single port, D or C of the differential or common mode of a pair
  std::size_t port = 1;   ///< counted from 1; the first of a pair
  std::size_t other = 0;  ///< the second of a pair; 0 of a single port
  /// Equal when all is.
  friend bool operator==(const PortMode&, const PortMode&) = default;
};

/// What responses are that belong to the matrix of a network.
struct NetworkMatrix {
  char parameter = 'S';                 ///< S, Y (in siemens) or Z (in ohms)
  std::vector<double> references;       ///< resistance of each port, or mode, in ohms
  std::vector<MatrixElement> elements;  ///< one a response
  std::vector<PortMode> modes = {};     ///< one a row of mixed modes; none of single ports
  /// S refers to port impedances that vary with frequency, and `references` are only those that a file names.
  bool references_vary = false;

  /// The number of ports.
  std::size_t ports() const { return references.size(); }
};

/// S21, or S10_2 when there are ten ports and more.
POLEFIT_EXPORT std::string element_name(char parameter, const MatrixElement& element, std::size_t ports);

/// The same of any matrix: SDD21 or SCS1_12 of mixed modes, whose pairs, and ports that are in none, are
/// numbered as they appear.
POLEFIT_EXPORT std::string element_name(const NetworkMatrix& matrix, const MatrixElement& element);

/// Why these cannot be the modes of so many ports, as a clause; nothing when each port is there alone, as S,
/// or in one pair, which has both D and C.
POLEFIT_EXPORT std::optional<std::string> modes_fault(const std::vector<PortMode>& modes, std::size_t ports);

/// "D1,2".
POLEFIT_EXPORT std::string mode_name(const PortMode& mode);

/// All elements of the matrix, row by row: S11, S12, S21, S22.
POLEFIT_EXPORT std::vector<MatrixElement> all_elements(std::size_t ports);

/// The matrix element that a name means.
struct NamedElement {
  char parameter = 'S';   ///< S, Y or Z
  MatrixElement element;  ///< its row and column
};

/// More ports than any network has; a name with a larger number means no element.
inline constexpr std::size_t most_named_ports = 9999;

/// The element that "S21", "S2_1", "S(2,1)" or "S[2,1]" means, with S, Y or Z in either case and blanks
/// beside the numbers; nothing for any other name. Two digits without a mark between them are row and column.
POLEFIT_EXPORT std::optional<NamedElement> named_element(std::string_view name);

/// Which response is which element of a matrix that has all of them, each once.
class WholeMatrix {
 public:
  /// `responses` are those of the elements, row by row.
  WholeMatrix(std::size_t ports, std::vector<std::size_t> responses)
      : ports_(ports), responses_(std::move(responses)) {}

  /// The number of rows and of columns.
  std::size_t ports() const { return ports_; }
  /// The response that is the element of that row and column, which here are counted from 0.
  std::size_t response(std::size_t row, std::size_t column) const {
    return responses_[row * ports_ + column];
  }

 private:
  std::size_t ports_;
  std::vector<std::size_t> responses_;  // row by row
};

/// Where each element of the whole matrix is; nothing unless the elements are all of a matrix of S, Y or Z
/// parameters, each once.
POLEFIT_EXPORT std::optional<WholeMatrix> whole_matrix(const std::optional<NetworkMatrix>& matrix);

/// What stands in place of a whole matrix, as the object of a sentence: "not all elements of a matrix of 2
/// ports; S12 is missing". Nothing when it is whole.
POLEFIT_EXPORT std::optional<std::string> incompleteness(const std::optional<NetworkMatrix>& matrix);

/// The matrix of a one-port. Throws Error: bad_option when the parameter is none of S, Y and Z or the
/// reference not a positive number of ohms; bad_shape when there are not one but several responses, or when
/// `known` is a matrix of another parameter.
POLEFIT_EXPORT NetworkMatrix one_port(std::size_t responses, const std::optional<NetworkMatrix>& known,
                                      char parameter, double reference);

}  // namespace polefit
