#include "requests.hpp"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace testing_support {

std::size_t largest_request = 0;
std::size_t all_requests = 0;

}  // namespace testing_support

// Every allocation passes here. Not inlined, since g++ 12 takes a pair of which it has inlined one half for a
// mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  testing_support::largest_request = std::max(testing_support::largest_request, size);
  testing_support::all_requests += size;
  if (void* memory = std::malloc(std::max<std::size_t>(size, 1))) {
    return memory;
  }
  throw std::bad_alloc();
}
// Sorting asks for room that it can do without.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
  testing_support::largest_request = std::max(testing_support::largest_request, size);
  testing_support::all_requests += size;
  return std::malloc(std::max<std::size_t>(size, 1));
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
