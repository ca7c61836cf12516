#include "polefit/model_file.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit/model/model_faults.hpp"
#include "text/io_error.hpp"
#include "text/whole_file.hpp"

namespace polefit {
namespace {

using nlohmann::json;

constexpr const char* format_name = "polefit model";
constexpr int format_version = 1;
// JSON has no number for it.
constexpr const char* infinite_text = "infinite";

// The schema needs five levels; the rest is room for what later versions may add, and still small beside any
// stack.
constexpr std::size_t deepest_level = 64;

[[noreturn]] void fail(const std::string& sentence) { throw Error(ErrorKind::bad_model_file, sentence); }

/// What a file has to hold: numbers, and as many as belong together.
void check_for_file(const Model& model) {
  for (const auto fault :
       {shape_fault, long_name_fault, name_fault, number_fault, pair_fault, certificate_fault}) {
    refuse(ErrorKind::bad_model_file, fault(model));
  }
}

/// Text from outside for a message: the beginning, within quotation marks and in printable ASCII.
std::string excerpt(std::string_view text) {
  constexpr std::size_t longest = 40;
  const std::string beginning(text.substr(0, longest));
  const std::string printable = json(beginning).dump(-1, ' ', true, json::error_handler_t::replace);
  return text.size() > longest ? printable + "..." : printable;
}

/// Where the first `position` bytes of a text end, for a message.
std::string place_in(std::string_view text, std::size_t position) {
  const std::string_view before = text.substr(0, position);
  const std::size_t line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  const std::size_t byte = before.size() - (before.rfind('\n') + 1);  // npos + 1 is 0
  return " at line " + std::to_string(line) + ", byte " + std::to_string(byte);
}

/// Sees the whole text before anything is built from it: whether it is JSON, and where not, how deep it
/// nests, and whether a key stands twice in an object, one of which would be lost.
class TextCheck final : public json::json_sax_t {
 public:
  explicit TextCheck(const std::string& text) : text_(text) {}
  /// What was wrong, when the reading ended early.
  const std::string& fault() const { return fault_; }

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return go_down(); }
  bool end_object() override { return go_up(); }
  bool start_array(std::size_t) override { return go_down(); }
  bool end_array() override { return go_up(); }

  bool key(string_t& key) override {
    if (!keys_.back().insert(key).second) {
      fault_ = "the key " + excerpt(key) + " stands twice in one object";
    }
    return fault_.empty();
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception& error) override {
    constexpr int number_overflow = 406;  // nlohmann-json's own number for it
    fault_ = error.id == number_overflow ? "the text has a number beyond the range of a double"
                                         : "the text is not JSON";
    fault_ += place_in(text_, position);
    return false;
  }

 private:
  bool go_down() {
    keys_.emplace_back();
    if (keys_.size() > deepest_level) {
      fault_ = "the text nests deeper than " + std::to_string(deepest_level) + " levels";
    }
    return fault_.empty();
  }
  bool go_up() {
    keys_.pop_back();
    return true;
  }

  const std::string& text_;
  std::string fault_;
  std::vector<std::set<std::string>> keys_;  // of the objects and, unused, the arrays that are open
};

void check_text(const std::string& text) {
  // The parser would take a zero byte for the end of the text.
  if (const std::size_t zero = text.find('\0'); zero != std::string::npos) {
    fail("the text is not JSON" + place_in(text, zero + 1));
  }
  TextCheck check(text);
  if (!json::sax_parse(text, &check)) {
    fail(check.fault());
  }
}

/// A value of the text and the way to it. The way becomes text in a message only: there may be a million
/// residues.
class Item {
 public:
  explicit Item(const json& text) : value_(text) {}

  [[noreturn]] void fail_with(const std::string& predicate) const { fail(path() + " " + predicate); }

  /// The member of an object.
  std::optional<Item> find(const char* key) const {
    expect(value_.is_object(), "an object");
    const auto found = value_.find(key);
    return found == value_.end() ? std::nullopt : std::optional(Item(*found, this, key, 0));
  }
  Item member(const char* key) const {
    const auto found = find(key);
    if (!found) {
      fail_with("has no key " + excerpt(key));
    }
    return *found;
  }

  /// The number of elements of an array.
  std::size_t size() const {
    expect(value_.is_array(), "an array");
    return value_.size();
  }
  void expect_size(std::size_t expected) const {
    if (size() != expected) {
      fail_with("has " + std::to_string(size()) + (size() == 1 ? " element" : " elements") + ", expected " +
                std::to_string(expected));
    }
  }
  Item element(std::size_t i) const { return {value_[i], this, nullptr, i}; }

  double number() const {
    expect(value_.is_number(), "a number");
    return value_.get<double>();
  }
  std::complex<double> complex_number() const {
    expect_size(2);
    return {element(0).number(), element(1).number()};
  }
  /// A whole number that counts something.
  std::size_t count() const {
    expect(value_.is_number(), "a whole number");
    if (!value_.is_number_integer() || (!value_.is_number_unsigned() && value_.get<std::int64_t>() < 0)) {
      fail_with("is " + value_.dump() + ", expected a whole number of at least 0");
    }
    return value_.get<std::size_t>();
  }
  bool truth() const {
    expect(value_.is_boolean(), "true or false");
    return value_.get<bool>();
  }
  const std::string& string() const {
    expect(value_.is_string(), "a string");
    return value_.get_ref<const std::string&>();
  }
  const json& value() const { return value_; }

 private:
  Item(const json& value, const Item* parent, const char* key, std::size_t index)
      : value_(value), parent_(parent), key_(key), index_(index) {}

  void expect(bool fulfilled, const char* expected) const {
    if (!fulfilled) {
      fail_with(std::string("is of type ") + value_.type_name() + ", expected " + expected);
    }
  }
  std::string path() const {
    if (parent_ == nullptr) {
      return "the text";
    }
    const std::string before = parent_->parent_ == nullptr ? "" : parent_->path();
    if (key_ == nullptr) {
      return before + "[" + std::to_string(index_) + "]";
    }
    return before.empty() ? key_ : before + "." + key_;
  }

  const json& value_;
  const Item* parent_ = nullptr;
  const char* key_ = nullptr;  // or index_ says which element
  std::size_t index_ = 0;
};

void check_format(const Item& text) {
  const Item format = text.member("format");
  if (format.string() != format_name) {
    format.fail_with("is " + excerpt(format.string()) + ", expected " + excerpt(format_name));
  }
  const Item version = text.member("version");
  if (!version.value().is_number_integer() || version.value() != json(format_version)) {
    version.fail_with((version.value().is_number()
                           ? "is " + version.value().dump()
                           : std::string("is of type ") + version.value().type_name()) +
                      ", expected " + std::to_string(format_version));
  }
}

PortMode port_mode(const Item& text) {
  const std::string kind = text.member("kind").string();
  if (kind.size() != 1) {
    text.fail_with("has a kind that is none of S, D and C");
  }
  const auto other = text.find("other");
  return {.kind = kind.front(), .port = text.member("port").count(), .other = other ? other->count() : 0};
}

NetworkMatrix network_without_elements(const Item& text) {
  NetworkMatrix network;
  const std::string& parameter = text.member("parameter").string();
  if (parameter.size() != 1) {
    fail(no_network_parameter);
  }
  network.parameter = parameter.front();
  const Item references = text.member("references");
  for (std::size_t i = 0; i < references.size(); ++i) {
    network.references.push_back(references.element(i).number());
  }
  if (const auto modes = text.find("modes")) {
    for (std::size_t i = 0; i < modes->size(); ++i) {
      network.modes.push_back(port_mode(modes->element(i)));
    }
  }
  if (const auto vary = text.find("references_vary")) {
    network.references_vary = vary->truth();
  }
  return network;
}

Origin origin_without_errors(const Item& text) {
  const auto finding = text.find("finding");
  return {.lowest = text.member("lowest").number(),
          .highest = text.member("highest").number(),
          .samples = text.member("samples").count(),
          .errors = {},
          .finding = finding ? finding->string() : std::string()};
}

double frequency_or_infinity(const Item& text) {
  if (text.value().is_string()) {
    if (text.string() != infinite_text) {
      text.fail_with("is " + excerpt(text.string()) + ", expected a number or " + excerpt(infinite_text));
    }
    return std::numeric_limits<double>::infinity();
  }
  return text.number();
}

CertifiedPassivity certified_passivity(const Item& text) {
  return {.passive = text.member("passive").truth(),
          .tolerance = text.member("tolerance").number(),
          .extreme = text.member("extreme").number(),
          .frequency = frequency_or_infinity(text.member("frequency"))};
}

/// Refuses what a response has of something that the text has not.
void expect_none(const Item& response, const char* key, const char* missing) {
  if (response.find(key)) {
    response.fail_with("has a key " + excerpt(key) + ", the text has no key " + excerpt(missing));
  }
}

void add_element(const Item& response, std::optional<NetworkMatrix>& network) {
  if (network) {
    network->elements.push_back({response.member("row").count(), response.member("column").count()});
  } else {
    expect_none(response, "row", "network");
    expect_none(response, "column", "network");
  }
}

void add_error(const Item& response, std::optional<Origin>& origin) {
  if (origin) {
    const Item error = response.member("error");
    origin->errors.push_back(
        {error.member("rms").number(), error.member("relative").number(), error.member("largest").number()});
  } else {
    expect_none(response, "error", "origin");
  }
}

void add_name(const Item& response, bool first, std::vector<std::string>& names) {
  const auto name = response.find("name");
  if (!first && name.has_value() == names.empty()) {
    response.fail_with(name ? "has a name, the responses before it have none"
                            : "has no name, the responses before it have one");
  }
  if (name) {
    names.push_back(name->string());
  }
}

void add_response(const Item& response, std::size_t order, Model& model) {
  add_name(response, model.responses() == 0, model.names);
  add_element(response, model.network);
  add_error(response, model.origin);
  model.constants.push_back(response.member("constant").number());
  model.proportionals.push_back(response.member("proportional").number());
  const Item residues = response.member("residues");
  residues.expect_size(order);
  for (std::size_t i = 0; i < order; ++i) {
    model.residues.push_back(residues.element(i).complex_number());
  }
}

// The library's values are only made of single numbers and texts: those of lists and objects want memory when
// they are destroyed, and end the process where there is none.

template <class Value>
std::string scalar_text(const Value& value) {
  return json(value).dump();
}

std::string pair_text(std::complex<double> z) {
  return "[" + scalar_text(z.real()) + "," + scalar_text(z.imag()) + "]";
}

/// The members of an object on one line, as they are added.
class LineOfMembers {
 public:
  LineOfMembers& add(const char* key, const std::string& value) {
    text_.append(text_.size() > 1 ? ",\"" : "\"").append(key).append("\":").append(value);
    return *this;
  }
  std::string take() && { return std::move(text_) + "}"; }

 private:
  std::string text_ = "{";
};

std::string list_text(const std::vector<std::string>& values) {
  std::string text = "[";
  for (const std::string& value : values) {
    text.append(text.size() > 1 ? "," : "").append(value);
  }
  return text + "]";
}

template <class Values, class Text>
std::vector<std::string> texts_of(const Values& values, const Text& text) {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  std::transform(values.begin(), values.end(), std::back_inserter(texts), text);
  return texts;
}

std::string name_text(const Model& model, std::size_t response) {
  try {
    return scalar_text(model.names[response]);
  } catch (const json::type_error&) {
    fail(response_text(response) + ".name is not UTF-8: " + excerpt(model.names[response]));
  }
}

std::string response_json(const Model& model, std::size_t response) {
  LineOfMembers members;
  if (!model.names.empty()) {
    members.add("name", name_text(model, response));
  }
  if (model.network) {
    const MatrixElement& element = model.network->elements[response];
    members.add("row", scalar_text(element.row)).add("column", scalar_text(element.column));
  }
  if (model.origin) {
    const ResponseError& error = model.origin->errors[response];
    LineOfMembers parts;
    parts.add("rms", scalar_text(error.rms))
        .add("relative", scalar_text(error.relative))
        .add("largest", scalar_text(error.largest));
    members.add("error", std::move(parts).take());
  }
  members.add("constant", scalar_text(model.constants[response]))
      .add("proportional", scalar_text(model.proportionals[response]))
      .add("residues", list_text(texts_of(model.residues_of(response), pair_text)));
  return std::move(members).take();
}

std::string mode_json(const PortMode& mode) {
  LineOfMembers members;
  members.add("kind", scalar_text(std::string(1, mode.kind))).add("port", scalar_text(mode.port));
  if (mode.other != 0) {
    members.add("other", scalar_text(mode.other));
  }
  return std::move(members).take();
}

std::string network_json(const NetworkMatrix& network) {
  LineOfMembers members;
  members.add("parameter", scalar_text(std::string(1, network.parameter)))
      .add("references", list_text(texts_of(network.references, scalar_text<double>)));
  if (!network.modes.empty()) {
    members.add("modes", list_text(texts_of(network.modes, mode_json)));
  }
  if (network.references_vary) {
    members.add("references_vary", "true");
  }
  return std::move(members).take();
}

std::string origin_json(const Origin& origin) {
  LineOfMembers members;
  members.add("lowest", scalar_text(origin.lowest))
      .add("highest", scalar_text(origin.highest))
      .add("samples", scalar_text(origin.samples));
  if (!origin.finding.empty()) {
    members.add("finding", scalar_text(origin.finding));
  }
  return std::move(members).take();
}

std::string passivity_json(const CertifiedPassivity& certified) {
  LineOfMembers members;
  members.add("passive", scalar_text(certified.passive))
      .add("tolerance", scalar_text(certified.tolerance))
      .add("extreme", scalar_text(certified.extreme))
      .add("frequency", std::isinf(certified.frequency) ? scalar_text(std::string(infinite_text))
                                                        : scalar_text(certified.frequency));
  return std::move(members).take();
}

/// `[` and the lines, with commas between them, and `]`.
void append_list(std::string& text, const std::vector<std::string>& lines) {
  text += '[';
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += (i == 0 ? "\n    " : ",\n    ") + lines[i];
  }
  text += lines.empty() ? "]" : "\n  ]";
}

}  // namespace

std::string to_json(const Model& model) {
  check_for_file(model);
  const std::vector<std::string> poles = texts_of(model.poles, pair_text);
  std::vector<std::string> responses;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    responses.push_back(response_json(model, r));
  }

  std::string text = "{\n  \"format\": \"" + std::string(format_name) +
                     "\",\n  \"version\": " + std::to_string(format_version) + ",\n";
  if (model.network) {
    text += "  \"network\": " + network_json(*model.network) + ",\n";
  }
  if (model.origin) {
    text += "  \"origin\": " + origin_json(*model.origin) + ",\n";
  }
  if (model.passivity) {
    text += "  \"passivity\": " + passivity_json(*model.passivity) + ",\n";
  }
  text += "  \"poles\": ";
  append_list(text, poles);
  text += ",\n  \"responses\": ";
  append_list(text, responses);
  text += "\n}\n";
  return text;
}

Model model_from_json(const std::string& text) {
  check_text(text);
  const json value = json::parse(text);
  const Item root(value);
  check_format(root);

  Model model;
  if (const auto network = root.find("network")) {
    model.network = network_without_elements(*network);
  }
  if (const auto origin = root.find("origin")) {
    model.origin = origin_without_errors(*origin);
  }
  if (const auto passivity = root.find("passivity")) {
    model.passivity = certified_passivity(*passivity);
  }
  const Item poles = root.member("poles");
  for (std::size_t i = 0; i < poles.size(); ++i) {
    model.poles.push_back(poles.element(i).complex_number());
  }
  const Item responses = root.member("responses");
  for (std::size_t r = 0; r < responses.size(); ++r) {
    add_response(responses.element(r), model.poles.size(), model);
  }
  check_for_file(model);
  return model;
}

void save(const Model& model, const std::string& file_name) {
  const std::string text = to_json(model);
  write_file(ErrorKind::bad_model_file, file_name, text);
}

Model load(const std::string& file_name) {
  const std::string text =
      with_our_error(ErrorKind::bad_model_file, [&] { return text::read_whole_file(file_name); });
  try {
    return model_from_json(text);
  } catch (const Error& error) {
    throw Error(error.kind(), file_name + ": " + error.what());
  }
}

}  // namespace polefit
