#include "polefit/exports.hpp"
#include "polefit/model/files.hpp"

namespace polefit {

void write_export(const std::string& file, const std::string& content) {
  write_file(ErrorKind::bad_network_file, file, content);
}

}  // namespace polefit
