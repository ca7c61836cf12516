/// What the fuzz targets share: bytes as values, checks that end the process, a file for a reader to open.
#pragma once

#include <unistd.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

/// One execution: `size` bytes of `data`. The same function serves the fuzzer and the replay of the corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace s_solver::fuzz {

/// Ends the process, which is a finding, unless `condition` holds.
inline void check(bool condition, const char* what) {
  if (!condition) {
    static_cast<void>(std::fprintf(stderr, "does not hold: %s\n", what));
    std::abort();
  }
}

/// Whether two doubles are the same number, all NaNs being one.
inline bool same_number(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}

/// Takes values off the front of the bytes; zeros once they are used up.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::size_t left() const { return size_; }

  template <class Value>
  Value take() {
    Value value{};
    const std::size_t count = size_ < sizeof(Value) ? size_ : sizeof(Value);
    if (count > 0) {  // the bytes of an empty input may have no address
      std::memcpy(&value, data_, count);
      data_ += count;
      size_ -= count;
    }
    return value;
  }

  /// A number from 0 to most.
  int take_up_to(int most) { return static_cast<int>(take<std::uint8_t>()) % (most + 1); }

  std::string_view rest() const { return {reinterpret_cast<const char*>(data_), size_}; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

/// A double of any bits, or one of a few plain ones, whole multiples of 1 / parts, of which data and models
/// are made that mean something.
inline double number(Bytes& bytes, bool any, double parts) {
  return any ? bytes.take<double>() : static_cast<double>(bytes.take<std::int8_t>()) / parts;
}

/// Real and imaginary part likewise.
inline std::complex<double> pair_of_numbers(Bytes& bytes, bool any, double parts) {
  const double real = number(bytes, any, parts);
  return {real, number(bytes, any, parts)};
}

/// The directory of this process for files of an execution, made at the first call and the current one
/// from then on: "..\tmp_S_Par" lies beside it. Standard output goes nowhere from then on, too.
inline const std::filesystem::path& own_directory() {
  struct Directory {
    Directory() {
      std::string pattern = (std::filesystem::temp_directory_path() / "s_solver_fuzz_XXXXXX").string();
      check(mkdtemp(pattern.data()) != nullptr, "a directory can be made");
      root = pattern;
      std::filesystem::create_directory(root / "tmp_S_Par");
      std::filesystem::create_directory(root / "run");
      std::filesystem::current_path(root / "run");
      check(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output can be silenced");
    }
    ~Directory() {
      std::error_code ignored;
      std::filesystem::remove_all(root, ignored);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    std::filesystem::path root;
  };
  static const Directory directory;
  return directory.root;
}

inline void write_file(const std::filesystem::path& name, std::string_view content) {
  std::FILE* const file = std::fopen(name.c_str(), "wb");
  check(file != nullptr, "a file can be made");
  check(content.empty() || std::fwrite(content.data(), 1, content.size(), file) == content.size(),
        "a file can be filled");
  check(std::fclose(file) == 0, "a file can be closed");
}

}  // namespace s_solver::fuzz
