#include "polefit_cli/pictures/finished_output.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include "listio/io_error.hpp"

namespace polefit_cli {
namespace {

using s_solver::IoError;
using s_solver::system_io_error;

/// A new file beside another, which vanishes again unless it takes that one's place.
class FileBeside {
 public:
  FileBeside(std::filesystem::path target, std::string shown)
      : target_(std::move(target)), shown_(std::move(shown)) {
    static std::atomic<unsigned> files{0};
    do {  // what another process of the same number left behind is nobody's to remove
      const std::string own =
          ".polefit-" + std::to_string(::getpid()) + "-" + std::to_string(++files) + ".tmp";
      name_ = (target_.parent_path() / own).string();
      descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor_ < 0 && errno == EEXIST);
    if (descriptor_ < 0) {
      name_.clear();
      fail(errno, "a directory in which a file can be made");
    }
  }
  FileBeside(const FileBeside&) = delete;
  FileBeside& operator=(const FileBeside&) = delete;
  ~FileBeside() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
    if (!name_.empty()) {
      ::unlink(name_.c_str());
    }
  }

  void take_permissions(mode_t mode) const {
    if (::fchmod(descriptor_, mode & 07777) != 0) {
      fail(errno, "a file whose permissions can be kept");
    }
  }

  /// On the disk before it is renamed: what a crash leaves is the old file or the whole new one.
  void become_target(std::string_view content) {
    if (const int error = write_all(descriptor_, content); error != 0) {
      fail(error, "the file to be written");
    }
    if (::fsync(descriptor_) != 0) {
      fail(errno, "the file to be written to the disk");
    }
    if (::close(std::exchange(descriptor_, -1)) != 0) {
      fail(errno, "the file to be closed after writing");
    }
    if (::rename(name_.c_str(), target_.c_str()) != 0) {
      fail(errno, "a file that can be replaced");
    }
    name_.clear();
  }

 private:
  [[noreturn]] void fail(int error, const char* expected) const {
    throw system_io_error(shown_, error, expected);
  }

  std::filesystem::path target_;
  std::string shown_;
  std::string name_;
  int descriptor_ = -1;
};

/// While it lives, a write to a pipe without reader fails in this thread and raises no signal.
class NoPipeSignal {
 public:
  NoPipeSignal() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;
  ~NoPipeSignal() {
    if (!was_pending_) {
      const timespec at_once{};
      sigtimedwait(&pipe_, nullptr, &at_once);
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

}  // namespace

int write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) {
      return errno;
    }
    text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return 0;
}

void write_finished(const std::string& file_name, std::string_view content) {
  if (file_name == "-") {
    const NoPipeSignal quiet;
    if (const int error = write_all(STDOUT_FILENO, content); error != 0) {
      throw system_io_error("standard output", error, "all of the output to be taken");
    }
    return;
  }
  if (file_name.empty() || file_name.find('\0') != std::string::npos) {
    throw IoError({.file = "the output file",
                   .found = "a name that is empty or has a zero byte in it",
                   .expected = "a name for a file"});
  }
  std::error_code no_such_file;
  const std::filesystem::path existing = std::filesystem::canonical(file_name, no_such_file);
  const std::filesystem::path target = no_such_file ? std::filesystem::path(file_name) : existing;
  struct stat status = {};
  const bool exists = ::stat(target.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {  // a device, which renaming would replace
    throw IoError({.file = file_name, .found = "no regular file", .expected = "one, or a name that is free"});
  }
  FileBeside file(target, file_name);
  if (exists) {
    file.take_permissions(status.st_mode);
  }
  file.become_target(content);
}

}  // namespace polefit_cli
