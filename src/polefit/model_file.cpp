#include "polefit/model_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <complex>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model_faults.hpp"

namespace polefit {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr const char* format_name = "polefit model";
constexpr int format_version = 1;

// The schema needs five levels; the rest is room for what later versions may add, and still small beside any
// stack.
constexpr std::size_t deepest_level = 64;

[[noreturn]] void fail(const std::string& sentence) { throw Error(ErrorKind::bad_model_file, sentence); }

void refuse(const std::optional<std::string>& fault) {
  if (fault) {
    fail(*fault);
  }
}

/// Text from outside for a message: the beginning, within quotation marks and in printable ASCII.
std::string excerpt(std::string_view text) {
  constexpr std::size_t longest = 40;
  const std::string beginning(text.substr(0, longest));
  const std::string printable = json(beginning).dump(-1, ' ', true, json::error_handler_t::replace);
  return text.size() > longest ? printable + "..." : printable;
}

// ---- Reading
// -------------------------------------------------------------------------------------------------

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

void add_response(const Item& response, std::size_t order, Model& model) {
  model.constants.push_back(response.member("constant").number());
  model.proportionals.push_back(response.member("proportional").number());
  const Item residues = response.member("residues");
  residues.expect_size(order);
  for (std::size_t i = 0; i < order; ++i) {
    model.residues.push_back(residues.element(i).complex_number());
  }
}

// ---- Writing
// -------------------------------------------------------------------------------------------------

std::string pair_text(std::complex<double> z) { return json::array({z.real(), z.imag()}).dump(); }

std::string response_json(const Model& model, std::size_t response) {
  ordered_json object;
  if (!model.names.empty()) {
    object["name"] = model.names[response];
  }
  object["constant"] = model.constants[response];
  object["proportional"] = model.proportionals[response];
  ordered_json& residues = object["residues"] = ordered_json::array();
  for (const std::complex<double> c : model.residues_of(response)) {
    residues.push_back(ordered_json::array({c.real(), c.imag()}));
  }
  try {
    return object.dump();
  } catch (const ordered_json::type_error&) {  // bytes in the only string
    fail(response_text(response) + ".name is not UTF-8: " + excerpt(model.names[response]));
  }
}

/// `[` and the lines, with commas between them, and `]`.
void append_list(std::string& text, const std::vector<std::string>& lines) {
  text += '[';
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += (i == 0 ? "\n    " : ",\n    ") + lines[i];
  }
  text += lines.empty() ? "]" : "\n  ]";
}

// ---- Files
// ---------------------------------------------------------------------------------------------------

[[noreturn]] void fail_with_errno(const std::string& file_name, const std::string& predicate) {
  const std::string reason = std::generic_category().message(errno);
  fail(file_name + " " + predicate + ": " + reason);
}

/// The system would take such a name for another one.
void check_name(const std::string& file_name) {
  if (file_name.empty() || file_name.find('\0') != std::string::npos) {
    fail("the name of a model file is empty or has a zero byte in it");
  }
}

/// An open file, closed at the latest when it goes.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }
  int number() const { return number_; }
  /// Whether the close went well; the number is free again in either case.
  bool close() { return ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

/// A new file that vanishes again unless it is renamed.
class TemporaryFile {
 public:
  /// Beside `target`, whose name appears in messages as `shown`. The name is short and does not grow with
  /// that of the target, which may be as long as the system allows.
  TemporaryFile(const std::filesystem::path& target, std::string shown)
      : target_(target), shown_(std::move(shown)), descriptor_(open_beside(target, name_)) {
    if (descriptor_.number() < 0) {
      fail_with_errno(shown_, "cannot be written, no file can be made beside it");
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!name_.empty()) {
      ::unlink(name_.c_str());
    }
  }

  void take_permissions(mode_t mode) {
    if (::fchmod(descriptor_.number(), mode & 07777) != 0) {
      fail_with_errno(shown_, "cannot be written, its permissions cannot be kept");
    }
  }

  void write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = ::write(descriptor_.number(), text.data(), text.size());
      if (count < 0 && errno != EINTR) {
        fail_with_errno(shown_, "cannot be written");
      }
      text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
  }

  /// On the disk before it takes the place of the target: what a crash leaves is the old file or the whole
  /// new one.
  void replace_target() {
    if (::fsync(descriptor_.number()) != 0) {
      fail_with_errno(shown_, "cannot be written to the disk");
    }
    if (!descriptor_.close()) {
      fail_with_errno(shown_, "cannot be closed after writing");
    }
    if (::rename(name_.c_str(), target_.c_str()) != 0) {
      fail_with_errno(shown_, "cannot be replaced");
    }
    name_.clear();
  }

 private:
  /// The descriptor, or -1 and errno.
  static int open_beside(const std::filesystem::path& target, std::string& name) {
    static std::atomic<unsigned> files{0};
    for (;;) {
      const std::string own =
          ".polefit-" + std::to_string(::getpid()) + "-" + std::to_string(++files) + ".tmp";
      name = (target.parent_path() / own).string();
      const int number = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (number < 0) {
        name.clear();
      }
      // What a process of the same number left behind is nobody's to remove.
      if (number >= 0 || errno != EEXIST) {
        return number;
      }
    }
  }

  std::filesystem::path target_;
  std::string shown_;
  std::string name_;
  Descriptor descriptor_;
};

std::string content_of(const std::string& file_name) {
  const Descriptor file(::open(file_name.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.number() < 0) {
    fail_with_errno(file_name, "cannot be opened");
  }
  std::string content;
  std::vector<char> buffer(std::size_t{1} << 16);
  for (;;) {
    const ssize_t count = ::read(file.number(), buffer.data(), buffer.size());
    if (count == 0) {
      return content;
    }
    if (count < 0 && errno != EINTR) {
      fail_with_errno(file_name, "cannot be read");
    }
    content.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string to_json(const Model& model) {
  refuse(shape_fault(model));
  refuse(number_fault(model));
  refuse(pair_fault(model));
  std::vector<std::string> poles;
  for (const std::complex<double> a : model.poles) {
    poles.push_back(pair_text(a));
  }
  std::vector<std::string> responses;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    responses.push_back(response_json(model, r));
  }

  std::string text = "{\n  \"format\": \"" + std::string(format_name) +
                     "\",\n  \"version\": " + std::to_string(format_version) + ",\n  \"poles\": ";
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
  const Item poles = root.member("poles");
  for (std::size_t i = 0; i < poles.size(); ++i) {
    model.poles.push_back(poles.element(i).complex_number());
  }
  const Item responses = root.member("responses");
  for (std::size_t r = 0; r < responses.size(); ++r) {
    const Item response = responses.element(r);
    const auto name = response.find("name");
    if (r > 0 && name.has_value() == model.names.empty()) {
      response.fail_with(name ? "has a name, the responses before it have none"
                              : "has no name, the responses before it have one");
    }
    if (name) {
      model.names.push_back(name->string());
    }
    add_response(response, model.poles.size(), model);
  }
  refuse(pair_fault(model));
  return model;
}

void save(const Model& model, const std::string& file_name) {
  const std::string text = to_json(model);
  check_name(file_name);
  // A link stays a link to the file that is replaced.
  std::error_code no_such_file;
  const std::filesystem::path existing = std::filesystem::canonical(file_name, no_such_file);
  const std::filesystem::path target = no_such_file ? std::filesystem::path(file_name) : existing;
  struct stat status = {};
  const bool exists = ::stat(target.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {  // a device, which renaming would replace
    fail(file_name + " cannot be written, it is not a regular file");
  }

  TemporaryFile file(target, file_name);
  if (exists) {
    file.take_permissions(status.st_mode);
  }
  file.write(text);
  file.replace_target();
}

Model load(const std::string& file_name) {
  check_name(file_name);
  const std::string text = content_of(file_name);
  try {
    return model_from_json(text);
  } catch (const Error& error) {
    throw Error(error.kind(), file_name + ": " + error.what());
  }
}

}  // namespace polefit
