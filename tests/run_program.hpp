/// Runs one of our programs as a user would, in a directory of its own.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace testing_support {

/// Runs `program` with `arguments` in `directory`, its output in the files stdout and stderr there, and
/// returns its exit status, or 128 and more for a signal. `surroundings` is called in the new process just
/// before the program takes over: it may set limits or redirect streams once more.
inline int run_program(
    const std::filesystem::path& program, std::vector<std::string> arguments,
    const std::filesystem::path& directory, const std::function<void()>& surroundings = [] {}) {
  arguments.insert(arguments.begin(), program.string());
  std::vector<char*> argv;
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("cannot start a process");
  }
  if (child == 0) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      static_cast<void>(std::signal(signal, SIG_DFL));  // whatever the tests were started under
    }
    const bool ready = chdir(directory.c_str()) == 0 &&
                       dup2(open("stdout", O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO) >= 0 &&
                       dup2(open("stderr", O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO) >= 0;
    if (ready) {
      surroundings();
      execv(program.c_str(), argv.data());
    }
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace testing_support
