/// Files read and written whole: a file of a name is either the old or the whole new one, never a part of it.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace text {

/// What a text may have at most, so that one without an end does not fill the memory.
struct TextLimits {
  std::size_t bytes = 0;
  std::size_t line = 0;  ///< bytes without a line end
};

/// 8 GiB, but not more than a quarter of the machine's memory, of which a text that grows takes twice its
/// size; and 256 MiB in a line: a model of hundreds of ports may stand in one.
TextLimits text_limits();

/// The bytes of the file. Throws IoError when it cannot be opened or read, or exceeds `text_limits`.
std::string read_whole_file(const std::string& name);

/// A file that is open for reading, until this goes.
class InputFile {
 public:
  /// Throws IoError when the file cannot be opened.
  explicit InputFile(const std::string& name);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_ = -1;
};

/// Makes `content` the file of that name (see ReplacementFile). Pipes, character devices and names of open
/// files of this process, such as /dev/stdout, are written to as they are. Throws IoError, after which the
/// old file is what it was.
void replace_whole_file(const std::string& name, std::string_view content);

/// Throws the IoError that `replace_whole_file` would end with, as far as that can be told without making a
/// file: so that nobody waits for a result which has no place to go.
void check_target(const std::string& name);

/// Whether the name is that of this process's standard output among its open files, such as /dev/stdout.
bool is_standard_output(const std::string& name);

/// Removes the files that are about to take the place of others, for a program that a signal ends; a handler
/// of signals may call it.
void remove_unfinished_files() noexcept;

/// A file that takes the place of another one when it is finished: it is made beside the target, filled here
/// or under its own name by another program, and renamed. It goes when it is not committed.
///
/// A link stays a link to the file that is replaced. The owner stays where that is allowed, and so do the
/// permissions but for those to run as the owner. What is no regular file, such as a device, is refused, and
/// so is a file without the permission to write it. All functions throw IoError with the name of the target.
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

  /// Where a target's new file goes.
  struct Place {
    std::filesystem::path file;      ///< to which links lead
    std::optional<struct stat> old;  ///< of the file that is replaced
  };
  /// Throws where the constructor would, as far as that can be told without making a file.
  static Place place_of(const std::string& target);

 private:
  ReplacementFile(std::string target, Place place);

  std::string target_;
  Place place_;
  std::string name_;  // none once it is renamed
  int descriptor_ = -1;
};

/// The bytes that are left to read from an open file, which messages call `shown`. Throws IoError.
std::string read_to_end(int descriptor, const std::string& shown);

/// The same of a text, within its limits, behind what has been read of it before.
std::string read_text(int descriptor, const std::string& shown, const TextLimits& limits = text_limits(),
                      std::string begun = {});

/// Writes all of `content` to an open file, which messages call `shown`. Throws IoError.
void write_all(int descriptor, std::string_view content, const std::string& shown);

}  // namespace text
