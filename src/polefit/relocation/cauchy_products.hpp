/// Products of basis functions, summed over the samples with any weights, from a few sums a pole.
///
/// On the imaginary axis a product of partial fractions is a sum of such:
///   conj(u_i) u_j = -(u_j + conj(u_i)) / (a_j + conj(a_i)),
/// so that for any weights g
///   K_ij = sum g conj(u_i) u_j = -(V_j + X_i) q_ij.
///
///   letter   shape                    in the code    meaning
///   a        N                        poles          of a relocation, in the left half-plane
///   u        N x samples              kernel         u_i = 1 / (s - a_i) at the sample points s = j omega
///   g        samples x lanes          weights        complex for responses, else real; see below
///   V        N x lanes                Sums::v        V_j = sum g u_j
///   X        N x lanes                Sums::x        X_i = sum g conj(u_i)
///   q        N x N                    q              q_ij = 1 / (a_j + conj(a_i)), the same for all lanes
///   K        N x N x lanes            k()            as above
///   table    rows x columns x lanes   ProductTable   sum Re(conj(phi_i) g phi_j) of the real basis functions
///                                                    phi: a real pole's u, a pair's u + v and j u - j v
///
/// Sums are over the samples.
///
///   lane     one set of weights g: the -w^2 f of each response, scaled; behind the last response w^2 of each
///            response that has weights of its own; then three sets that all responses share
///   chunk    `lanes` lanes, side by side in memory: what tables are made of at a time, and what is divided
///            among threads
///   group    column_step (8) lanes, or as many poles: what is multiplied at a time, side by side in the
///            vector registers
///   block    samples that are multiplied at a time
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <vector>

#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// Of a chunk.
inline constexpr std::size_t lanes = 16;

/// The last lanes: squared weights of samples, powers and ones.
enum SharedLane : std::size_t { squared_weights, powers, ones, shared_lanes };

constexpr std::size_t rounded_up(std::size_t size, std::size_t step) {
  return (size + step - 1) / step * step;
}

/// The lane with the squared weights of response r, which has some of its own.
inline std::size_t own_weights_lane(const Problem& problem, std::size_t r) { return problem.responses + r; }
inline std::size_t first_shared_lane(const Problem& problem) {
  return problem.has_own_weights() ? 2 * problem.responses : problem.responses;
}
inline std::size_t all_lanes(const Problem& problem) { return first_shared_lane(problem) + shared_lanes; }

/// Chunks that a problem has, and those of them that hold responses.
inline std::size_t all_chunks(const Problem& problem) {
  return rounded_up(all_lanes(problem), lanes) / lanes;
}
inline std::size_t response_chunks(const Problem& problem) {
  return rounded_up(problem.responses, lanes) / lanes;
}

/// What one thread sums in, kept from call to call.
struct SumMemory {
  std::vector<double> kernel;
  std::vector<double> weights;
};

/// The raw sums of chunks begin .. end - 1 over all samples, to products[chunk]: for Re u and Im u of every
/// pole, 1 and omega, in the order of the kernel's columns, its products with Re g in all lanes, then with
/// Im g.
void add_sums(const Problem& problem, const Poles& poles, std::size_t begin, std::size_t end,
              SumMemory& memory, std::vector<std::vector<double>>& products);

/// Values of all lanes.
using Lanes = std::array<double, lanes>;
struct ComplexLanes {
  Lanes re;
  Lanes im;
};

/// V and X of every pole, and the sums of g and of omega Im g.
struct Sums {
  std::vector<ComplexLanes> v;
  std::vector<ComplexLanes> x;
  ComplexLanes g;
  Lanes omega_im;

  void resize(std::size_t poles) {
    v.resize(poles);
    x.resize(poles);
  }

  /// Makes the lanes from `first` on those of a response that is 0.
  void clear_from(std::size_t first);

  /// Takes lane `from` of another chunk as lane `to`.
  void copy_lane(const Sums& other, std::size_t from, std::size_t to);
};

/// Takes V, X and the others from the raw sums of a chunk; `sums` has room for the poles.
void take_sums(const double* product, std::size_t poles, Sums& sums);

/// 1 / (a_j + conj(a_i)) at i + j * poles.size().
std::vector<std::complex<double>> reciprocal_sums(const Poles& poles);

/// sum g <left basis function, right basis function> in every lane: left the basis, 1 and s as wanted, right
/// the basis and 1. Element (i, j) is at out[(j * rows + i) * lanes].
class ProductTable {
 public:
  /// q   as reciprocal_sums gives it; it and the poles must outlive the table
  ProductTable(const Poles& poles, const std::vector<std::complex<double>>& q, bool constant,
               bool proportional)
      : poles_(poles), q_(q), constant_(constant), proportional_(proportional) {}
  std::size_t rows() const { return poles_.size() + (constant_ ? 1 : 0) + (proportional_ ? 1 : 0); }
  std::size_t columns() const { return poles_.size() + 1; }

  /// Fills the first `count` lanes, a multiple of column_step.
  void fill(const Sums& sums, std::size_t count, double* out) const;

 private:
  std::complex<double> k(const Sums& sums, std::size_t i, std::size_t j, std::size_t l) const;
  template <class At>
  void fill_column_of_real(const Sums& sums, std::size_t count, std::size_t j, const At& at) const;
  template <class At>
  void fill_columns_of_pair(const Sums& sums, std::size_t count, std::size_t j, const At& at) const;
  template <class At>
  void fill_column_of_one(const Sums& sums, std::size_t count, const At& at) const;
  template <class At>
  void fill_lower(const Sums& sums, std::size_t count, std::size_t j, const At& at) const;

  const Poles& poles_;
  const std::vector<std::complex<double>>& q_;
  bool constant_;
  bool proportional_;
};

}  // namespace polefit
