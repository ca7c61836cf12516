/// A second reading of the free-format rules: one character at a time, one rule after the other, and slow.
#pragma once

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace s_solver::fuzz {

inline std::string lower_case(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

inline bool all_digits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

inline std::string without_sign(const std::string& text) {
  return text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
}

/// A token as a real number, by way of the C library's reading of a rewritten text.
inline std::optional<double> reference_value(const std::string& token, double) {
  const std::string text = lower_case(without_sign(token));
  const double sign = token.starts_with('-') ? -1.0 : 1.0;
  if (text == "inf" || text == "infinity") {
    return sign * std::numeric_limits<double>::infinity();
  }
  if (text == "nan") {
    return std::numeric_limits<double>::quiet_NaN();
  }
  if (text.starts_with("nan(") && text.ends_with(')')) {
    for (const char c : text.substr(4, text.size() - 5)) {
      if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') {
        return std::nullopt;
      }
    }
    return std::numeric_limits<double>::quiet_NaN();
  }

  const std::size_t exponent_at = text.find_first_of("edq+-");
  const std::string mantissa = text.substr(0, exponent_at);
  std::string exponent = "0";
  if (exponent_at != std::string::npos) {
    exponent = text.substr(exponent_at + (text[exponent_at] == '+' || text[exponent_at] == '-' ? 0 : 1));
    if (!all_digits(without_sign(exponent))) {
      return std::nullopt;
    }
  }
  const std::size_t point = mantissa.find('.');
  const std::string before = mantissa.substr(0, point);
  const std::string behind = point == std::string::npos ? "" : mantissa.substr(point + 1);
  if ((!before.empty() && !all_digits(before)) || (!behind.empty() && !all_digits(behind)) ||
      (before + behind).empty()) {
    return std::nullopt;
  }
  return sign * std::strtod((mantissa + "e" + exponent).c_str(), nullptr);
}

/// A token as an integer of 32 bits.
inline std::optional<int> reference_value(const std::string& token, int) {
  if (!all_digits(without_sign(token))) {
    return std::nullopt;
  }
  errno = 0;
  const long long value = std::strtoll(token.c_str(), nullptr, 10);
  if (errno != 0 || value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    return std::nullopt;
  }
  return static_cast<int>(value);
}

/// Reads a text as the reader of files should read a file of that content.
class ReferenceReader {
 public:
  enum class End { complete, end_of_file, error };

  explicit ReferenceReader(std::string_view text) : text_(text) {
    if (text_.starts_with("\xEF\xBB\xBF")) {
      text_.erase(0, 3);
    }
    // CR before LF, or at the end of a last record without LF, is a blank.
    for (std::size_t i = 0; i < text_.size(); ++i) {
      if (text_[i] == '\r' && (i + 1 == text_.size() || text_[i + 1] == '\n')) {
        text_[i] = ' ';
      }
    }
  }

  /// The record and the item of the last error, from 1.
  std::int64_t record = 1;
  int item = 0;

  template <class Value>
  End read(std::vector<Value>& values) {
    std::size_t filled = 0;
    bool value_awaits_comma = false;
    while (filled < values.size()) {
      while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n')) {
        step();
      }
      if (at_ == text_.size()) {
        return End::end_of_file;
      }
      if (text_[at_] == '/') {
        break;
      }
      if (text_[at_] == ',') {
        step();
        if (!value_awaits_comma) {
          ++filled;
        }
        value_awaits_comma = false;
        continue;
      }
      std::string token;
      while (at_ < text_.size() && std::string_view(" \t\n,/").find(text_[at_]) == std::string_view::npos) {
        token += text_[at_];
        step();
      }
      item = static_cast<int>(filled) + 1;
      if (!place(token, values, filled)) {
        return End::error;
      }
      value_awaits_comma = true;
    }
    while (at_ < text_.size()) {
      const bool line_end = text_[at_] == '\n';
      step();
      if (line_end) {
        break;
      }
    }
    return End::complete;
  }

 private:
  void step() {
    if (text_[at_] == '\n') {
      ++record;
    }
    ++at_;
  }

  /// Stores what `token` stands for; false if it stands for nothing.
  template <class Value>
  static bool place(const std::string& token, std::vector<Value>& values, std::size_t& filled) {
    std::string value_text = token;
    std::size_t count = 1;
    const std::size_t star = token.find('*');
    if (star != std::string::npos && all_digits(token.substr(0, star))) {
      const std::string digits = token.substr(0, star);
      const std::size_t nonzero = digits.find_first_not_of('0');
      if (nonzero == std::string::npos) {
        return false;
      }
      // More than nine digits are more than any list here holds.
      count = digits.size() - nonzero > 9 ? values.size() : std::stoul(digits);
      value_text = token.substr(star + 1);
      if (value_text.empty()) {
        filled = std::min(values.size(), filled + count);
        return true;
      }
    }
    const std::optional<Value> value = reference_value(value_text, Value{});
    for (; value && count > 0 && filled < values.size(); --count) {
      values[filled++] = *value;
    }
    return value.has_value();
  }

  std::string text_;
  std::size_t at_ = 0;
};

}  // namespace s_solver::fuzz
