#include "polefit_io/network/touchstone_reader.hpp"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "polefit_io/network/touchstone/first_frequency.hpp"
#include "polefit_io/network/touchstone/frequency_unit.hpp"
#include "polefit_io/network/touchstone/header.hpp"
#include "polefit_io/network/touchstone/impedance_comments.hpp"
#include "polefit_io/network/touchstone/keywords.hpp"
#include "polefit_io/network/touchstone/layout.hpp"
#include "polefit_io/network/touchstone/lines.hpp"
#include "polefit_io/network/touchstone/matrix.hpp"
#include "polefit_io/network/touchstone/option_line.hpp"
#include "polefit_io/network/touchstone/place.hpp"
#include "polefit_io/network/touchstone/records.hpp"
#include "polefit_io/network/touchstone_meaning.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"

namespace polefit_io {
namespace {

/// Hands each line to what reads it, by where in the text it stands.
class Reader {
 public:
  Reader(text::StreamedLines& text, const std::string& file, std::optional<std::size_t> ports)
      : file_(file), lines_(text), named_ports_(ports), header_(ports) {}

  polefit::Network read() {
    const auto take_comment = [this](std::string_view comment, std::int64_t number) {
      if (section_ != Section::information && section_ != Section::noise_data) {
        comments_.take(comment, number);
      }
    };
    while (section_ != Section::end && lines_.next(take_comment)) {
      const std::string_view line = lines_.line();
      if (section_ == Section::information || line.front() == '[') {
        take_keyword(line);
      } else if (line.front() == '#') {
        take_options(line.substr(1));
      } else {
        take_values(line);
      }
    }
    finish();
    polefit::Network network = builder_->finished();
    network.warnings = std::move(warnings_);
    const Told told{.options = options_, .normalised = !header_.version_2(), .comments = comments_};
    settle(network, told);
    return network;
  }

 private:
  enum class Section { header, reference, information, network_data, noise_data, end };

  /// The line that is being read.
  TouchstonePlace here() const { return {file_, lines_.number()}; }
  bool before_data() const { return section_ == Section::header || section_ == Section::reference; }
  int power() const { return power_of_ten(options_.unit); }

  void take_options(std::string_view line);
  void take_keyword(std::string_view line);
  void enter(const KeywordLine& line);
  void enter_network_data();
  void leave_network_data(const KeywordLine& line, Section section);
  void take_values(std::string_view line);
  void begin_data_without_keywords();
  void begin_data(const Layout& layout);
  void check_pairs() const;
  void build();
  void finish();
  void warn(const std::string& sentence) { warnings_.push_back(warning(file_, lines_.number(), sentence)); }

  const std::string& file_;
  TouchstoneLines lines_;
  std::optional<std::size_t> named_ports_;
  Section section_ = Section::header;
  bool has_option_line_ = false;
  OptionLine options_;
  TouchstoneHeader header_;
  Layout layout_;
  Records records_;
  std::optional<NetworkBuilder> builder_;
  NoiseData noise_;
  ImpedanceComments comments_;
  std::vector<std::string> warnings_;
};

void Reader::take_options(std::string_view line) {
  if (has_option_line_) {
    return;  // the format has it that further ones are ignored
  }
  options_ = read_option_line(line, here());
  has_option_line_ = true;
}

void Reader::take_keyword(std::string_view line) {
  const auto found = keyword_line(line);
  if (section_ == Section::information && (!found || found->keyword != Keyword::end_information)) {
    return;
  }
  if (!found) {
    const std::size_t close = line.find(']');
    here().fail(text::excerpt(close == std::string_view::npos ? line : line.substr(0, close + 1)),
                "a keyword of Touchstone 2.0 or 2.1 in brackets");
  }
  header_.admit(found->keyword, here());
  const bool behind_data = found->keyword == Keyword::noise_data || found->keyword == Keyword::end ||
                           found->keyword == Keyword::end_information;
  if (!behind_data && !before_data()) {
    here().fail(shown(found->keyword) + " behind data", "it before the data");
  }
  if (section_ == Section::reference) {
    section_ = Section::header;
  }
  header_.declare(*found, here());
  enter(*found);
}

/// Goes to the section that a keyword begins, if it does.
void Reader::enter(const KeywordLine& line) {
  switch (line.keyword) {
    case Keyword::reference:
      section_ = Section::reference;
      break;
    case Keyword::begin_information:
      section_ = Section::information;
      break;
    case Keyword::end_information:
      if (section_ != Section::information) {
        here().fail("[End Information]", "[Begin Information] before it");
      }
      section_ = Section::header;
      break;
    case Keyword::network_data:
      enter_network_data();
      break;
    case Keyword::noise_data:
      leave_network_data(line, Section::noise_data);
      break;
    case Keyword::end:
      leave_network_data(line, Section::end);
      break;
    default:
      break;
  }
}

void Reader::enter_network_data() {
  if (!has_option_line_) {
    here().fail("[Network Data]", "the option line before it");
  }
  const Layout layout = header_.layout(here());
  if (header_.lacks_order()) {
    warn(
        "[Network Data] of 2 ports without [Two-Port Data Order] before it; 21_12 is taken, as in versions "
        "1.x");
  }
  if (!header_.references().empty()) {
    options_.references = header_.references();
  }
  begin_data(layout);
}

void Reader::leave_network_data(const KeywordLine& line, Section section) {
  if (section_ != Section::network_data && section_ != Section::noise_data) {
    here().fail(shown(line.keyword), "[Network Data] before it");
  }
  records_.expect_whole(shown(line.keyword), here());
  section_ = section;
}

void Reader::take_values(std::string_view line) {
  switch (section_) {
    case Section::reference:
      header_.append_references(line, here());
      break;
    case Section::header:
      if (header_.version_2()) {
        here().fail(text::excerpt(line), "a keyword, as values begin behind [Network Data]");
      }
      begin_data_without_keywords();
      line = lines_.line();
      [[fallthrough]];
    case Section::network_data:
      if (records_.take(line, here())) {
        if (records_.whole() && records_.data().frequencies.size() >=
                                    frequencies_at_a_time(layout_.values(), records_.frequencies())) {
          build();
        }
        break;
      }
      section_ = Section::noise_data;
      [[fallthrough]];
    default:
      noise_.take(line, power(), here());
  }
}

void Reader::begin_data_without_keywords() {
  if (!has_option_line_) {
    here().fail(
        text::excerpt(lines_.line()) + " without an option line before it",
        "a line such as # GHz S MA R 50, which says unit, parameter, format and reference of the data");
  }
  const std::size_t ports = named_ports_ ? *named_ports_ : ports_of_first_frequency(lines_);
  if (ports == 0) {
    here().fail(text::counted(words_in(lines_.line()), "value") + " on the first line of data",
                "3 of one port or 9 of two, or the number of ports in the file's name, such as .s4p");
  }
  begin_data({.ports = ports, .order = ports == 2 ? PortOrder::by_columns : PortOrder::by_rows});
}

void Reader::begin_data(const Layout& layout) {
  const std::size_t references = options_.references.size();
  if (references != 1 && references != layout.ports) {
    here().fail(
        text::counted(references, "reference resistance") + " for " + text::counted(layout.ports, "port"),
        "one, or one for each port (complex ones are not supported)");
  }
  const bool hybrid = options_.parameter == 'H' || options_.parameter == 'G';
  if (hybrid && (layout.ports != 2 || !header_.modes().empty())) {
    here().fail(std::string(1, options_.parameter) + " parameters of " +
                    (header_.modes().empty() ? text::counted(layout.ports, "port") : "mixed modes"),
                "those of two single ports");
  }
  check_pairs();
  layout_ = layout;
  records_ = Records(layout, power(), header_.version_2());
  section_ = Section::network_data;
}

/// Refuses pairs whose modes would have no reference.
void Reader::check_pairs() const {
  const std::vector<double>& references = options_.references;
  for (const polefit::PortMode& mode : header_.modes()) {
    const double first = references.size() > 1 ? references[mode.port - 1] : references.front();
    const double second = references.size() > 1 && mode.kind != 'S' ? references[mode.other - 1] : first;
    if (first != second) {
      here().fail("different references of the ports of " + polefit::mode_name(mode), "one for both");
    }
    if (!std::isfinite(2.0 * first) || 2.0 * (first / 2.0) != first) {
      here().fail("a reference of the modes of a pair beyond a double's range", "a usual resistance");
    }
  }
}

/// Hands over what has been read.
void Reader::build() {
  if (!builder_) {
    builder_.emplace(layout_, options_, !header_.version_2(), header_.modes(), file_);
  }
  builder_->append(records_.data());
  records_.drop_data();
}

void Reader::finish() {
  const std::string end_of_file = "the end of the file";
  if (section_ == Section::information) {
    here().fail(end_of_file, "[End Information]");
  }
  if (before_data()) {
    here().fail(end_of_file, header_.version_2() ? "[Network Data]" : "the values of a frequency");
  }
  records_.expect_whole(end_of_file, here());
  if (records_.frequencies() == 0) {
    here().fail("no frequencies", "at least one");
  }
  header_.check_counts(records_.frequencies(), noise_.frequencies(), here());
  if (header_.version_2() && section_ != Section::end) {
    warn("the file ends without [End]; it may have been cut off");
  }
  if (!records_.data().frequencies.empty()) {
    build();
  }
}

}  // namespace

polefit::Network read_touchstone(text::StreamedLines& text, const std::string& file,
                                 std::optional<std::size_t> ports) {
  return Reader(text, file, ports).read();
}

polefit::Network read_touchstone(std::string_view text, const std::string& file,
                                 std::optional<std::size_t> ports) {
  text::StreamedLines lines(text);
  return read_touchstone(lines, file, ports);
}

}  // namespace polefit_io
