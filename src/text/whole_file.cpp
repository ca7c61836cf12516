#include "text/whole_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include "text/io_error.hpp"
#include "text/signals_held.hpp"

namespace text {
namespace {

/// The system would take such a name for another one.
void check_name(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw IoError({.file = "the name of a file",
                   .found = name.empty() ? "nothing" : "a zero byte",
                   .expected = "a name that the system takes whole"});
  }
}

[[noreturn]] void refuse_target(const std::string& target, const char* found) {
  throw IoError({.file = target, .found = found, .expected = "a regular file or a name that is free"});
}

constexpr const char* replaceable = "a file that may be replaced";
constexpr const char* writable = "what can be written to";
constexpr const char* usable_folder = "a folder in which a file can be made";

/// Whether the target is a device without blocks or a pipe, which is written to as it is; refuses what is
/// neither that nor a regular file. Why a file cannot be found shows when one is made.
bool is_stream(const std::string& target) {
  struct stat status = {};
  if (::stat(target.c_str(), &status) != 0 || S_ISREG(status.st_mode)) {
    return false;
  }
  if (!S_ISCHR(status.st_mode) && !S_ISFIFO(status.st_mode)) {
    refuse_target(target, "what is no regular file");
  }
  return true;
}

void check_access(const std::filesystem::path& path, int kind, const std::string& target,
                  const char* expected) {
  if (::faccessat(AT_FDCWD, path.c_str(), kind, AT_EACCESS) != 0) {
    throw system_io_error(target, errno, expected);
  }
}

/// What a folder keeps although one may write to it: a file that something is mounted on, and the files of
/// others where each may only remove his own.
void check_removable(const std::filesystem::path& file, const struct stat& status,
                     const std::string& target) {
  struct stat folder = {};
  const std::filesystem::path parent = file.parent_path();
  if (::stat(parent.empty() ? "." : parent.c_str(), &folder) != 0) {
    throw system_io_error(target, errno, usable_folder);
  }
  if (folder.st_dev != status.st_dev) {
    throw system_io_error(target, EBUSY, replaceable);
  }
  const uid_t user = ::geteuid();
  if ((folder.st_mode & S_ISVTX) != 0 && user != 0 && user != folder.st_uid && user != status.st_uid) {
    throw system_io_error(target, EPERM, replaceable);
  }
}

/// Names of files that are to go when the process is ended by a signal. More than these are left behind.
std::array<std::atomic<const char*>, 16> unfinished;

/// Takes the name down in a free place.
void remember_unfinished(const char* name) {
  for (std::atomic<const char*>& place : unfinished) {
    const char* nothing = nullptr;
    if (place.compare_exchange_strong(nothing, name)) {
      return;
    }
  }
}

void forget_unfinished(const char* name) {
  for (std::atomic<const char*>& place : unfinished) {
    const char* same = name;
    place.compare_exchange_strong(same, nullptr);
  }
}

/// Bytes to make room for at once; a size that a file only claims takes no more memory than that.
std::size_t expected_size(int descriptor) {
  constexpr std::int64_t most = std::int64_t{1} << 30;
  struct stat status = {};
  const bool known = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return known ? static_cast<std::size_t>(std::clamp<std::int64_t>(status.st_size, 0, most)) : 0;
}

/// Closes a file of which nothing is lost by that.
class OpenFile {
 public:
  explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { ::close(descriptor_); }
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

/// Reads to the end, and shows each piece to `check`, with the content up to it.
template <class Check>
std::string read_with(int descriptor, const std::string& shown, std::string content, const Check& check) {
  content.reserve(std::max(content.size(), expected_size(descriptor)));
  std::vector<char> buffer(std::size_t{1} << 16);
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count == 0) {
      return content;
    }
    if (count < 0 && errno != EINTR) {
      throw system_io_error(shown, errno, "a file that can be read");
    }
    const std::string_view piece(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    content.append(piece);
    check(content, piece);
  }
}

/// Follows a text as it is read, so that one without an end is refused before it fills the memory.
class TextBounds {
 public:
  TextBounds(const std::string& shown, const TextLimits& limits) : shown_(shown), limits_(limits) {}

  void check(std::string_view content, std::string_view piece) {
    if (content.size() > limits_.bytes) {
      refuse("more than " + std::to_string(limits_.bytes) + " bytes", "a file of at most as many");
    }
    // Lines that begin and end within a piece are shorter than any limit.
    const std::size_t before = content.size() - piece.size();
    const std::size_t first_end = piece.find('\n');
    const bool ends = first_end != std::string_view::npos;
    if ((ends ? before + first_end : content.size()) - line_ > limits_.line) {
      refuse("a line of more than " + std::to_string(limits_.line) + " bytes", "text in lines");
    }
    line_ = ends ? before + piece.rfind('\n') + 1 : line_;
  }

 private:
  [[noreturn]] void refuse(std::string found, std::string expected) const {
    throw IoError({.file = shown_, .found = std::move(found), .expected = std::move(expected)});
  }

  const std::string& shown_;
  const TextLimits& limits_;
  std::size_t line_ = 0;  // where the last one begins
};

bool is_folder_of_open_files(const std::string& folder) {
  return folder.starts_with("/proc/") && folder.ends_with("/fd");
}

/// Whether the name stands for what this process has open under the number: it may be that of another
/// process, and in a container the numbers of processes are others than their names.
bool is_open_as(const std::filesystem::path& name, int number) {
  struct stat named = {};
  struct stat open = {};
  return ::stat(name.c_str(), &named) == 0 && ::fstat(number, &open) == 0 && named.st_dev == open.st_dev &&
         named.st_ino == open.st_ino;
}

/// The open file that a name of this process stands for, as /dev/stdout does; nothing for other names. Such
/// a file is written to where it stands, for what went there before is to stay.
std::optional<int> own_descriptor(std::filesystem::path name) {
  constexpr int most_links = 40;
  for (int links = 0; links < most_links; ++links) {
    std::error_code failed;
    const std::filesystem::path folder = std::filesystem::canonical(name.parent_path(), failed);
    const std::string number = name.filename().string();
    if (!failed && is_folder_of_open_files(folder.string()) && !number.empty() && number.size() <= 9 &&
        number.find_first_not_of("0123456789") == std::string::npos) {
      const bool own = folder == "/proc/" + std::to_string(::getpid()) + "/fd";
      return own || is_open_as(name, std::stoi(number)) ? std::optional(std::stoi(number)) : std::nullopt;
    }
    const std::filesystem::path target = std::filesystem::read_symlink(name, failed);
    if (failed) {
      return std::nullopt;
    }
    name = name.parent_path() / target;
  }
  return std::nullopt;
}

}  // namespace

std::string read_to_end(int descriptor, const std::string& shown) {
  return read_with(descriptor, shown, {}, [](std::string_view, std::string_view) {});
}

TextLimits text_limits() {
  constexpr std::uint64_t most = std::uint64_t{1} << 33;
  const auto pages = static_cast<std::uint64_t>(std::max<long>(1, ::sysconf(_SC_PHYS_PAGES)));
  const auto size = static_cast<std::uint64_t>(std::max<long>(1, ::sysconf(_SC_PAGESIZE)));
  return {.bytes = std::min(most, pages * size / 4), .line = std::size_t{1} << 28};
}

std::string read_text(int descriptor, const std::string& shown, const TextLimits& limits, std::string begun) {
  TextBounds bounds(shown, limits);
  bounds.check(begun, begun);
  return read_with(descriptor, shown, std::move(begun),
                   [&](std::string_view content, std::string_view piece) { bounds.check(content, piece); });
}

void write_all(int descriptor, std::string_view content, const std::string& shown) {
  while (!content.empty()) {
    const ssize_t count = ::write(descriptor, content.data(), content.size());
    if (count < 0 && errno != EINTR) {
      throw system_io_error(shown, errno, "the content to be written");
    }
    content.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
}

InputFile::InputFile(const std::string& name) {
  check_name(name);
  descriptor_ = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) {
    throw system_io_error(name, errno, "a file that can be opened");
  }
}

InputFile::~InputFile() { ::close(descriptor_); }

std::string read_whole_file(const std::string& name) {
  const InputFile file(name);
  return read_text(file.descriptor(), name);
}

bool is_standard_output(const std::string& name) { return own_descriptor(name) == STDOUT_FILENO; }

void check_target(const std::string& name) {
  check_name(name);
  if (const auto own = own_descriptor(name)) {
    const int mode = ::fcntl(*own, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY) {
      throw system_io_error(name, EBADF, writable);
    }
    return;
  }
  if (is_stream(name)) {
    check_access(name, W_OK, name, writable);
    return;
  }
  static_cast<void>(ReplacementFile::place_of(name));
}

void replace_whole_file(const std::string& name, std::string_view content) {
  check_name(name);
  if (const auto own = own_descriptor(name)) {
    write_all(*own, content, name);
    return;
  }
  if (is_stream(name)) {
    const int descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
      throw system_io_error(name, errno, writable);
    }
    const OpenFile stream(descriptor);
    write_all(stream.descriptor(), content, name);
    return;
  }
  ReplacementFile file(name);
  file.write(content);
  file.commit();
}

ReplacementFile::Place ReplacementFile::place_of(const std::string& target) {
  check_name(target);
  std::error_code leads_nowhere;
  Place place{std::filesystem::canonical(target, leads_nowhere), std::nullopt};
  if (leads_nowhere) {
    std::error_code ignored;
    if (std::filesystem::is_symlink(target, ignored)) {
      refuse_target(target, "a link that leads nowhere");
    }
    place.file = target;
  }
  struct stat status = {};
  if (::stat(place.file.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) {  // a device, which renaming would replace
      refuse_target(target, "what is no regular file");
    }
    // Renaming would not ask: that is allowed by the folder.
    check_access(place.file, W_OK, target, replaceable);
    check_removable(place.file, status, target);
    place.old = status;
  } else if (errno != ENOENT) {
    throw system_io_error(target, errno, usable_folder);
  }
  const std::filesystem::path folder = place.file.parent_path();
  check_access(folder.empty() ? "." : folder, W_OK | X_OK, target, usable_folder);
  return place;
}

ReplacementFile::ReplacementFile(const std::string& target) : ReplacementFile(target, place_of(target)) {
  // Before there is any content, which may not be for everybody.
  if (!place_.old) {
    return;
  }
  if (place_.old->st_uid != ::geteuid() || place_.old->st_gid != ::getegid()) {
    // Only a privileged user can; the file of another one becomes one's own.
    static_cast<void>(::fchown(descriptor_, place_.old->st_uid, place_.old->st_gid));
  }
  // Not with those by which a program would run as its owner.
  if (::fchmod(descriptor_, place_.old->st_mode & 0777) != 0) {
    throw system_io_error(target_, errno, "its permissions to be kept");
  }
}

ReplacementFile::ReplacementFile(std::string target, Place place)
    : target_(std::move(target)), place_(std::move(place)) {
  static std::atomic<unsigned> files{0};
  const std::filesystem::path directory = place_.file.parent_path();
  const SignalsHeld held;
  // What a process of the same number left behind is nobody's to remove.
  do {
    const std::string own = ".unfinished-" + std::to_string(::getpid()) + "-" + std::to_string(++files);
    name_ = (directory / own).string();
    descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EEXIST);
  if (descriptor_ < 0) {
    throw system_io_error(target_, errno, usable_folder);
  }
  remember_unfinished(name_.c_str());
}

ReplacementFile::~ReplacementFile() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
  if (!name_.empty()) {
    ::unlink(name_.c_str());
    forget_unfinished(name_.c_str());
  }
}

void ReplacementFile::write(std::string_view content) {
  assert(descriptor_ >= 0);
  write_all(descriptor_, content, target_);
}

void ReplacementFile::commit() {
  assert(descriptor_ >= 0);
  if (::fsync(descriptor_) != 0) {
    throw system_io_error(target_, errno, "the content to reach the disk");
  }
  if (::close(std::exchange(descriptor_, -1)) != 0) {
    throw system_io_error(target_, errno, "the file to be closed with all its content");
  }
  if (::rename(name_.c_str(), place_.file.c_str()) != 0) {
    throw system_io_error(target_, errno, "the file to be replaced");
  }
  forget_unfinished(name_.c_str());
  name_.clear();
}

void remove_unfinished_files() noexcept {
  for (const std::atomic<const char*>& place : unfinished) {
    if (const char* const name = place.load()) {
      ::unlink(name);
    }
  }
}

}  // namespace text
