#include "s_solver/output/write_data_to_plot.hpp"

#include <array>
#include <string>
#include <string_view>

#include "numerics/angular_frequency.hpp"
#include "text/edit_format.hpp"
#include "text/free_format_writer.hpp"
#include "text/output_file.hpp"

namespace s_solver {
namespace {

constexpr int column_width = 16;
constexpr int digits = 6;
constexpr std::string_view file_name = "..\\tmp_S_Par\\f_data.out";

}  // namespace

void write_data_to_plot(int nf, const std::complex<double>* f, const std::complex<double>* f_fit,
                        const std::complex<double>* s) {
  text::OutputFile file(file_name);
  file.write_record(text::free_format_record("frequency data after fit with KOR3"));
  file.write_record(
      text::free_format_record("out data f[Hz]     re             im               sqr(re+im)      "
                               "re             im               sqr(re+im)     "));
  std::string record;
  for (int i = 0; i < nf; ++i) {
    const double frequency = (s[i].real() * 0.0 + s[i].imag()) / numerics::two_pi;
    record.clear();
    const std::array<double, 7> values{frequency,       f[i].real(),     f[i].imag(),       std::abs(f[i]),
                                       f_fit[i].real(), f_fit[i].imag(), std::abs(f_fit[i])};
    for (const double value : values) {
      text::append_scientific_field(record, value, column_width, digits);
    }
    file.write_record(record);
  }
  file.close();
}

}  // namespace s_solver
