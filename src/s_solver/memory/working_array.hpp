/// Working arrays: memory that is really there, owned from creation to the end of the scope.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>
#include <type_traits>

#include "numerics/matrix_view.hpp"
#include "s_solver/memory/memory_error.hpp"

namespace s_solver {

/// An array of fixed size whose elements are not cleared; every page of it has been touched when the
/// constructor returns, so that filling it later cannot fail.
template <class T>
class WorkingArray {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  WorkingArray() = default;

  /// `name` stands in the message when the memory cannot be had (MemoryError). Sizes below 0 count as 0.
  WorkingArray(std::string_view name, std::int64_t size) : size_(std::max<std::int64_t>(0, size)) {
    const std::int64_t bytes = checked_array_bytes(name, size_, sizeof(T));
    // Whole cache lines, so that no register of vectors is loaded from two of them.
    constexpr std::int64_t line = 64;
    const std::int64_t lines = std::max<std::int64_t>(1, bytes / line + (bytes % line != 0 ? 1 : 0));
    memory_.reset(static_cast<T*>(std::aligned_alloc(line, static_cast<std::size_t>(lines * line))));
    if (!memory_) {
      throw MemoryError(name, size_, sizeof(T));
    }
    // From the end, since the allocator itself has written to the page where the array begins.
    constexpr std::int64_t page = 4096 / static_cast<std::int64_t>(sizeof(T));
    for (std::int64_t i = size_ - 1; i >= 0; i -= page) {
      memory_.get()[i] = T{};
    }
  }

  std::int64_t size() const { return size_; }
  T* data() { return memory_.get(); }
  const T* data() const { return memory_.get(); }
  T* begin() { return data(); }
  T* end() { return data() + size_; }
  T& operator[](std::int64_t i) {
    assert(i >= 0 && i < size_);
    return memory_.get()[i];
  }
  const T& operator[](std::int64_t i) const {
    assert(i >= 0 && i < size_);
    return memory_.get()[i];
  }
  void fill(const T& value) { std::fill(begin(), end(), value); }

 private:
  struct Releaser {
    void operator()(T* memory) const { std::free(memory); }
  };

  std::int64_t size_ = 0;
  std::unique_ptr<T, Releaser> memory_;
};

/// A real working matrix, column-major and without gaps between its columns.
class WorkingMatrix {
 public:
  WorkingMatrix(std::string_view name, std::int64_t rows, std::int64_t columns)
      : elements_(name, checked_elements(name, rows, columns)), rows_(rows), columns_(columns) {
    assert(rows >= 0 && columns >= 0);
  }

  double* data() { return elements_.data(); }
  const double* data() const { return elements_.data(); }
  numerics::MatrixView<double> view() {
    return {elements_.data(), rows_, columns_, std::max<std::int64_t>(1, rows_)};
  }
  void fill(double value) { elements_.fill(value); }

 private:
  static std::int64_t checked_elements(std::string_view name, std::int64_t rows, std::int64_t columns) {
    if (columns > 0 && rows > std::numeric_limits<std::int64_t>::max() / columns) {
      throw MemoryError(name, rows, columns * static_cast<std::int64_t>(sizeof(double)));
    }
    return rows * columns;
  }

  WorkingArray<double> elements_;
  std::int64_t rows_;
  std::int64_t columns_;
};

}  // namespace s_solver
