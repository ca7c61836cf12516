/// How what is given for an option becomes a value of a command.
#pragma once

#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/letters.hpp"

namespace polefit_cli {

/// What takes the text of an option, "true" or "false" for a flag; returns what is wrong with it, as
/// "found ..., expected ...", or nothing.
using TakeText = std::function<std::string(const std::string&)>;

struct OptionValue {
  TakeText take;
  bool repeats = false;  ///< may be given more than once
};

/// By the main names of a command's options.
using OptionValues = std::map<std::string_view, OptionValue, std::less<>>;

/// "found ..., expected ...".
std::string found_and_expected(std::string_view found, std::string_view expected);

struct Limits {
  int least;
  int most = 1'000'000;
};

OptionValue flag(bool& value);

/// One that need not be given either way.
OptionValue flag(std::optional<bool>& value);

/// A text that is not empty, which a script's unset variable would be.
OptionValue name(std::string& value);

/// The name of a file to write; a minus too where it is that of standard output, such as /dev/stdout.
OptionValue output_name(std::string& value);

/// The name of a subcircuit.
OptionValue subcircuit_name(std::string& value);

/// Names with commas between them; a comma in brackets is part of a name.
OptionValue names(std::vector<std::string>& value);

/// Resistances above 0 with commas between them.
OptionValue references(std::vector<double>& value);

/// See read_grid.
OptionValue grid(std::vector<double>& value);

/// See read_frequency.
OptionValue frequency_above_zero(std::optional<double>& value);

/// See read_time.
OptionValue time_from_zero(std::optional<double>& value);
OptionValue time_above_zero(std::optional<double>& value);
OptionValue time_above_zero(double& value);

/// See read_resistances.
OptionValue resistances(std::vector<double>& value);

/// What takes a number under a condition, read as everywhere in the program.
TakeText number(std::function<bool(double)> holds, std::string expected, std::function<void(double)> use);

template <class Number>
OptionValue above_zero(Number& value) {
  return {number([](double number) { return number > 0.0; }, "a number above 0",
                 [&value](double number) { value = number; })};
}

/// A whole number, also of an optional one.
template <class Number>
OptionValue whole_number(Number& value, Limits limits) {
  const auto holds = [limits](double number) {
    return number >= limits.least && number <= limits.most && number == std::floor(number);
  };
  return {number(holds,
                 "a whole number from " + std::to_string(limits.least) + " to " + std::to_string(limits.most),
                 [&value](double number) {
                   if constexpr (requires { typename Number::value_type; }) {
                     value = static_cast<typename Number::value_type>(number);
                   } else {
                     value = static_cast<Number>(number);
                   }
                 })};
}

/// A flag that stands for one of several values.
template <class Value>
OptionValue flag_for(Value& value, Value meaning) {
  return {.take =
              [&value, meaning](const std::string& text) {
                value = meaning;
                return text == "true" ? std::string() : found_and_expected(text, "a flag alone");
              },
          .repeats = true};
}

/// One of the words, in either case.
template <class Value, class Meaning>
OptionValue choice(Value& value, std::vector<std::pair<std::string_view, Meaning>> words) {
  return {[&value, words = std::move(words)](const std::string& text) {
    std::string all;
    for (const auto& [word, meaning] : words) {
      if (text::lower_case(text) == text::lower_case(word)) {
        value = meaning;
        return std::string();
      }
      all.append(all.empty() ? "" : "|").append(word);
    }
    return found_and_expected(text, all);
  }};
}

}  // namespace polefit_cli
