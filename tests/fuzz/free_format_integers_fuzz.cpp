/// The free-format reader of integers agrees with the reference reading on any file.

#include "fuzz/differential_read.hpp"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  const auto count = static_cast<std::size_t>(1 + bytes.take_up_to(3));
  s_solver::fuzz::compare_readings<int>(bytes.rest(), count);
  return 0;
}
