/// Work divided among threads.
#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace numerics {

/// Calls work(part, begin, end) for up to `threads` consecutive parts of 0 .. count - 1, each in a thread of
/// its own; the first exception comes out again when all have ended.
template <class Work>
void in_parallel(int threads, std::size_t count, const Work& work) {
  const std::size_t parts = std::clamp<std::size_t>(static_cast<std::size_t>(std::max(1, threads)), 1,
                                                    std::max<std::size_t>(1, count));
  if (parts == 1) {
    work(std::size_t{0}, std::size_t{0}, count);
    return;
  }
  std::vector<std::exception_ptr> failures(parts);
  std::vector<std::jthread> running;
  for (std::size_t part = 0; part < parts; ++part) {
    const auto run = [&, part] {
      try {
        work(part, count * part / parts, count * (part + 1) / parts);
      } catch (...) {
        failures[part] = std::current_exception();
      }
    };
    try {
      running.emplace_back(run);
    } catch (const std::system_error&) {
      run();  // the system has no thread to give
    }
  }
  running.clear();
  for (const std::exception_ptr& failure : failures) {
    if (failure) {
      std::rethrow_exception(failure);
    }
  }
}

}  // namespace numerics
