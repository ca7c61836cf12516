/// The one error of input and output: a file that holds what it should not, or cannot be read or written.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace text {

/// Where an input or output error happened, and what it was.
struct IoErrorDetails {
  std::string file;         ///< name as messages show it
  std::int64_t record = 0;  ///< line, counted from 1; 0 where no record is meant
  int item = 0;             ///< value within the read, counted from 1; 0 where no value is meant
  std::string found;
  std::string expected;
};

/// Ends the run with exit status 2; its text is the message for the user, without the program's name.
class IoError : public std::runtime_error {
 public:
  explicit IoError(IoErrorDetails details);
  const IoErrorDetails& details() const { return details_; }

 private:
  IoErrorDetails details_;
};

/// "file, line 12, value 3: found ..., expected ...": the message where records are lines and items values.
std::string line_message(const IoErrorDetails& details);

/// The error for a failed operation of the system on a file, `error_number` being its errno; `record` as in
/// the details.
IoError system_io_error(std::string file, int error_number, std::string expected, std::int64_t record = 0);

/// Text from outside as a message shows it: in quotes, short and in printable ASCII.
std::string excerpt(std::string_view text);

}  // namespace text
