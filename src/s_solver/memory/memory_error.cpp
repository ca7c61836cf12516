#include "s_solver/memory/memory_error.hpp"

#include <limits>

#include "s_solver/memory/system_memory.hpp"

namespace s_solver {

MemoryError::MemoryError(std::string_view array, std::int64_t elements, std::int64_t bytes_per_element)
    : message_("out of memory: found no room for the array " + std::string(array) + ", expected " +
               std::to_string(elements) + " elements of " + std::to_string(bytes_per_element) + " bytes") {}

std::int64_t checked_array_bytes(std::string_view array, std::int64_t elements,
                                 std::int64_t bytes_per_element) {
  // Below this size the question costs more than the answer is worth.
  constexpr std::int64_t always_granted = std::int64_t{1} << 24;

  if (elements > std::numeric_limits<std::int64_t>::max() / bytes_per_element) {
    throw MemoryError(array, elements, bytes_per_element);
  }
  const std::int64_t bytes = elements * bytes_per_element;
  if (bytes > always_granted && static_cast<std::uint64_t>(bytes) > available_memory()) {
    throw MemoryError(array, elements, bytes_per_element);
  }
  return bytes;
}

}  // namespace s_solver
