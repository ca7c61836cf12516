#include "polefit_cli/commands/networks.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <optional>
#include <utility>

#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {
namespace {

/// A file, or standard input, that is open for reading.
class Input {
 public:
  explicit Input(const std::string& name) {
    if (!is_standard_stream(name)) {
      file_.emplace(name);
    }
  }
  int descriptor() const { return file_ ? file_->descriptor() : STDIN_FILENO; }

 private:
  std::optional<text::InputFile> file_;
};

/// The beginning of the file, as far as its first character that is no blank, or all.
std::string read_beginning(int descriptor, const std::string& shown) {
  constexpr std::size_t piece = std::size_t{1} << 16;
  std::string text;
  while (text.find_first_not_of(" \t\r\n") == std::string::npos) {
    const std::size_t before = text.size();
    text.resize(before + piece);
    const ssize_t count = ::read(descriptor, text.data() + before, piece);
    const int error = errno;
    text.resize(before + (count < 0 ? 0 : static_cast<std::size_t>(count)));
    if (count == 0) {
      break;
    }
    if (count < 0 && error != EINTR) {
      throw text::system_io_error(shown, error, "a file that can be read");
    }
    if (text.size() > text::text_limits().line) {
      throw text::IoError({.file = shown, .found = "nothing but blanks", .expected = "a network or a model"});
    }
  }
  return text;
}

polefit::Network told(polefit::Network network) {
  for (const std::string& warning : network.warnings) {
    text::print_error("polefit", text::printable("warning: " + warning));
  }
  return network;
}

}  // namespace

polefit::Network read_network(const NetworkSource& source) {
  const Input input(source.file);
  return told(polefit::network_from_descriptor(input.descriptor(), shown_input(source.file), source.format));
}

std::variant<polefit::Network, std::string> read_network_or_model(const NetworkSource& source) {
  const std::string shown = shown_input(source.file);
  const Input input(source.file);
  std::string begun = read_beginning(input.descriptor(), shown);
  if (source.format == polefit::NetworkFormat::by_name && looks_like_model(begun)) {
    return text::read_text(input.descriptor(), shown, text::text_limits(), std::move(begun));
  }
  return told(polefit::network_from_descriptor(input.descriptor(), shown, source.format, std::move(begun)));
}

}  // namespace polefit_cli
