/// Random networks that are passive for certain: made of resistors, inductors, capacitors and lines.
///
/// Every element adds to the nodal admittance matrix one whose Hermitian part has no negative eigenvalue at
/// any frequency, so that nothing but rounding can make a network active. Values are in units of 50 ohms and
/// of the highest frequency, elements have losses.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "polefit/network.hpp"

namespace polefit::passive_networks {

enum class Kind {
  ladder,  ///< chains of resistors, inductors and capacitors that meet, transformers and gyrators among them
  interconnect,  ///< lines with skin effect and delay, coupled or meeting in one node, between chip and board
  resonators,    ///< coils coupled by mutual inductance, with capacitors; quality factors of 20 to 2000
};

inline constexpr std::array kinds{Kind::ladder, Kind::interconnect, Kind::resonators};

/// A circuit with its first nodes as ports.
class Circuit {
 public:
  /// Of 1 port and more; always the same one for a seed.
  Circuit(Kind kind, std::size_t ports, std::uint64_t seed);
  Circuit(Circuit&&) noexcept;
  Circuit& operator=(Circuit&&) noexcept;
  ~Circuit();

  std::size_t ports() const;
  /// The end of its band, in hertz.
  double highest() const;
  /// S for references of 50 ohms, Y or Z, row by row. Computed in long double and rounded once.
  std::vector<std::complex<double>> matrix(double hertz, char parameter) const;

  struct Parts;

 private:
  std::unique_ptr<Parts> parts_;
};

/// Its samples, all elements row by row.
Network sampled(const Circuit& circuit, std::vector<double> frequencies, char parameter);

/// One of a kind that the seed decides, on an even or logarithmic grid up to the end of its band.
Network passive_network(std::uint64_t seed, std::size_t ports, std::size_t samples, char parameter);

/// The same of one kind.
Network passive_network(Kind kind, std::uint64_t seed, std::size_t ports, std::size_t samples,
                        char parameter);

/// Adds to each value noise whose real and imaginary part are up to this part of the largest value of all.
void add_noise(Network& network, double relative, std::uint64_t seed);

}  // namespace polefit::passive_networks
