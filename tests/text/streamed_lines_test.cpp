#include "text/streamed_lines.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"

namespace {

using text::StreamedLines;
using Lines = std::vector<std::string>;

/// An unnamed file that holds a text, at its start.
class TextFile {
 public:
  explicit TextFile(std::string_view text) : file_(std::tmpfile()) {
    EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), file_.get()), text.size());
    EXPECT_EQ(std::fflush(file_.get()), 0);
    EXPECT_EQ(::lseek(descriptor(), 0, SEEK_SET), 0);
  }
  int descriptor() const { return ::fileno(file_.get()); }

 private:
  struct Closer {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  std::unique_ptr<std::FILE, Closer> file_;
};

Lines all_of(StreamedLines& lines) {
  Lines all;
  while (lines.next()) {
    all.emplace_back(lines.line());
    EXPECT_EQ(lines.number(), static_cast<std::int64_t>(all.size()));
  }
  EXPECT_FALSE(lines.next());
  EXPECT_EQ(lines.number(), static_cast<std::int64_t>(all.size()));
  return all;
}

Lines in_memory(std::string_view text) {
  StreamedLines lines(text);
  return all_of(lines);
}

Lines from_file(std::string_view text, std::size_t begun = 0) {
  const TextFile file(text.substr(begun));
  StreamedLines lines(file.descriptor(), "name", std::string(text.substr(0, begun)));
  return all_of(lines);
}

TEST(StreamedLines, a_line_ends_with_lf_cr_lf_or_cr_and_the_last_one_without) {
  const std::string text = "a\nb\r\nc\rd\r\r\n\n\re";
  const Lines expected{"a", "b", "c", "d", "", "", "", "e"};
  EXPECT_EQ(in_memory(text), expected);
  for (std::size_t begun = 0; begun <= text.size(); ++begun) {
    EXPECT_EQ(from_file(text, begun), expected) << begun;
  }
  EXPECT_EQ(in_memory(""), Lines{});
  EXPECT_EQ(in_memory("\n"), Lines{""});
  EXPECT_EQ(in_memory("\r\n"), Lines{""});
  EXPECT_EQ(from_file("a\r"), Lines{"a"});
}

TEST(StreamedLines, a_byte_order_mark_is_skipped_also_where_it_is_read_in_pieces) {
  const std::string text =
      "\xEF\xBB\xBF"
      "a\nb";
  EXPECT_EQ(in_memory(text), (Lines{"a", "b"}));
  for (std::size_t begun = 0; begun <= 4; ++begun) {
    EXPECT_EQ(from_file(text, begun), (Lines{"a", "b"})) << begun;
  }
}

TEST(StreamedLines, lines_across_blocks_are_whole_whatever_ends_them) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    Lines expected;
    std::string text;
    for (std::size_t i = 0; text.size() < 1'000'000; ++i) {  // several blocks
      expected.push_back(std::string(1 + i * 7919 % 1000, static_cast<char>('a' + i % 26)));
      text += expected.back() + end;
    }
    EXPECT_EQ(from_file(text), expected);
    EXPECT_EQ(in_memory(text), expected);
  }
}

TEST(StreamedLines, a_line_longer_than_a_block_is_whole) {
  const std::string line(900'000, 'x');
  EXPECT_EQ(from_file("a\n" + line + "\nb"), (Lines{"a", line, "b"}));
}

TEST(StreamedLines, what_was_marked_comes_again) {
  std::string text;
  for (int i = 1; i <= 100'000; ++i) {
    text += std::to_string(i) + "\r\n";
  }
  const TextFile file(text);
  StreamedLines of_file(file.descriptor(), "name");
  StreamedLines of_memory(text);
  for (StreamedLines* lines : {&of_file, &of_memory}) {
    for (int i = 0; i < 7; ++i) {
      lines->next();
    }
    lines->mark();
    while (lines->next()) {
    }
    lines->rewind();
    ASSERT_TRUE(lines->next());
    EXPECT_EQ(lines->line(), "7");
    EXPECT_EQ(lines->number(), 7);
    ASSERT_TRUE(lines->next());
    EXPECT_EQ(lines->line(), "8");
  }
}

TEST(StreamedLines, the_rest_is_the_text_from_the_mark_on) {
  std::string text = "first\nsecond\n";
  text.append(600'000, 'y');
  const TextFile file(text);
  StreamedLines of_file(file.descriptor(), "name");
  StreamedLines of_memory(text);
  for (StreamedLines* lines : {&of_file, &of_memory}) {
    lines->mark();
    lines->next();
    lines->next();
    EXPECT_EQ(lines->take_rest(), text);
    EXPECT_FALSE(lines->next());
  }
}

TEST(StreamedLines, the_rest_may_have_more_lines_than_fit_into_one) {
  std::string text;
  while (text.size() < 2000) {
    text += "a line\n";
  }
  const TextFile file("b");
  StreamedLines lines(file.descriptor(), "name", text, {.bytes = 5000, .line = 1000});
  lines.mark();
  EXPECT_EQ(lines.take_rest(), text + "b");
}

TEST(StreamedLines, a_text_or_a_line_beyond_the_limits_is_refused) {
  const std::string text = std::string(600'000, 'z') + "\n" + std::string(600'000, 'z');
  {
    const TextFile file(text);
    StreamedLines lines(file.descriptor(), "name", {}, {.bytes = 1'000'000, .line = 700'000});
    const auto details = testing_support::io_error_of([&] { all_of(lines); });
    EXPECT_EQ(details.file, "name");
    EXPECT_EQ(details.found, "more than 1000000 bytes");
  }
  const TextFile file(text);
  StreamedLines lines(file.descriptor(), "name", {}, {.bytes = 2'000'000, .line = 500'000});
  EXPECT_EQ(testing_support::io_error_of([&] { all_of(lines); }).found, "a line of more than 500000 bytes");
}

}  // namespace
