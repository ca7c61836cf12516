#include "s_solver/driver/settings_file.hpp"

#include <span>
#include <string>

#include "s_solver/console/console.hpp"
#include "text/free_format_reader.hpp"

namespace s_solver {
namespace {

void read_setting(text::FreeFormatReader& reader, std::string_view message, const char* meaning, int& value) {
  if (reader.read(std::span(&value, 1)) == text::FreeFormatReader::Result::end_of_file) {
    reader.fail_at_last_read(1, "the end of the file", std::string("an integer, the ") + meaning);
  }
  print_record(message, value);
}

}  // namespace

void read_settings_file(std::string_view file_name, int& order, int& max_iterations) {
  text::FreeFormatReader reader(file_name);
  if (reader.open_error() != 0) {
    print_record("Beim OEffenen der ini Datei ist ein Fehler Nr.", reader.open_error(), " aufgetreten");
    return;
  }
  print_record("lese ini");
  read_setting(reader, "order=", "number of poles", order);
  read_setting(reader, "max_iterations=", "maximum number of iterations", max_iterations);
}

}  // namespace s_solver
