#include "text/coefficient_records.hpp"

#include "text/free_format_writer.hpp"

namespace text {

void coefficient_records(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                         double h, double wnorm, const SampledBand& band,
                         const std::function<void(std::string_view)>& write_record) {
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
  write_record(free_format_record(band.fmin / band.fmax, 1.0, band.nf));
}

}  // namespace text
