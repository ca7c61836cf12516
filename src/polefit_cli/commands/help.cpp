#include "polefit_cli/commands/help.hpp"

#include <cstddef>
#include <string_view>
#include <utility>

namespace polefit_cli {

std::string Help::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
  std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
  constexpr std::string_view gap = "\n\n\n";
  for (std::size_t found = text.find(gap); found != std::string::npos; found = text.find(gap)) {
    text.erase(found, 1);
  }
  return text;
}

std::string Help::make_option_name(const CLI::Option* option, bool is_positional) const {
  std::string name = CLI::Formatter::make_option_name(option, is_positional);
  // How a flag is told from its opposite is no matter of the user's.
  constexpr std::string_view mark = "{false}";
  for (std::size_t found = name.find(mark); found != std::string::npos; found = name.find(mark)) {
    name.erase(found, mark.size());
  }
  return name;
}

std::string Help::make_option_opts(const CLI::Option* option) const {
  const std::string type = option->get_type_name();
  return option->get_positional() || type.empty() ? "" : " " + type;
}

std::string Help::make_option_desc(const CLI::Option* option) const {
  constexpr std::size_t width = 60;
  std::string text = CLI::Formatter::make_option_desc(option);
  std::size_t line = 0;
  while (text.size() - line > width) {
    const std::size_t blank = text.rfind(' ', line + width);
    if (blank == std::string::npos || blank <= line) {
      break;
    }
    text[blank] = '\n';
    line = blank + 1;
  }
  return text;
}

}  // namespace polefit_cli
