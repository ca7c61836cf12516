#include "polefit_cli/commands/models.hpp"

#include <gtest/gtest.h>

#include <string>

#include "polefit/model_file.hpp"

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

}  // namespace
