/// Files of the library's users, with errors as the library's one exception.
#pragma once

#include <string>

#include "polefit/error.hpp"
#include "text/io_error.hpp"
#include "text/whole_file.hpp"

namespace polefit {

/// What `action` returns; an error of input or output comes out as one of this kind.
template <class Action>
auto with_our_error(ErrorKind kind, const Action& action) {
  try {
    return action();
  } catch (const text::IoError& error) {
    throw Error(kind, text::line_message(error.details()));
  }
}

/// Makes `content` the file, which until it is whole is the old one.
inline void write_file(ErrorKind kind, const std::string& file, const std::string& content) {
  with_our_error(kind, [&] { text::replace_whole_file(file, content); });
}

}  // namespace polefit
