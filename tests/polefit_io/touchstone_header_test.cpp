#include "polefit_io/network/touchstone/header.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "polefit_io/touchstone_support.hpp"

namespace {

using namespace polefit_io;
using testing_support::line;
using testing_support::refusal_of;

/// The header of those lines, counted from 1.
TouchstoneHeader header_of(std::initializer_list<const char*> texts,
                           std::optional<std::size_t> named_ports = {}) {
  TouchstoneHeader header(named_ports);
  std::int64_t number = 0;
  for (const char* const text : texts) {
    const KeywordLine found = keyword_line(text).value();
    header.admit(found.keyword, line(++number));
    header.declare(found, line(number));
  }
  return header;
}

TEST(TouchstoneHeader, a_text_without_keywords_is_not_of_version_2) {
  EXPECT_FALSE(TouchstoneHeader().version_2());
  EXPECT_TRUE(header_of({"[Version] 2.0"}).version_2());
}

TEST(TouchstoneHeader, the_layout_is_what_the_keywords_say) {
  const Layout layout = header_of({"[Version] 2.0", "[Number of Ports] 2", "[Two-Port Data Order] 21_12",
                                   "[Matrix Format] Lower"})
                            .layout(line(5));
  EXPECT_EQ(layout.ports, 2U);
  EXPECT_EQ(layout.order, PortOrder::by_columns);
  EXPECT_EQ(layout.format, MatrixFormat::lower);
}

TEST(TouchstoneHeader, two_ports_may_stand_by_rows) {
  const Layout layout =
      header_of({"[Version] 2.0", "[Number of Ports] 2", "[Two-Port Data Order] 12_21"}).layout(line(4));
  EXPECT_EQ(layout.order, PortOrder::by_rows);
}

TEST(TouchstoneHeader, the_order_of_two_ports_means_nothing_to_others) {
  const Layout layout =
      header_of({"[Version] 2.0", "[Number of Ports] 3", "[Two-Port Data Order] 21_12"}).layout(line(4));
  EXPECT_EQ(layout.order, PortOrder::by_rows);
  EXPECT_EQ(layout.format, MatrixFormat::full);
}

TEST(TouchstoneHeader, a_layout_needs_ports_and_two_of_them_without_an_order_stand_by_columns) {
  EXPECT_EQ(refusal_of([] { header_of({"[Version] 2.0"}).layout(line(2)); }),
            "2: [Network Data] | [Number of Ports] before it");
  const TouchstoneHeader without = header_of({"[Version] 2.1", "[Number of Ports] 2"});
  EXPECT_EQ(without.layout(line(3)).order, PortOrder::by_columns);
  EXPECT_TRUE(without.lacks_order());
  EXPECT_FALSE(header_of({"[Version] 2.1", "[Number of Ports] 3"}).lacks_order());
}

TEST(TouchstoneHeader, references_add_up_over_lines_to_one_for_each_port) {
  TouchstoneHeader header = header_of({"[Version] 2.0", "[Number of Ports] 3", "[Reference] 50 60"});
  EXPECT_EQ(refusal_of([&] { header.layout(line(4)); }),
            "4: 2 resistances of [Reference] | 3, one for each port");
  header.append_references("70", line(4));
  EXPECT_EQ(header.references(), (std::vector<double>{50, 60, 70}));
  EXPECT_EQ(header.layout(line(5)).ports, 3U);
}

TEST(TouchstoneHeader, the_version_comes_first_and_each_keyword_once) {
  EXPECT_EQ(refusal_of([] { header_of({"[End]"}); }), "1: [End] | [Version] 2.0 before any other keyword");
  EXPECT_EQ(refusal_of([] {
              header_of({"[Version] 2.0", "[Version] 2.0"});
            }),
            "2: a second [Version] | each keyword once");
}

TEST(TouchstoneHeader, information_may_stand_there_more_than_once) {
  EXPECT_TRUE(header_of({"[Version] 2.0", "[Begin Information]", "[End Information]", "[Begin Information]",
                         "[End Information]"})
                  .version_2());
}

TEST(TouchstoneHeader, the_files_name_and_the_number_of_ports_agree) {
  EXPECT_EQ(refusal_of([] {
              header_of({"[Version] 2.0", "[Number of Ports] 2"}, 4);
            }),
            "2: [Number of Ports] 2 | 4, which the file's name says");
  EXPECT_EQ(header_of({"[Version] 2.0", "[Number of Ports] 4"}, 4).layout(line(3)).ports, 4U);
}

TEST(TouchstoneHeader, declared_numbers_are_held_against_those_of_the_data) {
  const TouchstoneHeader header =
      header_of({"[Version] 2.0", "[Number of Frequencies] 2", "[Number of Noise Frequencies] 3"});
  header.check_counts(2, 3, line(9));
  EXPECT_EQ(refusal_of([&] { header.check_counts(1, 3, line(9)); }),
            "9: 1 frequencies of network data | 2, as [Number of Frequencies] says");
  EXPECT_EQ(refusal_of([&] { header.check_counts(2, 0, line(9)); }),
            "9: 0 noise frequencies | 3, as [Number of Noise Frequencies] says");
  header_of({"[Version] 2.0"}).check_counts(7, 7, line(2));
}

TEST(TouchstoneHeader, values_that_are_not_the_keywords_are_refused) {
  EXPECT_EQ(refusal_of([] { header_of({"[Version] 1.0"}); }),
            "1: [Version] \"1.0\" | 2.0 or 2.1, or no such line for versions 1.x");
  const auto refused = [](const char* text) {
    return refusal_of([&] { header_of({"[Version] 2.0", text}); });
  };
  EXPECT_EQ(refused("[Number of Ports] 0"), "2: \"0\" | an integer from 1 to 2147483647");
  EXPECT_EQ(refused("[Number of Frequencies]"), "2: no number | an integer from 1 to 2147483647");
  EXPECT_EQ(refused("[Two-Port Data Order] 12_12"), "2: [Two-Port Data Order] \"12_12\" | 12_21 or 21_12");
  EXPECT_EQ(refused("[Matrix Format] Middle"), "2: [Matrix Format] \"Middle\" | Full, Lower or Upper");
  const std::string mode = " | a mode, such as S3 of a single port, D1,2 or C1,2 of a pair";
  EXPECT_EQ(refused("[Mixed-Mode Order] D1,2 X1"), "2: \"X1\"" + mode);
  EXPECT_EQ(refused("[Mixed-Mode Order] D1"), "2: \"D1\"" + mode);
  EXPECT_EQ(refused("[Mixed-Mode Order] S1,2"), "2: \"S1,2\"" + mode);
  EXPECT_EQ(refused("[Mixed-Mode Order] C0,2"), "2: \"C0,2\"" + mode);
  EXPECT_EQ(refused("[Network Data] 1"), "2: \"1\" behind [Network Data] | nothing there");
}

TEST(TouchstoneHeader, modes_that_are_not_those_of_the_ports_are_refused_on_their_line) {
  const auto refused = [](const char* ports, const char* modes) {
    return refusal_of([&] { header_of({"[Version] 2.0", ports, modes}).layout(line(9)); });
  };
  const std::string expected = " | each port once, as S alone or in a pair that has D and C";
  const auto of_two = [&](const char* modes) { return refused("[Number of Ports] 2", modes); };
  EXPECT_EQ(of_two("[Mixed-Mode Order]"),
            "3: [Mixed-Mode Order] in which 0 modes are named for 2 ports" + expected);
  EXPECT_EQ(of_two("[Mixed-Mode Order] D1,2 D1,2"),
            "3: [Mixed-Mode Order] in which D1,2 takes port 1 a second time" + expected);
  EXPECT_EQ(of_two("[Mixed-Mode Order] D1,2 C1,3"),
            "3: [Mixed-Mode Order] in which C1,3 names port 3 of 2" + expected);
  EXPECT_EQ(of_two("[Mixed-Mode Order] D1,2 S1"),
            "3: [Mixed-Mode Order] in which port 1 is neither alone nor in one pair with D and C" + expected);
  EXPECT_EQ(of_two("[Mixed-Mode Order] D1,1 C1,1"),
            "3: [Mixed-Mode Order] in which D1,1 is no mode" + expected);
  EXPECT_EQ(refused("[Number of Ports] 4", "[Mixed-Mode Order] D1,2 C3,4 D3,4 C2,4"),
            "3: [Mixed-Mode Order] in which C2,4 takes port 4 a second time" + expected);
}

TEST(TouchstoneHeader, pairs_of_differential_and_common_modes_are_the_same) {
  EXPECT_EQ(refusal_of([] {
              header_of({"[Version] 2.0", "[Number of Ports] 4", "[Mixed-Mode Order] D1,2 D3,4 C1,3 C2,4"})
                  .layout(line(4));
            }),
            "3: [Mixed-Mode Order] in which port 1 is neither alone nor in one pair with D and C | each port "
            "once, as S "
            "alone or in a pair that has D and C");
}

TEST(TouchstoneHeader, modes_are_kept_in_their_order) {
  const TouchstoneHeader header =
      header_of({"[Version] 2.0", "[Number of Ports] 3", "[Mixed-Mode Order] d2,3 S1 c3,2"});
  EXPECT_EQ(header.layout(line(4)).ports, 3U);
  EXPECT_EQ(header.modes(), (std::vector<polefit::PortMode>{{'D', 2, 3}, {'S', 1, 0}, {'C', 3, 2}}));
}

}  // namespace
