#include "polefit_io/network/touchstone/impedance_comments.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "text/letters.hpp"
#include "text/number_text.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

constexpr bool separates(char c) {
  constexpr std::string_view separators = " \t,;()[]=:";
  return separators.find(c) != std::string_view::npos;
}

std::string_view take_item(std::string_view& text) {
  const auto begin = std::find_if_not(text.begin(), text.end(), separates);
  const auto end = std::find_if(begin, text.end(), separates);
  const std::string_view item(begin, end);
  text = std::string_view(end, text.end());
  return item;
}

/// The imaginary part in "j0.3" or "0.3j", with i too.
bool parse_imaginary(std::string_view text, double& value) {
  const auto is_unit = [](char c) { return text::lower(c) == 'j' || text::lower(c) == 'i'; };
  std::string digits(text);
  const auto unit = std::find_if(digits.begin(), digits.end(), is_unit);
  if (unit == digits.end()) {
    return false;
  }
  digits.erase(unit);
  return text::parse_real(digits, value);
}

/// "48.1+j0.3" or "48.1+0.3j".
bool parse_complex(std::string_view text, double& real, double& imaginary) {
  for (std::size_t sign = text.find_first_of("+-", 1); sign != std::string_view::npos;
       sign = text.find_first_of("+-", sign + 1)) {
    if (text::parse_real(text.substr(0, sign), real)) {
      return parse_imaginary(text.substr(sign), imaginary);
    }
  }
  return false;
}

/// A real number that may have its unit beside it.
bool parse_ohms(std::string_view text, double& value) {
  const std::size_t unit = std::min(text::lower_case(text).find("ohm"), text.size());
  const std::string_view plural = text.substr(unit);
  return text::parse_real(text.substr(0, unit), value) && plural.size() <= std::string_view("ohms").size();
}

/// What stands where a number is expected and not words.
bool is_like_a_number(std::string_view item) {
  double value = 0.0;
  return text::parse_real(item, value) ||
         (!item.empty() && std::string_view("+-.0123456789").find(item.front()) != std::string_view::npos);
}

/// Whether the text begins with the words, which are in lower case, in any case.
bool begins_with(std::string_view text, std::string_view words) {
  return text.size() >= words.size() && text::equal_in_any_case(text.substr(0, words.size()), words);
}

bool says_not_renormalised(std::string_view comment) {
  const std::string text = text::lower_case(comment);
  constexpr std::array<std::string_view, 4> negations{"not renormali", "non-renormali", "unrenormali",
                                                      "without renormali"};
  return std::any_of(negations.begin(), negations.end(),
                     [&](std::string_view negation) { return text.find(negation) != std::string::npos; });
}

}  // namespace

/// Appends the numbers of a text that holds nothing else; false, with nothing appended, for any other.
bool ImpedanceComments::take_numbers(std::string_view text) {
  const std::size_t before = numbers_.size();
  for (std::string_view item = take_item(text); !item.empty(); item = take_item(text)) {
    double real = 0.0;
    double imaginary = 0.0;
    if ((text::parse_real(item, real) || parse_ohms(item, real)) && std::isfinite(real)) {
      numbers_.push_back(real);
    } else if (parse_complex(item, real, imaginary) && std::isfinite(real) && std::isfinite(imaginary)) {
      numbers_.insert(numbers_.end(), {real, imaginary});
    } else if (!text::equal_in_any_case(item, "ohm") && !text::equal_in_any_case(item, "ohms")) {
      numbers_.resize(before);
      return false;
    }
  }
  return numbers_.size() > before;
}

void ImpedanceComments::take(std::string_view comment, std::int64_t line) {
  comment = text::without_blanks(comment);
  const std::size_t start = numbers_.size();
  const auto take_statement = [&] {
    line_ = stated() ? line_ : line;
    starts_.push_back(start);
    open_ = true;
    announced_ = false;
  };
  if (open_ && !comment.empty() && take_numbers(comment)) {
    return;
  }
  if (announced_ && (comment.empty() || take_numbers(comment))) {
    if (!comment.empty()) {
      take_statement();
    }
    return;
  }
  constexpr std::string_view words = "port impedance";
  open_ = false;
  announced_ = false;
  if (begins_with(comment, words)) {
    std::string_view rest = comment.substr(words.size());
    rest.remove_prefix(begins_with(rest, "s") ? 1 : 0);
    std::string_view items = rest;
    const std::string_view first = take_item(items);
    if (take_numbers(rest)) {
      take_statement();
    } else if (is_like_a_number(first)) {
      line_ = stated() ? line_ : line;
      unreadable_ = true;
    } else {
      announced_ = first.empty() || (take_item(items).empty() && begins_with(first, "ohm"));
    }
  } else if (!not_renormalised_ && says_not_renormalised(comment)) {
    not_renormalised_ = line;
  }
}

std::optional<ImpedanceComments::Impedances> ImpedanceComments::impedances(std::size_t ports,
                                                                           std::size_t frequencies) const {
  if (unreadable_) {
    return std::nullopt;
  }
  if (starts_.size() != 1 && starts_.size() != frequencies) {
    return std::nullopt;
  }
  constexpr double largest = 1e12;  // ohms, beyond which nothing is a port
  Impedances result{.statements = starts_.size(), .values = {}};
  for (std::size_t k = 0; k < starts_.size(); ++k) {
    const std::size_t end = k + 1 < starts_.size() ? starts_[k + 1] : numbers_.size();
    const std::size_t count = end - starts_[k];
    if (count != ports && count != 2 * ports) {
      return std::nullopt;
    }
    const std::size_t step = count / ports;
    for (std::size_t i = starts_[k]; i < end; i += step) {
      result.values.emplace_back(numbers_[i], step == 2 ? numbers_[i + 1] : 0.0);
      if (!(numbers_[i] > 0.0) || std::abs(result.values.back()) > largest) {
        return std::nullopt;
      }
    }
  }
  return result;
}

}  // namespace polefit_io
