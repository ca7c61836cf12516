#include "text/whole_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include "text/io_error.hpp"

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

/// Bytes to make room for at once; a size that a file only claims takes no more memory than that.
std::size_t expected_size(int descriptor) {
  constexpr std::int64_t most = std::int64_t{1} << 30;
  struct stat status = {};
  const bool known = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return known ? static_cast<std::size_t>(std::clamp<std::int64_t>(status.st_size, 0, most)) : 0;
}

/// Closes a file that was only read.
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

}  // namespace

std::string read_to_end(int descriptor, const std::string& shown) {
  std::string content;
  content.reserve(expected_size(descriptor));
  std::vector<char> buffer(std::size_t{1} << 16);
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count == 0) {
      return content;
    }
    if (count < 0 && errno != EINTR) {
      throw system_io_error(shown, errno, "a file that can be read");
    }
    content.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
  }
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

std::string read_whole_file(const std::string& name) {
  check_name(name);
  const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    throw system_io_error(name, errno, "a file that can be opened");
  }
  const OpenFile file(descriptor);
  return read_to_end(file.descriptor(), name);
}

void replace_whole_file(const std::string& name, std::string_view content) {
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
    place.permissions = status.st_mode & 07777;
  }
  return place;
}

ReplacementFile::ReplacementFile(const std::string& target) : ReplacementFile(target, place_of(target)) {
  // Before there is any content, which may not be for everybody.
  if (place_.permissions && ::fchmod(descriptor_, *place_.permissions) != 0) {
    throw system_io_error(target_, errno, "its permissions to be kept");
  }
}

ReplacementFile::ReplacementFile(std::string target, Place place)
    : target_(std::move(target)), place_(std::move(place)) {
  static std::atomic<unsigned> files{0};
  const std::filesystem::path directory = place_.file.parent_path();
  // What a process of the same number left behind is nobody's to remove.
  do {
    const std::string own = ".unfinished-" + std::to_string(::getpid()) + "-" + std::to_string(++files);
    name_ = (directory / own).string();
    descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EEXIST);
  if (descriptor_ < 0) {
    throw system_io_error(target_, errno, "a folder in which a file can be made");
  }
}

ReplacementFile::~ReplacementFile() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
  if (!name_.empty()) {
    ::unlink(name_.c_str());
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
  name_.clear();
}

}  // namespace text
