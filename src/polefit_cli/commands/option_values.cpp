#include "polefit_cli/commands/option_values.hpp"

#include "polefit/exports.hpp"
#include "polefit_cli/commands/grid.hpp"
#include "polefit_cli/commands/quantities.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/parts.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {
namespace {

/// What is wrong with a text that `read` throws for, as text::IoError.
template <class Read>
std::string complaint_of(const Read& read) {
  try {
    read();
  } catch (const text::IoError& error) {
    return "found " + error.details().found + ", expected " + error.details().expected;
  }
  return {};
}

template <class Flag>
OptionValue flag_of(Flag& value) {
  return {.take =
              [&value](const std::string& text) {
                value = text == "true";
                return std::string();
              },
          .repeats = true};
}

template <class Time>
OptionValue time_value(Time& value, bool above_zero) {
  return {[&value, above_zero](const std::string& text) {
    double time = 0.0;
    const std::string complaint = complaint_of([&] { time = read_time(text); });
    value = time;
    return complaint.empty() && above_zero && time == 0.0 ? found_and_expected(text, "a time above 0")
                                                          : complaint;
  }};
}

}  // namespace

std::string found_and_expected(std::string_view found, std::string_view expected) {
  return "found " + (found.empty() ? "nothing" : text::excerpt(found)) + ", expected " +
         std::string(expected);
}

OptionValue flag(bool& value) { return flag_of(value); }

OptionValue flag(std::optional<bool>& value) { return flag_of(value); }

OptionValue name(std::string& value) {
  return {[&value](const std::string& text) {
    value = text;
    return text.empty() ? found_and_expected(text, "a text") : std::string();
  }};
}

OptionValue output_name(std::string& value) {
  return {[&value](const std::string& text) {
    value = text;
    if (text.empty()) {
      return found_and_expected(text, "a text");
    }
    if (text::is_standard_output(text)) {
      value = "-";
    }
    return std::string();
  }};
}

OptionValue subcircuit_name(std::string& value) {
  return {[&value](const std::string& text) {
    value = text;
    return polefit::is_subcircuit_name(text)
               ? std::string()
               : found_and_expected(text,
                                    "a letter, then letters, digits and underscores, at most 64 in all");
  }};
}

OptionValue names(std::vector<std::string>& value) {
  const auto take = [&value](const std::string& text) {
    int depth = 0;
    std::string name;
    for (const char c : text + ',') {
      depth += c == '(' || c == '[' ? 1 : 0;
      depth -= c == ')' || c == ']' ? 1 : 0;
      if (c != ',' || depth > 0) {
        name += c;
        continue;
      }
      if (name.empty()) {
        return found_and_expected(text, "names with commas between them");
      }
      value.push_back(std::exchange(name, {}));
    }
    return name.empty() ? std::string() : found_and_expected(text, "a bracket at the end");
  };
  return {.take = take, .repeats = true};
}

OptionValue references(std::vector<double>& value) {
  return {[&value](const std::string& text) {
    for (const std::string_view part : text::parts_of(text, ',')) {
      double resistance = 0.0;
      if (!text::parse_real(part, resistance) || !std::isfinite(resistance) || !(resistance > 0.0)) {
        return found_and_expected(text, "numbers of ohms above 0 with commas between them");
      }
      value.push_back(resistance);
    }
    return std::string();
  }};
}

OptionValue grid(std::vector<double>& value) {
  return {[&value](const std::string& text) { return complaint_of([&] { value = read_grid(text); }); }};
}

OptionValue frequency_above_zero(std::optional<double>& value) {
  return {[&value](const std::string& text) {
    const std::string complaint = complaint_of([&] { value = read_frequency(text); });
    return complaint.empty() && *value == 0.0 ? found_and_expected(text, "a frequency above 0") : complaint;
  }};
}

OptionValue time_from_zero(std::optional<double>& value) { return time_value(value, false); }

OptionValue time_above_zero(std::optional<double>& value) { return time_value(value, true); }

OptionValue time_above_zero(double& value) { return time_value(value, true); }

OptionValue resistances(std::vector<double>& value) {
  return {
      [&value](const std::string& text) { return complaint_of([&] { value = read_resistances(text); }); }};
}

TakeText number(std::function<bool(double)> holds, std::string expected, std::function<void(double)> use) {
  return [holds = std::move(holds), expected = std::move(expected),
          use = std::move(use)](const std::string& text) {
    double value = 0.0;
    if (!text::parse_real(text, value) || !std::isfinite(value) || !holds(value)) {
      return found_and_expected(text, expected);
    }
    use(value);
    return std::string();
  };
}

}  // namespace polefit_cli
