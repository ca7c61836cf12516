#include "polefit_io/network/touchstone/place.hpp"

#include <utility>

#include "text/io_error.hpp"

namespace polefit_io {

void TouchstonePlace::fail(std::string found, std::string expected, std::size_t item) const {
  throw text::IoError({.file = file,
                       .record = line,
                       .item = static_cast<int>(item),
                       .found = std::move(found),
                       .expected = std::move(expected)});
}

}  // namespace polefit_io
