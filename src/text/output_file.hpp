/// A text file written record by record, with every write and the close checked.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace text {

/// Opening creates the file or replaces an existing one; the records written become the whole file.
/// Every failure to open, write or close throws IoError. A file that is not closed, because an error is
/// on its way, is closed unchecked.
class OutputFile {
 public:
  /// `fixed_name` as system_file_name takes it.
  explicit OutputFile(std::string_view fixed_name);

  /// Writes `record` and its line end.
  void write_record(std::string_view record);

  /// Writes what is still held back and closes the file.
  void close();

 private:
  struct Closer {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  void flush_pending();

  std::string name_;
  std::unique_ptr<std::FILE, Closer> file_;
  std::string pending_;
};

}  // namespace text
