/// Samples that arrive frequency by frequency and are wanted response by response.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace polefit_io {

/// Memory of the system, in bytes that are zero, which is given back from its beginning on.
class Pages {
 public:
  /// Throws std::bad_alloc when there is not as much.
  explicit Pages(std::size_t bytes);
  Pages(Pages&& other) noexcept;
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;
  Pages& operator=(Pages&&) = delete;
  ~Pages();

  std::byte* data() const { return data_; }
  /// The first `bytes` are not used any more. They go when that makes a good many whole pages.
  void release(std::size_t bytes);

 private:
  std::byte* data_ = nullptr;
  std::size_t bytes_;
  std::size_t released_ = 0;
};

/// How many frequencies, each with so many real numbers, are best taken at a time when so many have been.
std::size_t frequencies_at_a_time(std::size_t numbers, std::size_t frequencies);

/// Keeps samples in blocks of a few frequencies, so that their number need not be known ahead, and hands them
/// over while it gives the blocks back: all values are in memory once, whatever their number.
class SampleStore {
 public:
  explicit SampleStore(std::size_t responses) : responses_(responses) {}

  /// Room for so many more samples of each response: that of response r at sample k of these is element
  /// r * samples + k. All of it is to be filled before anything else.
  std::complex<double>* append(std::size_t samples);

  /// Of each response.
  std::size_t samples() const { return samples_; }

  /// All samples of the first response, then of the second. The store is empty then.
  std::vector<std::complex<double>> by_response();

 private:
  struct Block {
    std::size_t samples;
    Pages pages;
  };

  std::size_t responses_;
  std::size_t samples_ = 0;
  std::vector<Block> blocks_;
};

}  // namespace polefit_io
