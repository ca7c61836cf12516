/// Help that fits a terminal: lines that are not too long, and no more about an option than a user needs.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace polefit_cli {

class Help : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace polefit_cli
