#include "output/write_coefficients.hpp"

#include <string_view>

#include "angular_frequency.hpp"
#include "listio/console.hpp"
#include "listio/free_format_writer.hpp"
#include "listio/output_file.hpp"

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

void coefficient_records(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                         double h, double fmin, double fmax, int nf,
                         const std::function<void(std::string_view)>& write_record) {
  const double wnorm = fmax * two_pi;
  write_record("Korfit output warning w=omega");
  write_record(free_format_record(order, " # order"));
  write_record(free_format_record(wnorm, " # wnorm"));
  write_record(free_format_record(d, " # d"));
  write_record(free_format_record(wnorm * h, " # h"));
  write_record(free_format_record(
      "                       pole (a)                                         residue (c)"));
  for (int i = 0; i < order; ++i) {
    const std::complex<double> pole(a[i].real() / wnorm, a[i].imag() / wnorm);
    const std::complex<double> residue(c[i].real() / wnorm, c[i].imag() / wnorm);
    write_record(free_format_record(pole.real(), pole.imag(), residue.real(), residue.imag()));
  }
  write_record(free_format_record("            wnorm_min             wnorm_max                  nw"));
  write_record(free_format_record(fmin / fmax, 1.0, nf));
}

void write_coefficients(int order, const std::complex<double>* a, const std::complex<double>* c,
                        const std::complex<double>* /*c_hat*/, double d, double h, double fmin, double fmax,
                        int nf) {
  echo_to_console(order, a, c, d, h);

  OutputFile file(file_name);
  coefficient_records(order, a, c, d, h, fmin, fmax, nf,
                      [&file](std::string_view record) { file.write_record(record); });
  file.close();
}

}  // namespace s_solver
