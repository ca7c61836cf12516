/// The error for an array that the system cannot give.
#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <string_view>

namespace s_solver {

/// Ends the run with exit status 2; its text is the message for the user, without the program's name.
class MemoryError : public std::bad_alloc {
 public:
  MemoryError(std::string_view array, std::int64_t elements, std::int64_t bytes_per_element);
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

/// Checks that an array of `elements` elements can really be filled, and returns its size in bytes.
/// Systems hand out more memory than they have and end the process once it is touched; asking first
/// turns that into an error. Throws MemoryError.
std::int64_t checked_array_bytes(std::string_view array, std::int64_t elements,
                                 std::int64_t bytes_per_element);

}  // namespace s_solver
