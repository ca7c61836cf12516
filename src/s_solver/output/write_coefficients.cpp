#include "s_solver/output/write_coefficients.hpp"

#include <string_view>

#include "numerics/angular_frequency.hpp"
#include "s_solver/console/console.hpp"
#include "text/coefficient_records.hpp"
#include "text/output_file.hpp"

namespace s_solver {
namespace {

constexpr std::string_view file_name = "..\\tmp_S_Par\\Tarn.coe";

void echo_to_console(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                     double h) {
  print_record();
  print_record("d=", static_cast<float>(d));
  print_record("h=", static_cast<float>(h));
  print_record("               pole (a)                          residue (c)");
  for (int i = 0; i < order; ++i) {
    print_record(std::complex<float>(a[i]), std::complex<float>(c[i]));
  }
  print_record();
}

}  // namespace

void write_coefficients(int order, const std::complex<double>* a, const std::complex<double>* c,
                        const std::complex<double>* /*c_hat*/, double d, double h, double fmin, double fmax,
                        int nf) {
  echo_to_console(order, a, c, d, h);

  text::OutputFile file(file_name);
  text::coefficient_records(order, a, c, d, h, fmax * numerics::two_pi, {fmin, fmax, nf},
                            [&file](std::string_view record) { file.write_record(record); });
  file.close();
}

}  // namespace s_solver
