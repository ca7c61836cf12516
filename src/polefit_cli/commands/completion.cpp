#include "polefit_cli/commands/completion.hpp"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>
#include <vector>

#include "polefit_cli/commands/option_table.hpp"
#include "text/parts.hpp"

namespace polefit_cli {
namespace {

/// The choices of an entry with blanks between them.
std::string choices_of(const OptionEntry& option) {
  std::string choices(option.type);
  std::replace(choices.begin(), choices.end(), '|', ' ');
  return choices;
}

// bash

/// Patterns of a case for the words of a command line behind which the value of such an option stands:
/// "fit -o" | "fit --output".
std::string places_of(ValueKind kind) {
  std::string places;
  for (const CommandEntry& command : command_table()) {
    for (const OptionEntry& option : command.options) {
      if (option.kind != kind || is_place(option)) {
        continue;
      }
      for (const std::string_view name : text::parts_of(option.names, ',')) {
        places += places.empty() ? "" : " | ";
        places.append("\"").append(command.name).append(" ").append(name).append("\"");
      }
    }
  }
  return places;
}

std::string choices_in_bash() {
  std::string cases;
  for (const CommandEntry& command : command_table()) {
    for (const OptionEntry& option : command.options) {
      if (option.kind == ValueKind::choice) {
        cases.append("      \"")
            .append(command.name)
            .append(" ")
            .append(main_name(option))
            .append("\") choices=\"");
        cases.append(choices_of(option)).append("\" ;;\n");
      }
    }
  }
  return cases;
}

/// The long names of each command's options.
std::string options_in_bash() {
  std::string cases;
  for (const CommandEntry& command : command_table()) {
    cases.append("        ").append(command.name).append(") choices=\"--help");
    for (const OptionEntry& option : command.options) {
      for (const std::string_view name : text::parts_of(option.names, ',')) {
        cases += name.starts_with("--") ? " " + std::string(name) : "";
      }
    }
    cases += "\" ;;\n";
  }
  return cases;
}

std::string command_names() {
  std::string names;
  for (const CommandEntry& command : command_table()) {
    names += (names.empty() ? "" : " ") + std::string(command.name);
  }
  return names;
}

// zsh

/// `text` where zsh reads it within apostrophes, and where marks of its own have a meaning.
std::string quoted(std::string_view text, std::string_view marks) {
  std::string result;
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
      continue;
    }
    result += marks.find(c) == std::string_view::npos ? "" : "\\";
    result += c;
  }
  return result;
}

/// Names of the options that are of no use beside `option`: its own, one of its group, those that supersede
/// it and those that it supersedes.
std::set<std::string_view> rivals_of(const CommandEntry& command, const OptionEntry& option) {
  std::set<std::string_view> rivals;
  const auto add = [&](const OptionEntry& rival) {
    const std::vector<std::string_view> names = text::parts_of(rival.names, ',');
    rivals.insert(names.begin(), names.end());
  };
  const auto supersedes = [](const OptionEntry& one, const OptionEntry& other) {
    return std::any_of(other.superseded_by.begin(), other.superseded_by.end(),
                       [&](const Condition& condition) {
                         const std::vector<std::string_view> names = text::parts_of(condition.options, '|');
                         return std::any_of(names.begin(), names.end(),
                                            [&](std::string_view name) { return has_name(one, name); });
                       });
  };
  for (const OptionEntry& other : command.options) {
    if (is_place(other)) {
      continue;
    }
    const bool of_group = !option.group.empty() && option.group == other.group;
    if (&other == &option || of_group || supersedes(option, other) || supersedes(other, option)) {
      add(other);
    }
  }
  return rivals;
}

/// What stands behind an option or at a place: ":TYPE:(a b)".
std::string value_in_zsh(const OptionEntry& option) {
  std::string message = ":" + quoted(is_place(option) ? option.names : option.type, ":") + ":";
  switch (option.kind) {
    case ValueKind::none:
      return {};
    case ValueKind::file:
      return message + "_files";
    case ValueKind::choice:
      return message + "(" + choices_of(option) + ")";
    default:
      return message;
  }
}

/// One argument of _arguments for each name of each option, and for each place.
std::string arguments_in_zsh(const CommandEntry& command) {
  std::string arguments;
  std::size_t place = 0;
  for (const OptionEntry& option : command.options) {
    if (is_place(option)) {
      arguments += " \\\n            '" + std::to_string(++place) + value_in_zsh(option) + "'";
      continue;
    }
    std::string rivals;
    for (const std::string_view rival : rivals_of(command, option)) {
      rivals.append(rivals.empty() ? "" : " ").append(rival);
    }
    for (const std::string_view name : text::parts_of(option.names, ',')) {
      const bool opposite = option.kind == ValueKind::none && name.starts_with("--no-");
      const std::string description =
          opposite ? "The opposite of " + std::string(main_name(option)) : quoted(option.description, "[]");
      arguments.append(" \\\n            '(").append(rivals).append(")").append(name);
      arguments.append("[").append(description).append("]").append(value_in_zsh(option)).append("'");
    }
  }
  return arguments;
}

}  // namespace

std::string bash_completion() {
  return R"(# Completion of the command polefit for bash, made from its table of options.

_polefit() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]-}
  local choices="" files="" found
  if [ "$COMP_CWORD" -eq 1 ]; then
    choices=")" +
         command_names() + R"( --help --version"
  else
    case "$command $previous" in
)" + choices_in_bash() +
         "      " + places_of(ValueKind::file) + ") files=yes ;;\n      " + places_of(ValueKind::any) +
         R"() ;;
      *) files=yes ;;
    esac
    if [ -n "$files" ] && [ "${current:0:1}" = - ]; then
      files=""
      case "$command" in
)" + options_in_bash() +
         R"(      esac
    fi
  fi
  COMPREPLY=()
  if [ -n "$files" ]; then
    if found=$(compgen -f -- "$current"); then mapfile -t COMPREPLY <<<"$found"; fi
    compopt -o filenames 2>/dev/null || true
  else
    if found=$(compgen -W "$choices" -- "$current"); then mapfile -t COMPREPLY <<<"$found"; fi
  fi
}

complete -F _polefit polefit
)";
}

std::string zsh_completion() {
  std::string descriptions;
  std::string cases;
  for (const CommandEntry& command : command_table()) {
    descriptions.append("    '").append(command.name).append(":");
    descriptions += quoted(command.description, "") + "'\n";
    cases.append("        ").append(command.name).append(")\n          _arguments '--help[Print help]'");
    cases += arguments_in_zsh(command) + "\n          ;;\n";
  }
  return R"(#compdef polefit
# Completion of the command polefit for zsh, made from its table of options.

_polefit() {
  local -a commands
  commands=(
)" + descriptions +
         R"(  )
  local context state line
  _arguments -C '--help[Print help]' '--version[Print the version]' '1:command:->command' '*::argument:->argument'
  case $state in
    command) _describe command commands ;;
    argument)
      case $words[1] in
)" + cases +
         R"(      esac
      ;;
  esac
}

_polefit "$@"
)";
}

}  // namespace polefit_cli
