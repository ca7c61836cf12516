/// Files read and written whole: a file of a name is either the old or the whole new one, never a part of it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace text {

/// The bytes of the file. Throws IoError when it cannot be opened or read.
std::string read_whole_file(const std::string& name);

/// Makes `content` the file of that name (see ReplacementFile). Throws IoError, after which the old file is
/// what it was.
void replace_whole_file(const std::string& name, std::string_view content);

/// A file that takes the place of another one when it is finished: it is made beside the target, filled here
/// or under its own name by another program, and renamed. It goes when it is not committed.
///
/// A link stays a link to the file that is replaced, and the permissions stay. What is no regular file, such
/// as a device, is refused. All functions throw IoError with the name of the target.
class ReplacementFile {
 public:
  /// Makes the file, empty.
  explicit ReplacementFile(const std::string& target);
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  ~ReplacementFile();

  /// Under which another program may write into the file, without putting a new one in its place. Short, so
  /// that the target may have the longest name that the system allows.
  const std::string& name() const { return name_; }

  /// Appends.
  void write(std::string_view content);

  /// The content is on the disk before the name changes hands: what a crash leaves is the old file or the
  /// whole new one. The last call.
  void commit();

 private:
  struct Place {
    std::filesystem::path file;  ///< to which links lead
    std::optional<mode_t> permissions;
  };
  static Place place_of(const std::string& target);
  ReplacementFile(std::string target, Place place);

  std::string target_;
  Place place_;
  std::string name_;  // none once it is renamed
  int descriptor_ = -1;
};

/// The bytes that are left to read from an open file, which messages call `shown`. Throws IoError.
std::string read_to_end(int descriptor, const std::string& shown);

/// Writes all of `content` to an open file, which messages call `shown`. Throws IoError.
void write_all(int descriptor, std::string_view content, const std::string& shown);

}  // namespace text
