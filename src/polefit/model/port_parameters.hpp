/// One kind of parameters of a network from another, at one frequency.
///
/// S is that of power waves, a_i = (V_i + Z_i I_i) / (2 sqrt(Re Z_i)) and b_i = (V_i - conj(Z_i) I_i) / (2
/// sqrt(Re Z_i)), where Z_i is the reference impedance of port i (K. Kurokawa, "Power waves and the
/// scattering matrix", IEEE Trans. MTT 13, 1965), which for resistances are the usual waves. Of two ports H
/// has (V_1, I_2) = H (I_1, V_2), and G (I_1, V_2) = G (V_1, I_2). Every kind is of the form N D^-1 with
/// voltages and currents that are linear in N variables, which is how each is made of each.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace polefit {

class PortParameters {
 public:
  using Complex = std::complex<double>;

  /// `from` and `to` are S, Y, Z, H or G; of H and G `ports` is 2.
  PortParameters(char from, char to, std::size_t ports);

  /// Replaces the matrix, row by row, in siemens and ohms where it is not without a unit. Impedances are in
  /// ohms, one a port, with real parts above 0; those of anything but S only set the scale by which a matrix
  /// is judged to be singular. False, with the matrix undefined, when there are no such parameters, because
  /// the matrix D is singular to rounding.
  bool convert(Complex* matrix, const Complex* from_impedances, const Complex* to_impedances);

 private:
  void take(const Complex* matrix, const Complex* impedances);
  void arrange(const Complex* impedances);
  bool solve();
  Complex& v(std::size_t i, std::size_t j) { return v_[i * ports_ + j]; }
  Complex& c(std::size_t i, std::size_t j) { return c_[i * ports_ + j]; }

  char from_;
  char to_;
  std::size_t ports_;
  std::vector<double> roots_;  // of the reference resistances
  std::vector<Complex> v_;     // voltages over those roots, row by row, then N transposed
  std::vector<Complex> c_;     // currents times those roots, then D transposed
};

}  // namespace polefit
