#include "text/io_error.hpp"

#include <cstddef>
#include <system_error>
#include <utility>

namespace text {
namespace {

std::string message(const IoErrorDetails& details, const char* record, const char* item) {
  std::string text = details.file;
  if (details.record > 0) {
    text.append(", ").append(record).append(" ").append(std::to_string(details.record));
  }
  if (details.item > 0) {
    text.append(", ").append(item).append(" ").append(std::to_string(details.item));
  }
  return text + ": found " + details.found + ", expected " + details.expected;
}

}  // namespace

IoError::IoError(IoErrorDetails details)
    : std::runtime_error(message(details, "record", "item")), details_(std::move(details)) {}

std::string line_message(const IoErrorDetails& details) { return message(details, "line", "value"); }

IoError system_io_error(std::string file, int error_number, std::string expected, std::int64_t record) {
  const std::string reason = std::generic_category().message(error_number);
  return IoError({.file = std::move(file),
                  .record = record,
                  .found = "the system error \"" + reason + "\"",
                  .expected = std::move(expected)});
}

std::string excerpt(std::string_view text) {
  constexpr std::size_t longest = 40;
  constexpr std::string_view hex = "0123456789ABCDEF";
  std::string shown = "\"";
  for (const char c : text.substr(0, longest)) {
    if (c >= ' ' && c <= '~') {
      shown += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      shown += {'\\', 'x', hex[byte >> 4U], hex[byte & 15U]};
    }
  }
  return shown + (text.size() > longest ? "...\"" : "\"");
}

}  // namespace text
