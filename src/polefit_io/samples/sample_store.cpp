#include "polefit_io/samples/sample_store.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace polefit_io {
namespace {

using Complex = std::complex<double>;

// Given back at once: little beside a block, and not so little that the calls of the system would count.
constexpr std::size_t least_release = std::size_t{1} << 16;

}  // namespace

Pages::Pages(std::size_t bytes) : bytes_(bytes) {
  if (bytes == 0) {
    return;
  }
  void* const mapped = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  data_ = static_cast<std::byte*>(mapped);
}

Pages::Pages(Pages&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      bytes_(std::exchange(other.bytes_, 0)),
      released_(std::exchange(other.released_, 0)) {}

Pages::~Pages() {
  if (bytes_ > released_) {
    ::munmap(data_ + released_, bytes_ - released_);
  }
}

void Pages::release(std::size_t bytes) {
  const auto page = static_cast<std::size_t>(std::max<long>(1, ::sysconf(_SC_PAGESIZE)));
  const std::size_t end = std::min(bytes, bytes_) / page * page;
  if (end >= released_ + least_release && ::munmap(data_ + released_, end - released_) == 0) {
    released_ = end;
  }
}

std::size_t frequencies_at_a_time(std::size_t numbers, std::size_t frequencies) {
  // Enough to make runs of some length of each response, of so few bytes that they stay in a cache; then a
  // part of what there is, which needs little memory beside it.
  constexpr std::size_t bytes = std::size_t{1} << 20;
  constexpr std::size_t least = 4;
  constexpr std::size_t part = 16;
  constexpr std::size_t most = 256;
  return std::max({bytes / sizeof(double) / std::max<std::size_t>(1, numbers),
                   std::min(frequencies / part, most), least});
}

Complex* SampleStore::append(std::size_t samples) {
  if (responses_ > 0 && samples > std::numeric_limits<std::size_t>::max() / sizeof(Complex) / responses_) {
    throw std::bad_alloc();
  }
  blocks_.push_back({samples, Pages(samples * responses_ * sizeof(Complex))});
  samples_ += samples;
  return reinterpret_cast<Complex*>(blocks_.back().pages.data());
}

std::vector<Complex> SampleStore::by_response() {
  std::vector<Complex> values;
  values.reserve(responses_ * samples_);
  for (std::size_t r = 0; r < responses_; ++r) {
    for (Block& block : blocks_) {
      const auto* const run = reinterpret_cast<const Complex*>(block.pages.data()) + r * block.samples;
      values.insert(values.end(), run, run + block.samples);
      block.pages.release((r + 1) * block.samples * sizeof(Complex));
    }
  }
  blocks_.clear();
  samples_ = 0;
  return values;
}

}  // namespace polefit_io
