/// Runs one program on one data folder and compares everything it leaves with what the folder expects.
/// Usage: whole_run CASE_FOLDER PROGRAM_FOLDER. The layout of a case folder: cases/README.md.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "run_program.hpp"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view earlier_content = "left by an earlier run\n";

std::string content_of(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void write(const fs::path& file, std::string_view content) {
  std::ofstream stream(file, std::ios::binary);
  stream << content;
  if (!stream.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// Words between blanks; the marks of a complex value count as blanks.
std::vector<std::string> words_of(std::string line) {
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '(' || c == ',' || c == ')'; }, ' ');
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

std::optional<double> number(const std::string& word) {
  char* end = nullptr;
  const double value = std::strtod(word.c_str(), &end);
  return end == word.c_str() + word.size() && !word.empty() ? std::optional(value) : std::nullopt;
}

bool word_matches(const std::string& expected, const std::string& found) {
  if (expected == found) {
    return true;
  }
  const std::optional<double> value = number(found);
  if (!value) {
    return false;
  }
  if (expected == "#") {
    return std::isfinite(*value);
  }
  const std::size_t mark = expected.find_first_of("~%");
  const std::optional<double> wanted = number(expected.substr(0, mark));
  if (!wanted) {
    return false;
  }
  double permitted = 0.0;
  if (mark != std::string::npos) {
    const std::optional<double> difference = number(expected.substr(mark + 1));
    if (!difference) {
      throw std::runtime_error("no permitted difference in \"" + expected + "\"");
    }
    permitted = expected[mark] == '%' ? *difference * std::abs(*wanted) : *difference;
  }
  return std::abs(*value - *wanted) <= permitted;
}

bool line_matches(const std::string& expected, const std::string& found) {
  if (expected.starts_with('|')) {
    return found == std::string_view(expected).substr(1);
  }
  const std::vector<std::string> wanted = words_of(expected);
  const std::vector<std::string> words = words_of(found);
  return std::equal(wanted.begin(), wanted.end(), words.begin(), words.end(), word_matches);
}

/// Whether `found` from line j on is what `expected` from line i on describes; keeps the farthest mismatch.
bool lines_match(const std::vector<std::string>& expected, std::size_t i,
                 const std::vector<std::string>& found, std::size_t j, std::size_t& farthest_expected,
                 std::size_t& farthest_found) {
  for (; i < expected.size(); ++i, ++j) {
    if (expected[i].starts_with("...")) {
      const std::optional<double> count = number(expected[i].substr(3));
      if (count) {
        return j + static_cast<std::size_t>(*count) <= found.size() &&
               lines_match(expected, i + 1, found, j + static_cast<std::size_t>(*count), farthest_expected,
                           farthest_found);
      }
      for (std::size_t next = j; next <= found.size(); ++next) {
        if (lines_match(expected, i + 1, found, next, farthest_expected, farthest_found)) {
          return true;
        }
      }
      return false;
    }
    if (j >= found.size() || !line_matches(expected[i], found[j])) {
      if (i >= farthest_expected) {
        farthest_expected = i;
        farthest_found = j;
      }
      return false;
    }
  }
  return j == found.size();
}

/// Reports how `found` differs from what the file `pattern` describes; false if it does.
bool matches(const fs::path& pattern, const std::string& found_text) {
  const std::vector<std::string> expected = lines_of(content_of(pattern));
  const std::vector<std::string> found = lines_of(found_text);
  std::size_t at_expected = 0;
  std::size_t at_found = 0;
  if (lines_match(expected, 0, found, 0, at_expected, at_found)) {
    return true;
  }
  const auto line = [](const std::vector<std::string>& lines, std::size_t i) {
    return i < lines.size() ? lines[i] : std::string("(the end)");
  };
  std::cerr << pattern << ": expected at line " << at_expected + 1 << "\n  " << line(expected, at_expected)
            << "\nfound at line " << at_found + 1 << "\n  " << line(found, at_found)
            << "\nwhole text found:\n"
            << found_text;
  return false;
}

/// The file `name` of the case, or of the group of cases it lies in.
std::optional<fs::path> input(const fs::path& case_folder, const std::string& name) {
  for (const fs::path& folder : {case_folder, case_folder.parent_path()}) {
    if (fs::exists(folder / name)) {
      return folder / name;
    }
  }
  return std::nullopt;
}

bool check(const fs::path& case_folder, const fs::path& program_folder, const fs::path& root) {
  const fs::path data = root / "tmp_S_Par";
  const fs::path directory = root / "run";
  fs::create_directory(data);
  fs::create_directory(directory);
  for (const std::string name : {"f_data.in", "f_data.ini"}) {
    if (const auto file = input(case_folder, name)) {
      fs::copy(*file, data / name);
    }
  }
  for (const std::string name : {"Tarn.coe", "f_data.out"}) {
    write(data / name, earlier_content);
  }

  const std::string program = lines_of(content_of(input(case_folder, "program").value())).at(0);
  const std::vector<std::string> arguments = lines_of(content_of(case_folder / "arguments"));
  const int status =
      testing_support::run_program(fs::absolute(program_folder / program), arguments, directory);

  const auto expected = [&](const std::string& name) { return input(case_folder, "expected-" + name); };
  bool good = true;
  const int expected_status = expected("status") ? std::stoi(content_of(*expected("status"))) : 0;
  if (status != expected_status) {
    std::cerr << "exit status " << status << ", expected " << expected_status << '\n';
    good = false;
  }
  good = matches(expected("stdout").value(), content_of(directory / "stdout")) && good;
  if (const auto pattern = expected("stderr")) {
    good = matches(*pattern, content_of(directory / "stderr")) && good;
  } else if (const std::string errors = content_of(directory / "stderr"); !errors.empty()) {
    std::cerr << "on standard error, where nothing was expected:\n" << errors;
    good = false;
  }
  for (const std::string name : {"Tarn.coe", "f_data.out"}) {
    const std::string content = content_of(data / name);
    if (const auto pattern = expected(name)) {
      good = matches(*pattern, content) && good;
    } else if (content != earlier_content) {
      std::cerr << name << " was to be left alone but holds\n" << content;
      good = false;
    }
  }
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: whole_run CASE_FOLDER PROGRAM_FOLDER\n";
    return 2;
  }
  std::string pattern = (fs::temp_directory_path() / "s_solver_run_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    std::cerr << "cannot make a directory like " << pattern << '\n';
    return 2;
  }
  int status = 2;
  try {
    status = check(argv[1], argv[2], pattern) ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << argv[1] << ": " << error.what() << '\n';
  }
  fs::remove_all(pattern);
  return status;
}
