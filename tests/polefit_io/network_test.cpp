#include "polefit/network.hpp"

#include <gtest/gtest.h>

namespace {

using polefit::all_elements;
using polefit::element_name;
using polefit::Network;

TEST(Network, elements_of_ten_ports_have_a_mark_between_row_and_column) {
  EXPECT_EQ(element_name('S', {2, 1}, 9), "S21");
  EXPECT_EQ(element_name('Z', {10, 2}, 10), "Z10_2");
  EXPECT_EQ(element_name('Y', {1, 2}, 12), "Y1_2");
}

TEST(Network, elements_are_listed_row_by_row) {
  EXPECT_EQ(all_elements(2), (std::vector<polefit::MatrixElement>{{1, 1}, {1, 2}, {2, 1}, {2, 2}}));
}

}  // namespace
