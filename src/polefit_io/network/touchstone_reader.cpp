#include "polefit_io/network/touchstone_reader.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <system_error>
#include <utility>
#include <vector>

#include "polefit_io/network/touchstone_format.hpp"
#include "text/io_error.hpp"
#include "text/letters.hpp"
#include "text/number_text.hpp"
#include "text/scaled_real.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

using text::excerpt;

constexpr std::size_t noise_values = 5;  // of a frequency: least noise figure, source reflection, resistance

constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }
/// Takes the first word off the text; it is empty when there is none.
std::string_view take_word(std::string_view& text) {
  const auto begin = std::find_if_not(text.begin(), text.end(), is_blank);
  const auto end = std::find_if(begin, text.end(), is_blank);
  const std::string_view word(begin, end);
  text = std::string_view(end, text.end());
  return word;
}

/// A keyword as it stands in a text.
std::string shown(std::string_view keyword) {
  std::string text = "[";
  text += keyword;
  text += ']';
  return text;
}

std::size_t words_in(std::string_view text) {
  std::size_t count = 0;
  while (!take_word(text).empty()) {
    ++count;
  }
  return count;
}

std::string count_of(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// The lines of a text, ended by LF, CR LF or CR; a byte-order mark before them is skipped.
class Lines {
 public:
  explicit Lines(std::string_view text) : text_(text) {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text_.starts_with(byte_order_mark)) {
      text_.remove_prefix(byte_order_mark.size());
    }
    newline_ = std::min(text_.find('\n'), text_.size());
  }

  /// Goes to the next line that holds something beside comment and blanks; false when there is none.
  bool next() {
    line_ = {};
    while (line_.empty() && begin_ < text_.size()) {
      ++number_;
      line_ = take_line();
      line_ = text::without_blanks(line_.substr(0, line_.find('!')));
    }
    return !line_.empty();
  }

  /// Without comment and outer blanks.
  std::string_view line() const { return line_; }
  /// Counted from 1; that of the last line at the end.
  std::int64_t number() const { return number_; }
  /// The bytes behind the line.
  std::size_t left() const { return text_.size() - begin_; }

 private:
  std::string_view take_line() {
    if (newline_ < begin_) {
      newline_ = std::min(text_.find('\n', begin_), text_.size());
    }
    std::string_view line = text_.substr(begin_, newline_ - begin_);
    line = line.substr(0, line.find('\r'));
    begin_ += line.size() + 1;
    if (begin_ == newline_) {  // the LF of a CR LF
      ++begin_;
    }
    begin_ = std::min(begin_, text_.size());
    return line;
  }

  std::string_view text_;
  std::string_view line_;
  std::size_t begin_ = 0;    // of what follows the line
  std::size_t newline_ = 0;  // the first LF not before begin_, or the end; kept, as a line may end in a CR
  std::int64_t number_ = 0;
};

/// What refuses a text.
class Refusal {
 public:
  Refusal(const std::string& file, const Lines& lines) : file_(file), lines_(lines) {}

  /// The error of the line that is being read.
  [[noreturn]] void fail(std::string found, std::string expected, std::size_t item = 0) const {
    fail_at(lines_.number(), std::move(found), std::move(expected), item);
  }
  [[noreturn]] void fail_at(std::int64_t line, std::string found, std::string expected,
                            std::size_t item = 0) const {
    throw text::IoError({.file = file_,
                         .record = line,
                         .item = static_cast<int>(item),
                         .found = std::move(found),
                         .expected = std::move(expected)});
  }

 private:
  const std::string& file_;
  const Lines& lines_;
};

double resistance(std::string_view word, const Refusal& refusal) {
  double value = 0.0;
  if (!text::parse_real(word, value) || !std::isfinite(value) || value <= 0.0) {
    refusal.fail(text::excerpt(word),
                 "a reference resistance in ohms, above 0 (complex ones are not supported)");
  }
  return value;
}

/// Of a magnitude and an angle in degrees; at multiples of 90 degrees one part is exactly zero.
std::complex<double> from_polar(double magnitude, double degrees) {
  int quarters = 0;
  const double rest = std::remquo(degrees, 90.0, &quarters) * (std::numbers::pi / 180.0);
  const double re = magnitude * std::cos(rest);
  const double im = magnitude * std::sin(rest);
  switch (static_cast<unsigned>(quarters) % 4U) {
    case 0:
      return {re, im};
    case 1:
      return {-im, re};
    case 2:
      return {-re, -im};
    default:
      return {im, -re};
  }
}

std::complex<double> complex_value(polefit::ComplexFormat format, double first, double second) {
  switch (format) {
    case polefit::ComplexFormat::ri:
      return {first, second};
    case polefit::ComplexFormat::ma:
      return from_polar(first, second);
    default:
      return from_polar(std::pow(10.0, first / 20.0), second);
  }
}

/// What the option line says; without one, what it stands for.
struct OptionLine {
  polefit::FrequencyUnit unit = polefit::FrequencyUnit::ghz;
  char parameter = 'S';
  polefit::ComplexFormat format = polefit::ComplexFormat::ma;
  std::vector<double> references{50.0};  // one, or one for each port
};

enum class OptionKind { unit, parameter, format };

struct OptionWord {
  std::string_view word;
  OptionKind kind;
  int value;
};

constexpr std::array option_words{
    OptionWord{"hz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::hz)},
    OptionWord{"khz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::khz)},
    OptionWord{"mhz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::mhz)},
    OptionWord{"ghz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::ghz)},
    OptionWord{"s", OptionKind::parameter, 'S'},
    OptionWord{"y", OptionKind::parameter, 'Y'},
    OptionWord{"z", OptionKind::parameter, 'Z'},
    OptionWord{"g", OptionKind::parameter, 'G'},
    OptionWord{"h", OptionKind::parameter, 'H'},
    OptionWord{"ri", OptionKind::format, static_cast<int>(polefit::ComplexFormat::ri)},
    OptionWord{"ma", OptionKind::format, static_cast<int>(polefit::ComplexFormat::ma)},
    OptionWord{"db", OptionKind::format, static_cast<int>(polefit::ComplexFormat::db)},
};

/// The resistances that follow R, up to a word that begins with a letter.
std::vector<double> take_references(std::string_view& line, const Refusal& refusal) {
  std::vector<double> references;
  for (std::string_view rest = line; !rest.empty(); line = rest) {
    const std::string_view word = take_word(rest);
    if (word.empty() || text::is_letter(word.front())) {
      break;
    }
    references.push_back(resistance(word, refusal));
  }
  if (references.empty()) {
    refusal.fail("R without a resistance", "R and a reference resistance in ohms");
  }
  return references;
}

/// `line` is what stands behind the '#'.
OptionLine read_option_line(std::string_view line, const Refusal& refusal) {
  OptionLine options;
  std::array<bool, option_words.size()> seen{};  // of each kind, and R behind them
  constexpr std::size_t resistances = seen.size() - 1;
  for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
    const std::string name = text::lower_case(word);
    const auto* const found =
        std::find_if(option_words.begin(), option_words.end(), [&](const auto& o) { return o.word == name; });
    if (found == option_words.end() && name != "r") {
      refusal.fail(text::excerpt(word),
                   "Hz, kHz, MHz or GHz, S, Y or Z, MA, DB or RI, or R and a resistance");
    }
    const std::size_t kind = name == "r" ? resistances : static_cast<std::size_t>(found->kind);
    if (std::exchange(seen.at(kind), true)) {
      refusal.fail(text::excerpt(word) + " beside another option of its kind", "each option once");
    }
    if (name == "r") {
      options.references = take_references(line, refusal);
    } else if (found->kind == OptionKind::unit) {
      options.unit = static_cast<polefit::FrequencyUnit>(found->value);
    } else if (found->kind == OptionKind::parameter) {
      options.parameter = static_cast<char>(found->value);
    } else {
      options.format = static_cast<polefit::ComplexFormat>(found->value);
    }
  }
  if (options.parameter == 'G' || options.parameter == 'H') {
    refusal.fail(std::string(1, options.parameter) + " parameters", "S, Y or Z, others cannot be fitted");
  }
  return options;
}

enum class MatrixFormat { full, lower, upper };
enum class PortOrder { by_rows, by_columns };

/// What stands where in the values of a frequency.
struct Layout {
  std::size_t ports = 0;
  MatrixFormat format = MatrixFormat::full;
  PortOrder order = PortOrder::by_rows;

  /// Of one frequency, two for a complex value.
  std::size_t values() const {
    return format == MatrixFormat::full ? 2 * ports * ports : ports * (ports + 1);
  }
  /// The place of an element's two values.
  std::size_t place(const polefit::MatrixElement& element) const {
    std::size_t i = element.row - 1;
    std::size_t j = element.column - 1;
    if (format == MatrixFormat::full) {
      return 2 * (order == PortOrder::by_rows ? i * ports + j : j * ports + i);
    }
    if ((format == MatrixFormat::lower) == (i < j)) {
      std::swap(i, j);
    }
    // Of i rows above, the lower triangle has 1 + ... + i elements, the upper one N + ... + (N - i + 1).
    return format == MatrixFormat::lower ? i * (i + 1) + 2 * j : i * (2 * ports + 1 - i) + 2 * (j - i);
  }
};

class Reader {
 public:
  Reader(std::string_view text, const std::string& file, std::optional<std::size_t> ports)
      : file_(file), lines_(text), refusal_(file_, lines_), named_ports_(ports) {}
  // The refusal looks at the lines.
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  polefit::Network read() {
    while (section_ != Section::end && lines_.next()) {
      const std::string_view line = lines_.line();
      if (section_ == Section::information || line.front() == '[') {
        keyword_line(line);
      } else if (line.front() == '#') {
        option_line(line.substr(1));
      } else {
        value_line(line);
      }
    }
    finish();
    return network();
  }

 private:
  enum class Section { header, reference, information, network_data, noise_data, end };

  struct Keyword {
    std::string_view name;
    void (Reader::*action)(std::string_view rest);
  };

  void option_line(std::string_view line);

  void keyword_line(std::string_view line);
  const Keyword* find_keyword(std::string_view name) const;
  void expect_header(std::string_view keyword) const;
  void expect_no_value(std::string_view keyword, std::string_view rest) const;
  std::size_t count(std::string_view text, std::size_t least) const;
  void version(std::string_view rest);
  void number_of_ports(std::string_view rest);
  void two_port_data_order(std::string_view rest);
  void number_of_frequencies(std::string_view rest) { declared_frequencies_ = count(rest, 1); }
  void number_of_noise_frequencies(std::string_view rest) { declared_noise_ = count(rest, 1); }
  void reference(std::string_view rest);
  void matrix_format(std::string_view rest);
  void mixed_mode_order(std::string_view rest);
  void begin_information(std::string_view rest);
  void end_information(std::string_view rest);
  void network_data(std::string_view rest);
  void noise_data(std::string_view rest);
  void end(std::string_view rest);

  void value_line(std::string_view line);
  std::size_t ports_of_first_frequency(std::string_view line) const;
  void begin_data_without_keywords(std::string_view line);
  void begin_data(std::size_t ports);
  void network_line(std::string_view line);
  double take_frequency(std::string_view& line);
  void take_values(std::string_view line, std::size_t items_before);
  bool begins_noise(double frequency, std::size_t line_values) const;
  void check_place(bool begins, std::size_t line_values);
  void reserve_for_the_rest();
  void noise_line(std::string_view line);
  std::string whole_record() const;
  void expect_whole_record(const std::string& found) const;

  void finish();
  polefit::Network network();
  double normalisation(const polefit::MatrixElement& element) const;
  void read_values(std::size_t response, std::size_t begin, std::size_t end, polefit::Network& network) const;

  const std::string& file_;
  Lines lines_;
  Refusal refusal_;
  Section section_ = Section::header;
  std::optional<std::size_t> named_ports_;
  bool has_option_line_ = false;
  OptionLine options_;
  std::vector<double> references_;  // one a port once the data have begun

  // Version 2.0
  bool keywords_ = false;
  std::vector<std::string_view> seen_;
  std::optional<std::size_t> declared_ports_;
  std::optional<PortOrder> two_port_order_;
  std::optional<std::size_t> declared_frequencies_;
  std::optional<std::size_t> declared_noise_;
  std::vector<double> port_references_;
  MatrixFormat matrix_format_ = MatrixFormat::full;

  Layout layout_;
  std::vector<double> frequencies_;
  std::vector<std::int64_t> record_lines_;  // the first of each frequency
  std::vector<double> values_;              // as they stand in the text, of all frequencies
  std::size_t left_at_data_ = 0;            // bytes of the text from the first line of data
  std::size_t filled_ = 0;                  // values of the last frequency, all when it is whole
  std::size_t record_line_count_ = 0;
  std::size_t equal_lines_ = 0;  // of these, as many as have as many values as the first
  std::size_t first_line_values_ = 0;
  std::size_t noise_frequencies_ = 0;
  double noise_frequency_ = 0.0;
};

void Reader::option_line(std::string_view line) {
  if (has_option_line_) {
    return;  // the format has it that further ones are ignored
  }
  if (section_ != Section::header && section_ != Section::reference) {
    refusal_.fail("an option line behind data", "the option line before the data");
  }
  options_ = read_option_line(line, refusal_);
  has_option_line_ = true;
}

const Reader::Keyword* Reader::find_keyword(std::string_view name) const {
  static constexpr std::array keywords{
      Keyword{"Version", &Reader::version},
      Keyword{"Number of Ports", &Reader::number_of_ports},
      Keyword{"Two-Port Data Order", &Reader::two_port_data_order},
      Keyword{"Number of Frequencies", &Reader::number_of_frequencies},
      Keyword{"Number of Noise Frequencies", &Reader::number_of_noise_frequencies},
      Keyword{"Reference", &Reader::reference},
      Keyword{"Matrix Format", &Reader::matrix_format},
      Keyword{"Mixed-Mode Order", &Reader::mixed_mode_order},
      Keyword{"Begin Information", &Reader::begin_information},
      Keyword{"End Information", &Reader::end_information},
      Keyword{"Network Data", &Reader::network_data},
      Keyword{"Noise Data", &Reader::noise_data},
      Keyword{"End", &Reader::end},
  };
  std::string words;
  for (std::string_view word = take_word(name); !word.empty(); word = take_word(name)) {
    words += words.empty() ? "" : " ";
    words += text::lower_case(word);
  }
  const auto* const found = std::find_if(keywords.begin(), keywords.end(),
                                         [&](const Keyword& k) { return text::lower_case(k.name) == words; });
  return found == keywords.end() ? nullptr : found;
}

void Reader::keyword_line(std::string_view line) {
  const std::size_t close = line.find(']');
  const bool bracketed = line.front() == '[' && close != std::string_view::npos;
  const Keyword* const keyword = bracketed ? find_keyword(line.substr(1, close - 1)) : nullptr;
  if (section_ == Section::information && (keyword == nullptr || keyword->name != "End Information")) {
    return;
  }
  if (keyword == nullptr) {
    refusal_.fail(text::excerpt(line.substr(0, bracketed ? close + 1 : line.size())),
                  "a keyword of Touchstone 2.0 in brackets");
  }
  if (!keywords_ && keyword->name != "Version") {
    refusal_.fail(shown(keyword->name), "[Version] 2.0 before any other keyword");
  }
  if (std::find(seen_.begin(), seen_.end(), keyword->name) != seen_.end()) {
    refusal_.fail("a second " + shown(keyword->name), "each keyword once");
  }
  if (!keyword->name.ends_with("Information")) {
    seen_.push_back(keyword->name);
  }
  if (keyword->name != "Noise Data" && keyword->name != "End" && keyword->name != "End Information") {
    expect_header(keyword->name);
  }
  if (section_ == Section::reference) {
    section_ = Section::header;
  }
  (this->*keyword->action)(text::without_blanks(line.substr(close + 1)));
}

void Reader::expect_header(std::string_view keyword) const {
  if (section_ != Section::header && section_ != Section::reference) {
    refusal_.fail(shown(keyword) + " behind data", "it before the data");
  }
}

void Reader::expect_no_value(std::string_view keyword, std::string_view rest) const {
  if (!rest.empty()) {
    refusal_.fail(text::excerpt(rest) + " behind " + shown(keyword), "nothing there");
  }
}

/// A number of things that a keyword declares.
std::size_t Reader::count(std::string_view text, std::size_t least) const {
  int value = 0;
  if (!text::parse_integer(text, value) || value < 0 || static_cast<std::size_t>(value) < least) {
    refusal_.fail(text.empty() ? "no number" : text::excerpt(text),
                  "an integer from " + std::to_string(least) + " to 2147483647");
  }
  return static_cast<std::size_t>(value);
}

void Reader::version(std::string_view rest) {
  if (rest != "2.0") {
    refusal_.fail("[Version] " + text::excerpt(rest), "2.0, or no such line for versions 1.x");
  }
  keywords_ = true;
}

void Reader::number_of_ports(std::string_view rest) {
  declared_ports_ = count(rest, 1);
  if (named_ports_ && *named_ports_ != *declared_ports_) {
    refusal_.fail("[Number of Ports] " + std::to_string(*declared_ports_),
                  std::to_string(*named_ports_) + ", which the file's name says");
  }
}

void Reader::two_port_data_order(std::string_view rest) {
  if (rest != "12_21" && rest != "21_12") {
    refusal_.fail("[Two-Port Data Order] " + text::excerpt(rest), "12_21 or 21_12");
  }
  two_port_order_ = rest == "12_21" ? PortOrder::by_rows : PortOrder::by_columns;
}

void Reader::reference(std::string_view rest) {
  section_ = Section::reference;
  value_line(rest);
}

void Reader::matrix_format(std::string_view rest) {
  const std::string name = text::lower_case(rest);
  if (name == "full") {
    matrix_format_ = MatrixFormat::full;
  } else if (name == "lower") {
    matrix_format_ = MatrixFormat::lower;
  } else if (name == "upper") {
    matrix_format_ = MatrixFormat::upper;
  } else {
    refusal_.fail("[Matrix Format] " + text::excerpt(rest), "Full, Lower or Upper");
  }
}

void Reader::mixed_mode_order(std::string_view) {
  refusal_.fail("[Mixed-Mode Order]", "parameters of single ports, mixed-mode data are not supported");
}

void Reader::begin_information(std::string_view rest) {
  expect_no_value("Begin Information", rest);
  section_ = Section::information;
}

void Reader::end_information(std::string_view rest) {
  expect_no_value("End Information", rest);
  if (section_ != Section::information) {
    refusal_.fail("[End Information]", "[Begin Information] before it");
  }
  section_ = Section::header;
}

void Reader::network_data(std::string_view rest) {
  expect_no_value("Network Data", rest);
  if (!has_option_line_) {
    refusal_.fail("[Network Data]", "the option line before it");
  }
  if (!declared_ports_) {
    refusal_.fail("[Network Data]", "[Number of Ports] before it");
  }
  if (*declared_ports_ == 2 && !two_port_order_) {
    refusal_.fail("[Network Data] of 2 ports", "[Two-Port Data Order] before it");
  }
  if (!port_references_.empty() && port_references_.size() != *declared_ports_) {
    refusal_.fail(count_of(port_references_.size(), "resistance") + " of [Reference]",
                  std::to_string(*declared_ports_) + ", one for each port");
  }
  layout_.format = matrix_format_;
  layout_.order = *declared_ports_ == 2 ? *two_port_order_ : PortOrder::by_rows;
  if (!port_references_.empty()) {
    options_.references = port_references_;
  }
  begin_data(*declared_ports_);
}

void Reader::noise_data(std::string_view rest) {
  expect_no_value("Noise Data", rest);
  if (section_ != Section::network_data) {
    refusal_.fail("[Noise Data]", "[Network Data] before it");
  }
  expect_whole_record("[Noise Data]");
  section_ = Section::noise_data;
}

void Reader::end(std::string_view rest) {
  expect_no_value("End", rest);
  if (section_ != Section::network_data && section_ != Section::noise_data) {
    refusal_.fail("[End]", "[Network Data] before it");
  }
  expect_whole_record("[End]");
  section_ = Section::end;
}

void Reader::value_line(std::string_view line) {
  switch (section_) {
    case Section::reference:
      for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
        port_references_.push_back(resistance(word, refusal_));
      }
      break;
    case Section::header:
      if (keywords_) {
        refusal_.fail(text::excerpt(line), "a keyword, as values begin behind [Network Data]");
      }
      begin_data_without_keywords(line);
      network_line(line);
      break;
    case Section::network_data:
      network_line(line);
      break;
    default:
      noise_line(line);
  }
}

/// The number of ports for which the first line of data and those behind it hold a frequency's values, 0 if
/// there is none. Only the line that a frequency begins has an odd number of values, as the others have
/// pairs.
std::size_t Reader::ports_of_first_frequency(std::string_view line) const {
  const std::size_t first = words_in(line);
  std::size_t values = first;
  for (Lines ahead = lines_; ahead.next();) {
    const std::size_t words = words_in(ahead.line());
    if (words % 2 == 1 || ahead.line().front() == '#' || ahead.line().front() == '[') {
      break;
    }
    values += words;
  }
  for (const std::size_t count : {values, first}) {
    const std::size_t pairs = count / 2;
    const auto ports = static_cast<std::size_t>(std::sqrt(static_cast<double>(pairs)));
    if (count == 2 * ports * ports + 1) {
      return ports;
    }
  }
  return 0;
}

void Reader::begin_data_without_keywords(std::string_view line) {
  std::size_t ports = 0;
  if (named_ports_) {
    ports = *named_ports_;
  } else {
    ports = ports_of_first_frequency(line);
    if (ports == 0) {
      refusal_.fail(count_of(words_in(line), "value") + " on the first line of data",
                    "3 of one port or 9 of two, or the number of ports in the file's name, such as .s4p");
    }
  }
  layout_.order = ports == 2 ? PortOrder::by_columns : PortOrder::by_rows;
  begin_data(ports);
}

void Reader::begin_data(std::size_t ports) {
  layout_.ports = ports;
  const std::size_t references = options_.references.size();
  if (references != 1 && references != ports) {
    refusal_.fail(count_of(references, "reference resistance") + " for " + count_of(ports, "port"),
                  "one, or one for each port (complex ones are not supported)");
  }
  filled_ = layout_.values();
  left_at_data_ = lines_.left() + lines_.line().size();
  section_ = Section::network_data;
}

void Reader::network_line(std::string_view line) {
  const bool begins = filled_ == layout_.values();
  double frequency = 0.0;
  if (begins) {
    frequency = take_frequency(line);
    filled_ = 0;
    record_line_count_ = 0;
    equal_lines_ = 0;
  }
  const std::size_t before = values_.size();
  take_values(line, begins ? 1 : 0);
  const std::size_t added = values_.size() - before;
  const std::size_t line_values = added + (begins ? 1 : 0);
  if (begins) {
    if (begins_noise(frequency, line_values)) {
      values_.resize(before);
      filled_ = layout_.values();
      section_ = Section::noise_data;
      noise_frequency_ = frequency;
      noise_frequencies_ = 1;
      return;
    }
    if (!frequencies_.empty() && frequency < frequencies_.back()) {
      refusal_.fail("a frequency below the one before it",
                    std::string("frequencies that do not decrease") +
                        (layout_.ports == 2 && !keywords_ ? ", or noise data of 5 values a line" : ""),
                    1);
    }
    frequencies_.push_back(frequency);
    record_lines_.push_back(lines_.number());
  }
  filled_ += added;
  check_place(begins, line_values);
  if (frequencies_.size() == 1 && filled_ == layout_.values()) {
    reserve_for_the_rest();
  }
}

double Reader::take_frequency(std::string_view& line) {
  const std::string_view word = take_word(line);
  double value = 0.0;
  if (!text::parse_scaled_real(word, power_of_ten(options_.unit), value)) {
    refusal_.fail(text::excerpt(word), "a frequency", 1);
  }
  if (!std::isfinite(value) || value < 0.0) {
    refusal_.fail(text::excerpt(word), "a finite frequency not below 0", 1);
  }
  return value + 0.0;  // a negative zero becomes positive
}

/// `items_before` is the number of values of the line that have been taken off it.
void Reader::take_values(std::string_view line, std::size_t items_before) {
  const char* at = line.data();
  const char* const end = at + line.size();
  for (;;) {
    at = std::find_if_not(at, end, is_blank);
    if (at == end) {
      return;
    }
    double value = 0.0;
    const char* stop = at;
    if (const auto parsed = std::from_chars(at, end, value); parsed.ec == std::errc{}) {
      stop = parsed.ptr;
    }
    if (stop == at || (stop != end && !is_blank(*stop))) {  // other forms of numbers, or none
      stop = std::find_if(at, end, is_blank);
      if (!text::parse_real({at, stop}, value)) {
        refusal_.fail(text::excerpt({at, stop}), "a number", items_before + words_in({line.data(), at}) + 1);
      }
    }
    if (!std::isfinite(value)) {
      refusal_.fail(text::excerpt({at, stop}), "a finite number",
                    items_before + words_in({line.data(), at}) + 1);
    }
    values_.push_back(value);
    at = stop;
  }
}

/// Noise data of version 1.x have no mark but a first frequency not above the last one of the network's.
bool Reader::begins_noise(double frequency, std::size_t line_values) const {
  return !keywords_ && layout_.ports == 2 && line_values == noise_values && !frequencies_.empty() &&
         frequency <= frequencies_.back();
}

/// Whether a line may stand where it stands in the values of its frequency.
void Reader::check_place(bool begins, std::size_t line_values) {
  const bool one_line = !keywords_ && layout_.ports <= 2;
  if (filled_ > layout_.values() || (one_line && filled_ < layout_.values())) {
    const std::string found = begins ? count_of(line_values, "value")
                                     : count_of(filled_ + 1, "value") + " with those since line " +
                                           std::to_string(record_lines_.back());
    refusal_.fail(found, whole_record() + ", and the next frequency on a new line");
  }
  // Lines of equal length, which is odd then, are rather frequencies of a network with fewer ports.
  ++record_line_count_;
  if (begins) {
    first_line_values_ = line_values;
  }
  equal_lines_ += line_values == first_line_values_ ? 1 : 0;
  if (!keywords_ && filled_ == layout_.values() && record_line_count_ > 1 &&
      record_line_count_ == equal_lines_ && first_line_values_ > 1) {
    refusal_.fail(std::to_string(record_line_count_) + " lines of " + std::to_string(line_values) +
                      " values each, which seem to be as many frequencies",
                  whole_record());
  }
}

void Reader::reserve_for_the_rest() {
  // Each frequency will take about as much text as the first, and two bytes for a value at least.
  const std::size_t left = lines_.left();
  const std::size_t record_bytes = std::max(left_at_data_ - left, 2 * layout_.values());
  const std::size_t records = left / record_bytes + 1;
  values_.reserve((records + 1) * layout_.values());
  frequencies_.reserve(records + 1);
  record_lines_.reserve(records + 1);
}

void Reader::noise_line(std::string_view line) {
  const double frequency = take_frequency(line);
  const std::size_t before = values_.size();
  take_values(line, 1);
  const std::size_t line_values = values_.size() - before + 1;
  values_.resize(before);
  if (line_values != noise_values) {
    refusal_.fail(count_of(line_values, "value") + " in noise data", std::to_string(noise_values));
  }
  if (noise_frequencies_ > 0 && frequency < noise_frequency_) {
    refusal_.fail("a noise frequency below the one before it", "frequencies that do not decrease", 1);
  }
  noise_frequency_ = frequency;
  ++noise_frequencies_;
}

std::string Reader::whole_record() const {
  return std::to_string(layout_.values() + 1) + " values for a frequency of " +
         count_of(layout_.ports, "port");
}

void Reader::expect_whole_record(const std::string& found) const {
  if (filled_ != layout_.values()) {
    refusal_.fail(found + " after " + count_of(filled_ + 1, "value") + " since line " +
                      std::to_string(record_lines_.back()),
                  whole_record());
  }
}

void Reader::finish() {
  const std::string end_of_file = "the end of the file";
  if (section_ == Section::information) {
    refusal_.fail(end_of_file, "[End Information]");
  }
  if (section_ == Section::header || section_ == Section::reference) {
    refusal_.fail(end_of_file, keywords_ ? "[Network Data]" : "the values of a frequency");
  }
  expect_whole_record(end_of_file);
  if (frequencies_.empty()) {
    refusal_.fail("no frequencies", "at least one");
  }
  if (declared_frequencies_ && *declared_frequencies_ != frequencies_.size()) {
    refusal_.fail(std::to_string(frequencies_.size()) + " frequencies of network data",
                  std::to_string(*declared_frequencies_) + ", as [Number of Frequencies] says");
  }
  if (declared_noise_ && *declared_noise_ != noise_frequencies_) {
    refusal_.fail(std::to_string(noise_frequencies_) + " noise frequencies",
                  std::to_string(*declared_noise_) + ", as [Number of Noise Frequencies] says");
  }
}

polefit::Network Reader::network() {
  references_ = options_.references;
  references_.resize(layout_.ports, references_.front());
  polefit::Network network;
  network.file = file_;
  network.frequencies = std::move(frequencies_);
  network.matrix = polefit::NetworkMatrix{.parameter = options_.parameter,
                                          .references = references_,
                                          .elements = polefit::all_elements(layout_.ports)};
  const std::size_t responses = network.matrix->elements.size();
  for (const polefit::MatrixElement& element : network.matrix->elements) {
    network.names.push_back(polefit::element_name(options_.parameter, element, layout_.ports));
  }
  network.values.resize(responses * network.frequencies.size());
  // Few frequencies at a time, so that what is read of them stays in the cache while all responses take it.
  constexpr std::size_t block = 16;
  for (std::size_t begin = 0; begin < network.frequencies.size(); begin += block) {
    const std::size_t end = std::min(begin + block, network.frequencies.size());
    for (std::size_t response = 0; response < responses; ++response) {
      read_values(response, begin, end, network);
    }
  }
  return network;
}

/// What the impedances of version 1.x are to be multiplied with, and admittances to be divided by.
double Reader::normalisation(const polefit::MatrixElement& element) const {
  const double row = references_[element.row - 1];
  const double column = references_[element.column - 1];
  return row == column ? row : std::sqrt(row) * std::sqrt(column);
}

void Reader::read_values(std::size_t response, std::size_t begin, std::size_t end,
                         polefit::Network& network) const {
  const polefit::MatrixElement& element = network.matrix->elements[response];
  const std::size_t place = layout_.place(element);
  const double scale = normalisation(element);
  for (std::size_t k = begin; k < end; ++k) {
    const std::size_t at = k * layout_.values() + place;
    std::complex<double> value = complex_value(options_.format, values_[at], values_[at + 1]);
    if (!keywords_ && options_.parameter == 'Z') {
      value *= scale;
    } else if (!keywords_ && options_.parameter == 'Y') {
      value /= scale;
    }
    if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
      refusal_.fail_at(record_lines_[k], "a value of " + network.names[response] + " beyond a double's range",
                       "finite values");
    }
    network.values[response * network.frequencies.size() + k] = value;
  }
}

}  // namespace

polefit::Network read_touchstone(std::string_view text, const std::string& file,
                                 std::optional<std::size_t> ports) {
  return Reader(text, file, ports).read();
}

}  // namespace polefit_io
