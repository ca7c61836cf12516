#include "text/whole_file.hpp"
#include "text/io_error.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"

namespace {

/// The system call that fails next, for steps that nothing else can make fail.
enum class Step { none, permissions, synchronise, close, rename };
Step failing = Step::none;

bool fails(Step step) {
  if (failing != step) {
    return false;
  }
  failing = Step::none;
  errno = EIO;
  return true;
}

}  // namespace

// These stand before the system library's, whose parameters have reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {
int fchmod(int file, mode_t mode) noexcept {
  return fails(Step::permissions) ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
int fsync(int file) { return fails(Step::synchronise) ? -1 : static_cast<int>(syscall(SYS_fsync, file)); }
int close(int file) {
  const int result = static_cast<int>(syscall(SYS_close, file));  // the descriptor is gone in either case
  return fails(Step::close) ? -1 : result;
}
int rename(const char* from, const char* to) noexcept {
  return fails(Step::rename) ? -1 : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace text {
namespace {

using testing_support::content_of;
using testing_support::io_error_of;
using Names = std::vector<std::string>;

/// A test in an empty directory of its own.
class WholeFile : public testing_support::InOwnDirectory {
 protected:
  void TearDown() override {
    failing = Step::none;
    InOwnDirectory::TearDown();
  }
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static Names names() {
    Names result;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      result.push_back(entry.path().filename().string());
    }
    std::sort(result.begin(), result.end());
    return result;
  }
  static mode_t permissions(const std::string& name) {
    struct stat status = {};
    EXPECT_EQ(stat(name.c_str(), &status), 0) << name;
    return status.st_mode & 07777;
  }
};

void expect_system_error(const IoErrorDetails& details, const std::string& file, int error_number,
                         const std::string& expected) {
  EXPECT_EQ(details.file, file);
  EXPECT_EQ(details.found, "the system error \"" + std::generic_category().message(error_number) + "\"");
  EXPECT_EQ(details.expected, expected);
}

TEST_F(WholeFile, every_byte_is_read) {
  std::string content = "\r\n\xEF\xBB\xBF\x1a";
  for (int i = 0; i < 100000; ++i) {  // more than the reads take at a time, and not a multiple of it
    content += static_cast<char>(i % 256);
  }
  write("data", content);
  EXPECT_TRUE(read_whole_file("data") == content);
  write("empty", "");
  EXPECT_EQ(read_whole_file("empty"), "");
}

TEST_F(WholeFile, a_pipe_is_read_to_its_end) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::thread writer([] { write("pipe", std::string(200000, 'x')); });
  const std::string content = read_whole_file("pipe");
  writer.join();
  EXPECT_TRUE(content == std::string(200000, 'x'));
}

TEST_F(WholeFile, a_file_without_a_size_is_read_to_its_end) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "every file of this system has a size";
  }
  ASSERT_EQ(std::filesystem::file_size("/proc/self/status"), 0U);
  EXPECT_FALSE(read_whole_file("/proc/self/status").empty());
}

TEST_F(WholeFile, a_file_that_cannot_be_read_is_an_error) {
  expect_system_error(io_error_of([] { read_whole_file("missing"); }), "missing", ENOENT,
                      "a file that can be opened");
  expect_system_error(io_error_of([] { read_whole_file("."); }), ".", EISDIR, "a file that can be read");
}

TEST_F(WholeFile, what_is_written_is_the_file_and_nothing_else_is_left) {
  const std::string content("\0\r\n\xff", 4);
  replace_whole_file("new", content);
  EXPECT_EQ(content_of("new"), content);
  replace_whole_file("empty", "");
  EXPECT_EQ(content_of("empty"), "");
  EXPECT_EQ(names(), (Names{"empty", "new"}));
}

TEST_F(WholeFile, a_file_in_another_directory_is_made_beside_its_place) {
  std::filesystem::create_directory("other");
  ReplacementFile file("other/new");
  EXPECT_EQ(std::filesystem::path(file.name()).parent_path(), "other");
  file.commit();
  EXPECT_EQ(content_of("other/new"), "");
  EXPECT_EQ(names(), Names{"other"});
}

TEST_F(WholeFile, the_longest_name_of_the_system_can_be_written) {
  const std::string name(255, 'm');
  replace_whole_file(name, "new");
  EXPECT_EQ(names(), Names{name});
}

TEST_F(WholeFile, a_longer_file_is_replaced_wholly_and_keeps_its_permissions) {
  write("old", std::string(100000, 'x'));
  ASSERT_EQ(chmod("old", 0640), 0);
  replace_whole_file("old", "new");
  EXPECT_EQ(content_of("old"), "new");
  EXPECT_EQ(permissions("old"), 0640U);
}

TEST_F(WholeFile, a_new_file_has_the_permissions_that_the_mask_leaves) {
  const mode_t before = umask(027);
  replace_whole_file("new", "");
  umask(before);
  EXPECT_EQ(permissions("new"), 0640U);
}

TEST_F(WholeFile, a_reader_of_the_old_file_keeps_the_old_file) {
  write("data", "old");
  std::ifstream reader("data", std::ios::binary);
  replace_whole_file("data", "new");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

TEST_F(WholeFile, a_link_stays_a_link_to_the_file_that_is_replaced) {
  std::filesystem::create_directory("store");
  write("store/data", "old");
  std::filesystem::create_symlink("store/data", "link");
  replace_whole_file("link", "new");
  EXPECT_TRUE(std::filesystem::is_symlink("link"));
  EXPECT_EQ(content_of("store/data"), "new");
  EXPECT_EQ(names(), (Names{"link", "store"}));
}

TEST_F(WholeFile, a_link_that_leads_nowhere_is_refused) {
  std::filesystem::create_symlink("missing", "link");
  std::filesystem::create_symlink("loop", "loop");
  for (const char* name : {"link", "loop"}) {
    EXPECT_EQ(io_error_of([&] { replace_whole_file(name, "new"); }).found, "a link that leads nowhere");
  }
  EXPECT_EQ(names(), (Names{"link", "loop"}));
}

TEST_F(WholeFile, when_a_step_fails_the_old_file_stays_and_the_one_beside_it_goes) {
  write("data", "old");
  for (const auto& [step, expected] : {std::pair(Step::permissions, "its permissions to be kept"),
                                       std::pair(Step::synchronise, "the content to reach the disk"),
                                       std::pair(Step::close, "the file to be closed with all its content"),
                                       std::pair(Step::rename, "the file to be replaced")}) {
    failing = step;
    expect_system_error(io_error_of([] { replace_whole_file("data", "new"); }), "data", EIO, expected);
    EXPECT_EQ(failing, Step::none) << expected;
    EXPECT_EQ(content_of("data"), "old") << expected;
    EXPECT_EQ(names(), Names{"data"}) << expected;
  }
}

TEST_F(WholeFile, a_disk_that_fills_up_leaves_the_old_file) {
  write("data", "old");
  // A limit on the size of files is what a test can have of a full disk; the write that crosses it is a short
  // one.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit tight{100, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  const IoErrorDetails details = io_error_of([] { replace_whole_file("data", std::string(1000, 'x')); });
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  expect_system_error(details, "data", EFBIG, "the content to be written");
  EXPECT_EQ(content_of("data"), "old");
  EXPECT_EQ(names(), Names{"data"});
}

TEST_F(WholeFile, a_directory_that_takes_no_files_is_an_error) {
  expect_system_error(io_error_of([] { replace_whole_file("missing/data", "new"); }), "missing/data", ENOENT,
                      "a folder in which a file can be made");
  // A directory that refuses even a privileged user.
  EXPECT_THROW(replace_whole_file("/proc/self/data", "new"), IoError);
}

TEST_F(WholeFile, what_is_no_regular_file_is_not_replaced) {
  std::filesystem::create_directory("folder");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::filesystem::create_symlink("pipe", "link");  // never a device: a mistake would replace it
  for (const char* name : {"folder", "pipe", "link"}) {
    const IoErrorDetails details = io_error_of([&] { ReplacementFile file(name); });
    EXPECT_EQ(details.file, name);
    EXPECT_EQ(details.found, "what is no regular file");
    EXPECT_EQ(details.expected, "a regular file or a name that is free");
  }
  EXPECT_EQ(io_error_of([] { replace_whole_file("folder", "new"); }).found, "what is no regular file");
  EXPECT_EQ(io_error_of([] { check_target("folder"); }).found, "what is no regular file");
  EXPECT_TRUE(std::filesystem::is_fifo("pipe"));
  EXPECT_EQ(names(), (Names{"folder", "link", "pipe"}));
}

TEST_F(WholeFile, a_pipe_is_written_to) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::filesystem::create_symlink("pipe", "link");
  for (const char* name : {"pipe", "link"}) {
    std::string received;
    check_target(name);
    std::thread reader([&] { received = content_of("pipe"); });
    replace_whole_file(name, std::string(200000, 'x'));
    reader.join();
    EXPECT_TRUE(received == std::string(200000, 'x'));
  }
  EXPECT_TRUE(std::filesystem::is_fifo("pipe"));
}

TEST_F(WholeFile, a_character_device_is_written_to) {
  std::filesystem::create_symlink("/dev/null", "nothing");
  check_target("nothing");
  replace_whole_file("nothing", "new");
  EXPECT_TRUE(std::filesystem::is_symlink("nothing"));
  std::filesystem::create_symlink("/dev/full", "full");
  expect_system_error(io_error_of([] { replace_whole_file("full", "new"); }), "full", ENOSPC,
                      "the content to be written");
}

TEST_F(WholeFile, an_open_file_of_the_process_is_written_to_where_it_stands) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "the system shows no open files";
  }
  const int file = open("log", O_WRONLY | O_CREAT, 0600);
  write_all(file, "before ", "log");
  const std::string name = "/dev/fd/" + std::to_string(file);
  std::filesystem::create_symlink(name, "link");
  check_target(name);
  replace_whole_file(name, "new ");
  replace_whole_file("link", "newer");
  EXPECT_EQ(content_of("log"), "before new newer");
  ASSERT_EQ(close(file), 0);
  EXPECT_THROW(check_target(name), IoError);
  const int readable = open("log", O_RDONLY);
  EXPECT_THROW(check_target("/proc/self/fd/" + std::to_string(readable)), IoError);
  ASSERT_EQ(close(readable), 0);
}

TEST_F(WholeFile, the_names_of_standard_output_are_known) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "the system shows no open files";
  }
  std::filesystem::create_symlink("/dev/stdout", "link");
  for (const char* name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"}) {
    EXPECT_TRUE(is_standard_output(name)) << name;
  }
  std::filesystem::create_symlink("loop", "loop");
  for (const char* name : {"/dev/stderr", "/dev/fd/11", "1", "-", "", "loop", "/dev/fd/", "/dev/null"}) {
    EXPECT_FALSE(is_standard_output(name)) << name;
  }
}

TEST_F(WholeFile, a_target_that_has_no_place_is_told_beforehand) {
  expect_system_error(io_error_of([] { check_target("missing/data"); }), "missing/data", ENOENT,
                      "a folder in which a file can be made");
  const std::string long_name(300, 'x');
  expect_system_error(io_error_of([&] { check_target(long_name); }), long_name, ENAMETOOLONG,
                      "a folder in which a file can be made");
  EXPECT_THROW(check_target("/proc/self/data"), IoError);
  check_target("data");
  write("data", "old");
  check_target("data");
  EXPECT_EQ(content_of("data"), "old");
  EXPECT_EQ(names(), Names{"data"});
}

TEST_F(WholeFile, a_file_of_somebody_else_stays_his_and_does_not_run_as_he) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root gives files away";
  }
  constexpr uid_t somebody = 65534;
  write("data", "old");
  ASSERT_EQ(chown("data", somebody, somebody), 0);
  ASSERT_EQ(chmod("data", 04750), 0);
  replace_whole_file("data", "new");
  struct stat status = {};
  ASSERT_EQ(stat("data", &status), 0);
  EXPECT_EQ(status.st_uid, somebody);
  EXPECT_EQ(status.st_gid, somebody);
  EXPECT_EQ(permissions("data"), 0750U);
}

TEST_F(WholeFile, the_file_of_somebody_else_in_a_folder_where_each_removes_his_own_is_told_beforehand) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root becomes somebody else";
  }
  std::filesystem::create_directory("shared");
  ASSERT_EQ(chmod("shared", 01777), 0);
  write("shared/data", "old");
  ASSERT_EQ(chmod("shared/data", 0666), 0);
  // The folders above are for their owner alone.
  ASSERT_EQ(chdir("shared"), 0);
  ASSERT_EQ(seteuid(65534), 0);
  const IoErrorDetails details = io_error_of([] { check_target("data"); });
  ASSERT_EQ(seteuid(0), 0);
  expect_system_error(details, "data", EPERM, "a file that may be replaced");
}

TEST_F(WholeFile, an_unfinished_file_is_removed_when_the_process_is_to_end) {
  write("data", "old");
  ReplacementFile first("data");
  ReplacementFile second("other");
  EXPECT_EQ(names().size(), 3U);
  remove_unfinished_files();
  EXPECT_EQ(names(), Names{"data"});
  EXPECT_EQ(content_of("data"), "old");
}

TEST_F(WholeFile, what_is_finished_stays_when_the_process_is_to_end) {
  std::string name;
  {
    ReplacementFile file("data");
    name = file.name();
    file.commit();
    write(name, "somebody's");
    remove_unfinished_files();
  }
  { const ReplacementFile given_up("data"); }
  remove_unfinished_files();
  EXPECT_EQ(names(), (Names{name, "data"}));
}

TEST_F(WholeFile, a_text_without_an_end_is_refused_before_it_is_read_whole) {
  const auto refusal = [](const std::string& content, TextLimits limits) {
    write("text", content);
    const int file = open("text", O_RDONLY);
    const IoErrorDetails details = io_error_of([&] { read_text(file, "some text", limits); });
    EXPECT_EQ(details.file, "some text");
    close(file);
    return details.found;
  };
  const std::string line = std::string(99, 'x') + "\n";
  std::string text;
  for (int i = 0; i < 2000; ++i) {  // more than is read at a time
    text += line;
  }
  EXPECT_EQ(refusal(text, {.bytes = text.size() - 1, .line = 1000}),
            "more than " + std::to_string(text.size() - 1) + " bytes");
  EXPECT_EQ(refusal(std::string(100000, 'x') + "\n", {.bytes = 1000000, .line = 99998}),
            "a line of more than 99998 bytes");
  const int file = open("text", O_RDONLY);
  EXPECT_EQ(read_text(file, "some text", {.bytes = 100001, .line = 100000}).size(), 100001U);
  close(file);
}

TEST_F(WholeFile, a_device_without_lines_is_refused_by_its_first_line) {
  EXPECT_EQ(io_error_of([] { read_whole_file("/dev/zero"); }).found,
            "a line of more than " + std::to_string(text_limits().line) + " bytes");
}

TEST_F(WholeFile, a_name_that_the_system_would_take_for_another_is_refused) {
  const auto expect_refusal = [](const std::string& name, const std::string& found) {
    for (const IoErrorDetails& details : {io_error_of([&] { replace_whole_file(name, "new"); }),
                                          io_error_of([&] { read_whole_file(name); })}) {
      EXPECT_EQ(details.file, "the name of a file");
      EXPECT_EQ(details.found, found);
      EXPECT_EQ(details.expected, "a name that the system takes whole");
    }
  };
  expect_refusal("", "nothing");
  expect_refusal(std::string("m\0.json", 7), "a zero byte");
  EXPECT_TRUE(names().empty());
}

TEST_F(WholeFile, what_another_program_writes_becomes_the_file_at_the_commit) {
  write("picture", "old");
  ReplacementFile file("picture");
  write(file.name(), "from elsewhere");
  EXPECT_EQ(content_of("picture"), "old");
  file.commit();
  EXPECT_EQ(content_of("picture"), "from elsewhere");
  EXPECT_EQ(names(), Names{"picture"});
}

TEST_F(WholeFile, parts_are_written_one_after_the_other) {
  ReplacementFile file("data");
  file.write("one ");
  file.write("");
  file.write("two");
  file.commit();
  EXPECT_EQ(content_of("data"), "one two");
}

TEST_F(WholeFile, without_a_commit_the_old_file_stays_and_the_one_beside_it_goes) {
  write("data", "old");
  {
    ReplacementFile file("data");
    file.write("new");
    EXPECT_EQ(names().size(), 2U);
  }
  EXPECT_EQ(content_of("data"), "old");
  EXPECT_EQ(names(), Names{"data"});
}

TEST_F(WholeFile, a_name_beside_the_target_that_is_taken_is_left_alone) {
  std::string taken;
  {
    const ReplacementFile file("data");
    taken = file.name();
  }
  const std::string number = taken.substr(taken.rfind('-') + 1);
  const std::string next =
      taken.substr(0, taken.size() - number.size()) + std::to_string(std::stoi(number) + 1);
  write(next, "somebody's");
  replace_whole_file("data", "new");
  EXPECT_EQ(content_of("data"), "new");
  EXPECT_EQ(content_of(next), "somebody's");
}

TEST_F(WholeFile, two_files_in_the_making_for_one_target_do_not_meet) {
  ReplacementFile first("data");
  ReplacementFile second("data");
  first.write("first");
  second.write("second");
  second.commit();
  first.commit();
  EXPECT_EQ(content_of("data"), "first");
  EXPECT_EQ(names(), Names{"data"});
}

TEST_F(WholeFile, an_open_file_is_read_from_where_it_is) {
  write("data", "skipped and read");
  const int file = open("data", O_RDONLY);
  ASSERT_EQ(lseek(file, 8, SEEK_SET), 8);
  EXPECT_EQ(read_to_end(file, "data"), "and read");
  ASSERT_EQ(close(file), 0);
  expect_system_error(io_error_of([&] { read_to_end(file, "some input"); }), "some input", EBADF,
                      "a file that can be read");
}

TEST_F(WholeFile, a_reader_that_goes_away_is_an_error) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(close(ends[0]), 0);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  const IoErrorDetails details = io_error_of([&] { write_all(ends[1], "lost", "some output"); });
  std::signal(SIGPIPE, handler);
  ASSERT_EQ(close(ends[1]), 0);
  expect_system_error(details, "some output", EPIPE, "the content to be written");
}

}  // namespace
}  // namespace text
