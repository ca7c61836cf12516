#include "polefit_io/network/touchstone/layout.hpp"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

using namespace polefit_io;
using Places = std::vector<std::size_t>;

/// Of all elements, row by row.
Places places_of(const Layout& layout) {
  Places places;
  for (const polefit::MatrixElement& element : polefit::all_elements(layout.ports)) {
    places.push_back(layout.place(element));
  }
  return places;
}

TEST(TouchstoneLayout, a_full_matrix_goes_by_rows_or_by_columns) {
  EXPECT_EQ(places_of({.ports = 2, .order = PortOrder::by_rows}), (Places{0, 2, 4, 6}));
  EXPECT_EQ(places_of({.ports = 2, .order = PortOrder::by_columns}), (Places{0, 4, 2, 6}));
}

TEST(TouchstoneLayout, halves_go_by_rows_and_mirror_their_elements) {
  EXPECT_EQ(places_of({.ports = 3, .format = MatrixFormat::lower}), (Places{0, 2, 6, 2, 4, 8, 6, 8, 10}));
  EXPECT_EQ(places_of({.ports = 3, .format = MatrixFormat::upper}), (Places{0, 2, 4, 2, 6, 8, 4, 8, 10}));
}

TEST(TouchstoneLayout, the_places_are_all_the_values_two_by_two) {
  for (const MatrixFormat format : {MatrixFormat::full, MatrixFormat::lower, MatrixFormat::upper}) {
    for (std::size_t ports = 1; ports <= 12; ++ports) {
      const Layout layout{.ports = ports, .format = format};
      const Places places = places_of(layout);
      const std::set<std::size_t> distinct(places.begin(), places.end());
      EXPECT_EQ(2 * distinct.size(), layout.values()) << ports;
      EXPECT_EQ(*distinct.rbegin() + 2, layout.values()) << ports;
    }
  }
}

}  // namespace
