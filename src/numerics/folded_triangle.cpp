#include "numerics/folded_triangle.hpp"

#include <algorithm>

namespace numerics {

FoldedTriangle::FoldedTriangle(std::size_t columns, std::size_t height)
    : step_(room_for_factorisation(columns + height, columns)) {}

void FoldedTriangle::fold() {
  for (std::size_t j = 0; j < columns(); ++j) {
    std::copy_n(step_.r.column(j), columns(), step_.v.column(j));
  }
  factorise_in_place(step_);
}

}  // namespace numerics
