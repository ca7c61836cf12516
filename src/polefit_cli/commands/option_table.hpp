/// Every command and every option, once: the command line, its help and the completion of shells are made
/// from this table, and so is the refusal of options that have no effect.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace polefit_cli {

/// What stands behind an option.
enum class ValueKind {
  none,    ///< nothing: it is a flag
  any,     ///< what no shell can complete
  file,    ///< the name of a file
  choice,  ///< one of the words between the bars of the type
};

/// Options beside which another one has no effect, or without which.
struct Condition {
  std::string_view options;   ///< with bars between them
  std::string_view why = {};  ///< a clause for the refusal, unless that is plain
};

struct OptionEntry {
  std::string_view names;  ///< "--error"; "-o,--output"; a flag and its opposite; or a place, such as "MODEL"
  ValueKind kind = ValueKind::none;
  std::string_view type = {};  ///< as help shows it
  std::string_view description;
  bool required = false;
  std::string_view group = {};                    ///< title in the help; of one group one option may be given
  Condition wanted_by = {};                       ///< one of these has to be given, where there are some
  std::span<const Condition> superseded_by = {};  ///< none of these may be given
};

struct CommandEntry {
  std::string_view name;
  std::string_view description;
  std::string_view footer;               ///< of its help
  std::string_view wanted_group = {};    ///< a group of options of which one has to be given
  std::span<const OptionEntry> options;  ///< in the order of the help
};

/// In the order of the help.
std::span<const CommandEntry> command_table();

/// Whether the entry stands for an argument at a place, without a name.
inline bool is_place(const OptionEntry& entry) { return !entry.names.starts_with('-'); }

/// The first of its names that begins with two dashes; a place's only one.
std::string_view main_name(const OptionEntry& entry);

/// Whether the name is one of the entry's.
bool has_name(const OptionEntry& entry, std::string_view name);

/// "a", "a or b", "a, b or c".
std::string either_of(std::span<const std::string_view> words);

}  // namespace polefit_cli
