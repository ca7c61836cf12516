#include "interpreter.hpp"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace polefit_python {
namespace {

namespace py = pybind11;
constexpr std::chrono::milliseconds nap(1);
/// How long the end waits for what is called of Python: that may wait for the end itself.
constexpr std::chrono::seconds patience(2);

/// Threads that are about to take the lock, or call Python between two releases of it.
std::atomic<int> admitted = 0;
std::atomic<bool> ending = false;
/// The thread in which the interpreter ends, which still may fit.
std::atomic<std::thread::id> last_thread;

/// Called with the lock, before Python begins to end threads that want it: those that were admitted get it
/// first.
void end() {
  last_thread = std::this_thread::get_id();
  ending = true;
  PyThreadState* const state = PyEval_SaveThread();
  const auto until = std::chrono::steady_clock::now() + patience;
  while (admitted > 0 && std::chrono::steady_clock::now() < until) {
    std::this_thread::sleep_for(nap);
  }
  PyEval_RestoreThread(state);
}

}  // namespace

Admission::Admission() {
  ++admitted;
  if (ending && std::this_thread::get_id() != last_thread.load()) {
    --admitted;
    while (true) {
      std::this_thread::sleep_for(1000 * nap);
    }
  }
}

Admission::~Admission() { --admitted; }

WithoutInterpreter::~WithoutInterpreter() {
  const Admission admission;
  PyEval_RestoreThread(state_);
}

void watch_for_the_end() {
  // Of the threads of a process that forks only one lives on.
  pthread_atfork(nullptr, nullptr, [] { admitted = 0; });
  py::module_::import("atexit").attr("register")(py::cpp_function(&end));
}

void check_signals() {
  const WithInterpreter held;
  if (PyErr_CheckSignals() != 0) {
    throw py::error_already_set();
  }
}

}  // namespace polefit_python
