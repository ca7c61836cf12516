/// Help, man pages and completions tell of the same options.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/completion.hpp"
#include "support.hpp"

namespace {

using namespace polefit_cli;
using testing_support::content_of;

const std::vector<std::string> commands{"fit",  "plot", "passivity", "export",
                                        "eval", "time", "convert",   "info"};

std::filesystem::path source(const std::string& name) {
  return std::filesystem::path(POLEFIT_SOURCE_FOLDER) / name;
}

/// The words of a text that begin with two dashes and a letter, without those dashes.
std::set<std::string> long_options(const std::string& text) {
  const auto part_of_word = [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; };
  std::set<std::string> options;
  for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at)) {
    at += 2;
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = std::find_if_not(begin, text.end(), part_of_word);
    if (begin != end && *begin != '-') {
      options.emplace(begin, end);
    }
  }
  return options;
}

std::set<std::string> options_in_help(const std::string& command) {
  const std::vector<const char*> arguments{command.c_str(), "--help"};
  const auto answer = parse_command_line(arguments);
  return long_options(std::get<Answer>(answer).text);
}

std::string man_page(const std::string& name) {
  std::string text = content_of(source("docs/man/" + name + ".1"));
  text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
  return text;
}

/// The part of a completion for one command: behind its name as a case, up to the next ";;".
std::string case_of(const std::string& script, const std::string& command) {
  const std::size_t begin = script.find("        " + command + ")");
  EXPECT_NE(begin, std::string::npos) << command;
  return script.substr(begin, script.find(";;", begin) - begin);
}

/// The options before descriptions in brackets; behind the other mentions there is something else.
std::set<std::string> described_options(const std::string& text) {
  std::set<std::string> options;
  for (const std::string& option : long_options(text)) {
    if (text.find("--" + option + "[") != std::string::npos) {
      options.insert(option);
    }
  }
  return options;
}

TEST(Documentation, man_pages_tell_of_the_options_in_the_help_and_of_no_others) {
  for (const std::string& command : commands) {
    std::set<std::string> in_page = long_options(man_page("polefit-" + command));
    EXPECT_EQ(in_page, options_in_help(command)) << command;
    EXPECT_NE(man_page("polefit").find("polefit-" + command), std::string::npos);
  }
}

TEST(Documentation, completion_for_zsh_offers_no_option_beside_one_that_it_is_of_no_use_with) {
  const std::string script = zsh_completion();
  for (const char* const rivals :
       {"'(--grid --like)--like[", "'(--weights --weights-file)--weights[",
        "'(--weights --weights-file)--weights-file[", "'(--no-stable --stable)--stable["}) {
    EXPECT_NE(script.find(rivals), std::string::npos) << rivals;
  }
}

TEST(Documentation, completions_know_the_options_in_the_help_and_no_others) {
  for (const std::string& command : commands) {
    const std::set<std::string> expected = options_in_help(command);
    EXPECT_EQ(long_options(case_of(bash_completion(), command)), expected) << command;
    EXPECT_EQ(described_options(case_of(zsh_completion(), command)), expected) << command;
  }
}

TEST(Documentation, changes_and_packages_are_of_the_version_of_the_program) {
  const std::string version = POLEFIT_VERSION;
  EXPECT_EQ(content_of(source("debian/changelog")).find("polefit (" + version + ") "), 0U);
  EXPECT_EQ(content_of(source("CHANGELOG.md")).find("# Changes\n\n## " + version + "\n"), 0U);
}

}  // namespace
