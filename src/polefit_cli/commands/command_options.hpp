/// A command of the table, made for one command line.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "polefit_cli/commands/option_table.hpp"
#include "polefit_cli/commands/option_values.hpp"

namespace polefit_cli {

class CommandOptions {
 public:
  /// Adds the command to a program, which must outlive it; its options too unless it cannot be the one that
  /// is meant, since there are many.
  CommandOptions(CLI::App& program, const CommandEntry& command, bool may_be_meant);

  /// What is wrong with the options that were given together, or nothing. `arguments` are the whole line.
  std::string complaint_about_choice(std::span<const char* const> arguments) const;

  /// Has the values of all options taken that were given; what is wrong with one of them, or nothing. Every
  /// option of the table has its value here.
  std::string take(OptionValues values) const;

 private:
  void add(const OptionEntry& option);
  bool is_given(std::string_view name) const { return options_.at(name)->count() > 0; }
  /// Those that were given, of several with bars between them.
  std::vector<std::string_view> given_of(std::string_view names) const;
  std::string lack_of_effect(const OptionEntry& option) const;
  std::string complaint_about_group(std::string_view group, bool wanted) const;

  const CommandEntry* command_;
  CLI::App* app_;
  // By main names; the library's own search ends the process where memory does not suffice for it.
  std::map<std::string_view, CLI::Option*> options_;
};

}  // namespace polefit_cli
