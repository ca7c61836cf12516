#include "polefit_cli/commands/command_options.hpp"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <set>

#include "text/parts.hpp"

namespace polefit_cli {
namespace {

/// The names as CLI11 takes them, where an opposite has a mark.
std::string marked_names(const OptionEntry& option) {
  std::string all;
  for (const std::string_view name : text::parts_of(option.names, ',')) {
    all += all.empty() ? "" : ",";
    all += option.kind == ValueKind::none && name.starts_with("--no-") ? "!" : "";
    all += name;
  }
  return all;
}

/// The name under which an option was given; that of a flag may be its opposite's.
std::string name_as_given(const OptionEntry& option, std::span<const char* const> arguments) {
  for (const std::string_view argument : arguments) {
    const std::string_view name = argument.substr(0, argument.find('='));
    if (!is_place(option) && has_name(option, name)) {
      return std::string(name);
    }
  }
  return std::string(main_name(option));
}

/// " has no effect with --poles: because".
std::string no_effect(std::string_view preposition, std::string_view other, std::string_view why) {
  std::string text = " has no effect ";
  text.append(preposition).append(" ").append(other);
  return why.empty() ? text : text.append(": ").append(why);
}

}  // namespace

CommandOptions::CommandOptions(CLI::App& program, const CommandEntry& command, bool may_be_meant)
    : command_(&command),
      app_(program.add_subcommand(std::string(command.name), std::string(command.description))) {
  if (!may_be_meant) {
    return;
  }
  for (const OptionEntry& option : command.options) {
    add(option);
  }
  app_->footer(std::string(command.footer));
}

void CommandOptions::add(const OptionEntry& option) {
  const std::string names = marked_names(option);
  const std::string description(option.description);
  CLI::Option* added = nullptr;
  if (option.kind == ValueKind::none) {
    added = app_->add_flag(names, description);
  } else {
    added = app_->add_option(names, CLI::callback_t(), description);
    added->type_name(std::string(option.type))->expected(1)->required(option.required);
    // What may not be repeated is refused when it is taken.
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }
  options_.emplace(main_name(option), added);
  if (!option.group.empty()) {
    added->group(std::string(option.group));
  }
}

std::vector<std::string_view> CommandOptions::given_of(std::string_view names) const {
  std::vector<std::string_view> given;
  if (!names.empty()) {
    const std::vector<std::string_view> all = text::parts_of(names, '|');
    std::copy_if(all.begin(), all.end(), std::back_inserter(given),
                 [&](std::string_view name) { return is_given(name); });
  }
  return given;
}

std::string CommandOptions::lack_of_effect(const OptionEntry& option) const {
  for (const Condition& condition : option.superseded_by) {
    const std::vector<std::string_view> given = given_of(condition.options);
    if (!given.empty()) {
      return no_effect("with", given.front(), condition.why);
    }
  }
  const Condition& wanted = option.wanted_by;
  return wanted.options.empty() || !given_of(wanted.options).empty()
             ? std::string()
             : no_effect("without", either_of(text::parts_of(wanted.options, '|')), wanted.why);
}

std::string CommandOptions::complaint_about_group(std::string_view group, bool wanted) const {
  std::vector<std::string_view> all;
  std::vector<std::string_view> given;
  for (const OptionEntry& option : command_->options) {
    if (option.group == group) {
      all.push_back(main_name(option));
      if (is_given(all.back())) {
        given.push_back(all.back());
      }
    }
  }
  if (given.size() > 1) {
    return std::string(given[0]) + " and " + std::string(given[1]) + " were given, expected one of them";
  }
  return wanted && given.empty() ? std::string(command_->name) + " wants " + either_of(all) : "";
}

std::string CommandOptions::complaint_about_choice(std::span<const char* const> arguments) const {
  std::set<std::string_view> groups;
  for (const OptionEntry& option : command_->options) {
    const std::string lack = is_given(main_name(option)) ? lack_of_effect(option) : "";
    if (!lack.empty()) {
      return name_as_given(option, arguments) + lack;
    }
    if (!option.group.empty()) {
      groups.insert(option.group);
    }
  }
  for (const std::string_view group : groups) {
    std::string complaint = complaint_about_group(group, group == command_->wanted_group);
    if (!complaint.empty()) {
      return complaint;
    }
  }
  return {};
}

std::string CommandOptions::take(OptionValues values) const {
  for (const OptionEntry& option : command_->options) {
    std::string name(main_name(option));
    const OptionValue value = values.at(name);
    values.erase(name);
    const std::vector<std::string> texts = options_.at(name)->results();
    if (texts.size() > 1 && !value.repeats) {
      return name.append(": found it " + std::to_string(texts.size()) + " times, expected once");
    }
    for (const std::string& text : texts) {
      const std::string complaint = value.take(text);
      if (!complaint.empty()) {
        return name.append(": ").append(complaint);
      }
    }
  }
  assert(values.empty());
  return {};
}

}  // namespace polefit_cli
