/// The interpreter's lock, given up and taken again, also by threads that are left when the interpreter ends.
///
/// Python ends a thread that takes the lock then in the midst of its C++, which ends the whole process. Such
/// a thread waits here instead, until the process has ended without it.
#pragma once

#include <pybind11/pybind11.h>

namespace polefit_python {

/// Not to take the lock once the interpreter has begun to end; a thread that must not waits for ever.
class Admission {
 public:
  Admission();
  ~Admission();
  Admission(const Admission&) = delete;
  Admission& operator=(const Admission&) = delete;
};

/// While it lives, its thread does without the interpreter.
class WithoutInterpreter {
 public:
  WithoutInterpreter() : state_(PyEval_SaveThread()) {}
  ~WithoutInterpreter();
  WithoutInterpreter(const WithoutInterpreter&) = delete;
  WithoutInterpreter& operator=(const WithoutInterpreter&) = delete;

 private:
  PyThreadState* state_;
};

/// While it lives, its thread has the interpreter's lock; inside of WithoutInterpreter.
class WithInterpreter {
 public:
  WithInterpreter() : state_(PyGILState_Ensure()) {}
  ~WithInterpreter() { PyGILState_Release(state_); }
  WithInterpreter(const WithInterpreter&) = delete;
  WithInterpreter& operator=(const WithInterpreter&) = delete;

 private:
  Admission admission_;  // what is called here is not ended in its midst either
  PyGILState_STATE state_;
};

/// Has the interpreter tell when it ends.
void watch_for_the_end();

/// Interrupts of Python end what is running: it raises what their handlers raise.
void check_signals();

}  // namespace polefit_python
