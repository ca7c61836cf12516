/// What the table of options says, the command line does.

#include "polefit_cli/commands/option_table.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "polefit_cli/commands/command_line.hpp"
#include "text/parts.hpp"

namespace {

using namespace polefit_cli;

/// A value that the option takes.
std::string example_of(const OptionEntry& option) {
  if (option.kind == ValueKind::choice) {
    return std::string(text::parts_of(option.type, '|').front());
  }
  return option.kind == ValueKind::file ? "file" : "3";
}

const OptionEntry& entry_of(const CommandEntry& command, std::string_view name) {
  return *std::find_if(command.options.begin(), command.options.end(),
                       [&](const OptionEntry& option) { return has_name(option, name); });
}

/// Words of a command line; no option twice.
class Line {
 public:
  explicit Line(const CommandEntry& command) : command_(command) { words_.emplace_back(command.name); }

  void add(const OptionEntry& option) { add(option, example_of(option)); }
  void add(const OptionEntry& option, const std::string& value) {
    if (!added_.insert(main_name(option)).second) {
      return;
    }
    if (!is_place(option)) {
      words_.emplace_back(main_name(option));
    }
    if (option.kind != ValueKind::none) {
      words_.push_back(value);
    }
  }

  /// What else it takes for `option` to be allowed: required ones, one of a group, what it is wanted by.
  void complete_for(const OptionEntry& option) {
    for (const OptionEntry& other : command_.options) {
      if (other.required) {
        add(other, &other == &option ? example_of(other) : "required");
      }
    }
    const std::vector<std::string_view> wanted = text::parts_of(option.wanted_by.options, '|');
    if (!option.wanted_by.options.empty() &&
        std::none_of(wanted.begin(), wanted.end(),
                     [&](std::string_view name) { return added_.count(name) == 1; })) {
      add(entry_of(command_, wanted.front()));
    }
    const bool has_one =
        std::any_of(command_.options.begin(), command_.options.end(), [&](const OptionEntry& other) {
          return other.group == command_.wanted_group && added_.count(main_name(other)) == 1;
        });
    if (!command_.wanted_group.empty() && !has_one) {
      add(*std::find_if(command_.options.begin(), command_.options.end(),
                        [&](const OptionEntry& other) { return other.group == command_.wanted_group; }));
    }
  }

  /// The complaint about the line, or nothing.
  std::string complaint() const {
    std::vector<const char*> arguments;
    for (const std::string& word : words_) {
      arguments.push_back(word.c_str());
    }
    const auto parsed = parse_command_line(arguments);
    const Answer* const answer = std::get_if<Answer>(&parsed);
    return answer == nullptr ? std::string() : answer->text;
  }

 private:
  const CommandEntry& command_;
  std::vector<std::string> words_;
  std::set<std::string_view> added_;
};

/// A drawing wants data or the poles.
void add_what_is_drawn(Line& line, const CommandEntry& command, const OptionEntry& option) {
  if (command.name == "plot" && main_name(option) != "--poles") {
    line.add(entry_of(command, "NETWORK"));
  }
}

TEST(OptionTable, every_choice_is_one_of_the_command_line_and_no_other_is) {
  for (const CommandEntry& command : command_table()) {
    for (const OptionEntry& option : command.options) {
      if (option.kind != ValueKind::choice) {
        continue;
      }
      for (const std::string_view word : text::parts_of(option.type, '|')) {
        Line line(command);
        line.add(option, std::string(word));
        line.complete_for(option);
        add_what_is_drawn(line, command, option);
        EXPECT_EQ(line.complaint(), "") << command.name << " " << option.names << " " << word;
      }
      Line line(command);
      line.add(option, "none-of-them");
      line.complete_for(option);
      add_what_is_drawn(line, command, option);
      EXPECT_TRUE(line.complaint().starts_with(std::string(main_name(option)) +
                                               ": found \"none-of-them\", expected " +
                                               std::string(option.type) + ";"))
          << line.complaint();
    }
  }
}

TEST(OptionTable, an_option_is_refused_beside_what_supersedes_it) {
  std::size_t refused = 0;
  for (const CommandEntry& command : command_table()) {
    for (const OptionEntry& option : command.options) {
      for (const Condition& condition : option.superseded_by) {
        for (const std::string_view other : text::parts_of(condition.options, '|')) {
          Line line(command);
          line.complete_for(option);
          line.add(option);
          line.add(entry_of(command, other));
          const std::string expected =
              std::string(main_name(option)) + " has no effect with " + std::string(other);
          EXPECT_TRUE(line.complaint().starts_with(expected)) << line.complaint() << "\n" << expected;
          ++refused;
        }
      }
    }
  }
  EXPECT_GE(refused, 6U);
}

TEST(OptionTable, an_option_is_refused_without_what_it_is_wanted_by_and_taken_with_each_of_that) {
  std::size_t refused = 0;
  for (const CommandEntry& command : command_table()) {
    for (const OptionEntry& option : command.options) {
      if (option.wanted_by.options.empty()) {
        continue;
      }
      for (const std::string_view other : text::parts_of(option.wanted_by.options, '|')) {
        Line line(command);
        line.add(entry_of(command, other), "4");
        // No pole is left without its conjugate, and a circuit has a name.
        line.add(option, main_name(option) == "--real"   ? "2"
                         : main_name(option) == "--name" ? "x"
                                                         : example_of(option));
        line.complete_for(option);
        EXPECT_EQ(line.complaint(), "") << command.name << " " << option.names << " with " << other;
      }
      Line without(command);
      for (const OptionEntry& other : command.options) {
        if (other.required) {
          without.add(other);
        }
      }
      without.add(option);
      const std::string complaint = without.complaint();
      EXPECT_TRUE(complaint.starts_with(std::string(main_name(option)) + " has no effect without "))
          << complaint;
      ++refused;
    }
  }
  EXPECT_GE(refused, 11U);
}

TEST(OptionTable, names_that_entries_refer_to_are_of_the_same_command) {
  for (const CommandEntry& command : command_table()) {
    const auto is_of_command = [&](std::string_view name) {
      return std::any_of(command.options.begin(), command.options.end(),
                         [&](const OptionEntry& option) { return has_name(option, name); });
    };
    for (const OptionEntry& option : command.options) {
      std::vector<Condition> conditions(option.superseded_by.begin(), option.superseded_by.end());
      conditions.push_back(option.wanted_by);
      for (const Condition& condition : conditions) {
        for (const std::string_view name : text::parts_of(condition.options, '|')) {
          EXPECT_TRUE(name.empty() || is_of_command(name))
              << command.name << " " << option.names << " " << name;
        }
      }
    }
  }
}

}  // namespace
