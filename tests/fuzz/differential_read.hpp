/// One comparison of the reader of files and of text in memory with the reference reading, for any kind of
/// value.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "text/free_format_reader.hpp"
#include "text/io_error.hpp"

namespace s_solver::fuzz {

inline bool same_value(double a, double b) { return same_number(a, b); }
inline bool same_value(int a, int b) { return a == b; }

/// Reads `content` in lists of `count` values to its end or its first error, by `reader` and by reference at
/// once.
template <class Value>
void compare_with_reference(text::FreeFormatReader reader, std::string_view content, std::size_t count) {
  check(reader.open_error() == 0, "the file can be opened");
  ReferenceReader reference(content);
  std::vector<Value> values(count, Value{7});
  std::vector<Value> expected(count, Value{7});
  while (true) {
    const ReferenceReader::End end = reference.read(expected);
    try {
      const auto result = reader.read(std::span(values));
      check(end != ReferenceReader::End::error, "what is no value is refused");
      check((result == text::FreeFormatReader::Result::complete) == (end == ReferenceReader::End::complete),
            "the file ends where it should");
    } catch (const text::IoError& error) {
      check(end == ReferenceReader::End::error, "what is a value is accepted");
      check(error.details().record == reference.record, "the error names the record");
      check(error.details().item == reference.item, "the error names the item");
    }
    for (std::size_t i = 0; i < count; ++i) {
      check(same_value(values[i], expected[i]), "the values agree");
    }
    if (end != ReferenceReader::End::complete) {
      return;
    }
  }
}

template <class Value>
void compare_readings(std::string_view content, std::size_t count) {
  write_file(own_directory() / "run" / "content", content);
  compare_with_reference<Value>(text::FreeFormatReader("content"), content, count);
  compare_with_reference<Value>(text::FreeFormatReader::in_memory(content, "content"), content, count);
}

}  // namespace s_solver::fuzz
