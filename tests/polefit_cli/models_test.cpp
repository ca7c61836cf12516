#include "polefit_cli/commands/models.hpp"

#include <gtest/gtest.h>

#include <string>

#include "polefit/model_file.hpp"
#include "text/io_error.hpp"

namespace {

using namespace polefit_cli;

std::string model_text() {
  polefit::Model model;
  model.poles = {-2.0};
  model.residues = {3.0};
  model.constants = {0.5};
  model.proportionals = {0.0};
  return polefit::to_json(model);
}

TEST(Models, a_byte_order_mark_changes_nothing) {
  const std::string text = model_text();
  const std::string marked = "\xEF\xBB\xBF" + text;
  EXPECT_TRUE(looks_like_model(text));
  EXPECT_TRUE(looks_like_model(marked));
  EXPECT_TRUE(looks_like_model("\xEF\xBB\xBF \r\n\t{"));
  EXPECT_EQ(polefit::to_json(model_of(marked, "m.json")), text);
}

TEST(Models, what_does_not_begin_with_a_brace_is_no_model) {
  for (const char* const text :
       {"", " \n", "# Hz S RI R 50\n", "f,S11 re,S11 im\n", "\xEF\xBB\xBF", "\xEF\xBB{"}) {
    EXPECT_FALSE(looks_like_model(text)) << text;
  }
}

polefit::Model two_port() {
  polefit::Model model;
  model.constants = model.proportionals = {0.0, 0.0, 0.0, 0.0};
  model.network = {'S', {50.0, 50.0}, {{1, 1}, {1, 2}, {2, 1}, {2, 2}}};
  return model;
}

TEST(Models, a_response_is_found_by_its_element_or_by_its_name_or_number) {
  polefit::Model model = two_port();
  EXPECT_EQ(find_response(model, "S12", "m.json"), 1U);
  EXPECT_EQ(find_response(model, "S(2,1)", "m.json"), 2U);
  EXPECT_EQ(find_response(model, "s22", "m.json"), 3U);
  EXPECT_EQ(response_name(model, 0), "1");
  EXPECT_EQ(find_response(model, "4", "m.json"), 3U);
  model.names = {"reflection", "back", "forth", "rest"};
  EXPECT_EQ(find_response(model, "forth", "m.json"), 2U);
  EXPECT_EQ(response_name(model, 3), "rest");
}

TEST(Models, a_response_that_is_not_there_is_refused_with_those_that_are) {
  for (const char* const name : {"Z12", "S13", "0", "5", "s"}) {
    try {
      find_response(two_port(), name, "m.json");
      ADD_FAILURE() << name << " was found";
    } catch (const text::IoError& error) {
      EXPECT_EQ(error.details().file, "m.json");
      EXPECT_EQ(error.details().found, std::string("no response \"") + name + "\"");
      EXPECT_EQ(error.details().expected, "one of 1, 2, 3, 4");
    }
  }
}

}  // namespace
