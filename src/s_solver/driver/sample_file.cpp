#include "s_solver/driver/sample_file.hpp"

#include <array>
#include <limits>
#include <string>

#include "numerics/angular_frequency.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "text/file_name.hpp"
#include "text/free_format_reader.hpp"

namespace s_solver {
void read_data_from_file(std::string_view file_name, int read_mode, int& nf, double& fmin, double& fmax,
                         std::complex<double>* s, std::complex<double>* f) {
  text::FreeFormatReader reader(file_name);
  if (reader.open_error() != 0) {
    print_record("Error opening file:", text::without_trailing_blanks(file_name));
    plain_stop();
  }
  const bool store = read_mode == count_and_store;
  const int room = store ? nf : std::numeric_limits<int>::max();
  nf = 0;
  fmin = 1.0e30;
  fmax = 0.0;

  // Kept from sample to sample: a null value stands for the one before it.
  std::array<double, 3> values{};
  const auto& [frequency, re, im] = values;
  while (reader.read(values) == text::FreeFormatReader::Result::complete) {
    if (nf == room) {
      if (store) {
        reader.fail_at_last_read(0,
                                 "more samples than were counted, the file changed while it was being read",
                                 std::to_string(room) + " samples");
      }
      reader.fail_at_last_read(0, "one more sample", "at most " + std::to_string(room) + " samples");
    }
    if (store) {
      s[nf] = {0.0, frequency * numerics::two_pi};
      f[nf] = {re, im};
      fmin = frequency < fmin ? frequency : fmin;
      fmax = frequency > fmax ? frequency : fmax;
    }
    ++nf;
  }
}

}  // namespace s_solver
