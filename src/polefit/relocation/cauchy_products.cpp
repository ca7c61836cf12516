#include "polefit/relocation/cauchy_products.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "numerics/block_products.hpp"
#include "numerics/matrix_view.hpp"
#include "numerics/vector_form.hpp"

namespace polefit {
namespace {

constexpr std::size_t column_step = numerics::column_step;

/// Samples at a time: the factors of the sums then stay in the second-level cache.
constexpr std::size_t block = 256;
/// Samples that share a division, which costs as much as a dozen products.
constexpr std::size_t together = 4;
static_assert(block % together == 0);

/// Where the columns stand that weights are multiplied with: Re u of eight poles, then Im u of the same, and
/// so on; 1 and omega as if of one more pole, or as a group of their own when the last eight are full.
struct KernelLayout {
  explicit KernelLayout(std::size_t poles)
      : ones(poles % column_step != 0 ? re(poles) : 2 * poles),
        omega(poles % column_step != 0 ? im(poles) : 2 * poles + 1),
        groups(poles % column_step != 0 ? 2 * (poles / column_step + 1) : 2 * (poles / column_step) + 1) {}
  static std::size_t re(std::size_t pole) {
    return 2 * column_step * (pole / column_step) + pole % column_step;
  }
  static std::size_t im(std::size_t pole) { return re(pole) + column_step; }

  std::size_t ones;
  std::size_t omega;
  std::size_t groups;  ///< of column_step columns
};

/// Eight poles, part by part.
struct PoleGroup {
  std::array<double, column_step> re;
  std::array<double, column_step> im;
};

/// u = 1 / (j omega - a) for the eight poles, packed; omega has room for a multiple of `together` samples. In
/// the units of the problem products of four squares neither overflow nor underflow.
[[gnu::always_inline]] inline void fill_kernel_of_group(const PoleGroup& a, std::size_t count,
                                                        const double* __restrict omega, double* __restrict re,
                                                        double* __restrict im) {
  for (std::size_t k = 0; k < count; k += together) {
    for (std::size_t i = 0; i < column_step; ++i) {
      const double d_re = -a.re[i];
      const double square = d_re * d_re;
      const double d0 = omega[k] - a.im[i];
      const double d1 = omega[k + 1] - a.im[i];
      const double d2 = omega[k + 2] - a.im[i];
      const double d3 = omega[k + 3] - a.im[i];
      const double n0 = square + d0 * d0;
      const double n1 = square + d1 * d1;
      const double n2 = square + d2 * d2;
      const double n3 = square + d3 * d3;
      const double n01 = n0 * n1;
      const double n23 = n2 * n3;
      const double all = 1.0 / (n01 * n23);
      const double of01 = all * n23;
      const double of23 = all * n01;
      const double f0 = of01 * n1;
      const double f1 = of01 * n0;
      const double f2 = of23 * n3;
      const double f3 = of23 * n2;
      double* const to_re = re + k * column_step + i;
      double* const to_im = im + k * column_step + i;
      to_re[0 * column_step] = d_re * f0;
      to_re[1 * column_step] = d_re * f1;
      to_re[2 * column_step] = d_re * f2;
      to_re[3 * column_step] = d_re * f3;
      to_im[0 * column_step] = -d0 * f0;
      to_im[1 * column_step] = -d1 * f1;
      to_im[2 * column_step] = -d2 * f2;
      to_im[3 * column_step] = -d3 * f3;
    }
  }
}

/// The kernel's columns of a block of samples, packed; `rows` is their number, filled up.
void fill_kernel(const Problem& problem, const Poles& poles, std::size_t first, std::size_t count,
                 std::size_t rows, double* packed) {
  std::array<double, block> omega;
  std::copy_n(problem.omega.data() + first, count, omega.data());
  std::fill(omega.data() + count, omega.data() + rows, problem.omega[first]);
  const KernelLayout layout(poles.size());
  const auto column = [&](std::size_t place) {
    return packed + place / column_step * column_step * rows + place % column_step;
  };
  for (std::size_t i = 0; i < poles.size(); i += column_step) {
    PoleGroup group;
    for (std::size_t l = 0; l < column_step; ++l) {
      // What fills the group up is anything finite.
      const Complex pole = i + l < poles.size() ? poles[i + l] : Complex(-1.0);
      group.re[l] = pole.real();
      group.im[l] = pole.imag();
    }
    numerics::run_with<fill_kernel_of_group>(numerics::widest_vector_unit(), group, rows, omega.data(),
                                             column(KernelLayout::re(i)), column(KernelLayout::im(i)));
  }
  if (poles.size() % column_step == 0) {
    std::fill_n(column(layout.ones), column_step * rows, 0.0);
  }
  double* const ones = column(layout.ones);
  double* const omegas = column(layout.omega);
  for (std::size_t k = 0; k < rows; ++k) {
    ones[k * column_step] = 1.0;
    omegas[k * column_step] = omega[k];
  }
}

/// Lanes that are summed together: real parts in one group of columns, imaginary parts in a second one,
/// unless they fit behind the real ones.
struct LaneGroup {
  LaneGroup(const Problem& problem, std::size_t first_lane)
      : first(first_lane),
        responses(std::min(column_step, problem.responses - std::min(problem.responses, first_lane))),
        used(std::min(column_step, all_lanes(problem) - first_lane)) {}
  bool compact() const { return used + responses <= column_step; }
  std::size_t groups() const { return compact() ? 1 : 2; }
  /// The column with the imaginary part of response first + r.
  std::size_t imaginary(std::size_t r) const { return compact() ? used + r : column_step + r; }

  std::size_t first;
  std::size_t responses;
  std::size_t used;
};

/// Packs the weights g of a lane that is no response's.
void pack_real_weights(const Problem& problem, std::size_t lane, std::size_t first, std::size_t count,
                       double* packed) {
  const std::size_t shared = first_shared_lane(problem);
  for (std::size_t k = 0; k < count; ++k) {
    double& g = packed[k * column_step];
    if (lane < shared) {
      const double weight = problem.sample_weight(lane - problem.responses, first + k);
      g = weight * weight;
    } else if (lane == shared + squared_weights) {
      g = problem.weight[first + k] * problem.weight[first + k];
    } else {
      g = lane == shared + powers ? problem.power[first + k] : 1.0;
    }
  }
}

/// Packs the weights g of a group of lanes.
void pack_weights(const Problem& problem, const LaneGroup& lanes_of, std::size_t first, std::size_t count,
                  std::size_t rows, double* packed) {
  std::fill_n(packed, lanes_of.groups() * column_step * rows, 0.0);
  const auto column = [&](std::size_t place) {
    return packed + place / column_step * column_step * rows + place % column_step;
  };
  for (std::size_t r = 0; r < lanes_of.responses; ++r) {
    double* const re = column(r);
    double* const im = column(lanes_of.imaginary(r));
    const std::size_t response = lanes_of.first + r;
    const double scale = problem.response_scale[response];
    for (std::size_t k = 0; k < count; ++k) {
      const double weight = problem.sample_weight(response, first + k);
      const Complex g = -(scale * weight * weight) * problem.value(response, first + k);
      re[k * column_step] = g.real();
      im[k * column_step] = g.imag();
    }
  }
  for (std::size_t lane = lanes_of.responses; lane < lanes_of.used; ++lane) {
    pack_real_weights(problem, lanes_of.first + lane, first, count, column(lane));
  }
}

/// Moves sums of imaginary parts to their own lanes.
void spread(const LaneGroup& lanes_of, std::size_t columns, double* product) {
  for (std::size_t column = 0; column < columns && lanes_of.compact(); ++column) {
    double* const sums = product + column * 2 * lanes + lanes_of.first % lanes;
    for (std::size_t r = 0; r < lanes_of.responses; ++r) {
      sums[lanes + r] = std::exchange(sums[lanes_of.imaginary(r)], 0.0);
    }
  }
}

/// What the sums of two pairs are multiplied with, and where their four elements go.
struct PairBlock {
  Complex q1;
  Complex q2;
  double* first_first;
  double* first_second;
  double* second_first;
  double* second_second;
};

/// The lanes of a complex sum from l on, as many as a Vector has.
template <class Vector>
struct SomeLanes {
  [[gnu::always_inline]] SomeLanes(const ComplexLanes& sum, std::size_t l) {
    numerics::load(re, &sum.re[l]);
    numerics::load(im, &sum.im[l]);
  }
  Vector re;
  Vector im;
};

/// The sums of g times the products of two pairs' basis functions in the lanes from l on: written over
/// vectors, because a compiler cannot see that the twelve arrays do not overlap.
template <class Vector>
[[gnu::always_inline]] inline void pair_elements(const ComplexLanes& of_v1, const ComplexLanes& of_v2,
                                                 const ComplexLanes& of_x1, const ComplexLanes& of_x2,
                                                 const PairBlock& to, std::size_t l) {
  const SomeLanes<Vector> v1(of_v1, l);
  const SomeLanes<Vector> v2(of_v2, l);
  const SomeLanes<Vector> x1(of_x1, l);
  const SomeLanes<Vector> x2(of_x2, l);
  const double q1_re = to.q1.real();
  const double q1_im = to.q1.imag();
  const double q2_re = to.q2.real();
  const double q2_im = to.q2.imag();
  const Vector s1_re = v1.re + x1.re;
  const Vector s1_im = v1.im + x1.im;
  const Vector s2_re = v2.re + x1.re;
  const Vector s2_im = v2.im + x1.im;
  const Vector s3_re = v1.re + x2.re;
  const Vector s3_im = v1.im + x2.im;
  const Vector s4_re = v2.re + x2.re;
  const Vector s4_im = v2.im + x2.im;
  const Vector k1_re = s1_im * q1_im - s1_re * q1_re;
  const Vector k1_im = -(s1_re * q1_im) - s1_im * q1_re;
  const Vector k2_re = s2_im * q2_im - s2_re * q2_re;
  const Vector k2_im = -(s2_re * q2_im) - s2_im * q2_re;
  const Vector k3_re = -(s3_im * q2_im) - s3_re * q2_re;
  const Vector k3_im = s3_re * q2_im - s3_im * q2_re;
  const Vector k4_re = -(s4_im * q1_im) - s4_re * q1_re;
  const Vector k4_im = s4_re * q1_im - s4_im * q1_re;
  numerics::store((k1_re + k2_re) + (k3_re + k4_re), to.first_first + l);
  numerics::store((k2_im - k1_im) + (k4_im - k3_im), to.first_second + l);
  numerics::store((k1_im + k2_im) - (k3_im + k4_im), to.second_first + l);
  numerics::store((k1_re - k2_re) - (k3_re - k4_re), to.second_second + l);
}

/// The body of take_sums.
[[gnu::always_inline]] inline void split_sums(const double* product, std::size_t poles, Sums& sums) {
  for (std::size_t i = 0; i < poles; ++i) {
    const double* const re_column = product + 2 * lanes * KernelLayout::re(i);
    const double* const im_column = product + 2 * lanes * KernelLayout::im(i);
    for (std::size_t l = 0; l < lanes; ++l) {
      const double re_re = re_column[l];
      const double re_im = re_column[lanes + l];
      const double im_re = im_column[l];
      const double im_im = im_column[lanes + l];
      sums.v[i].re[l] = re_re - im_im;
      sums.v[i].im[l] = re_im + im_re;
      sums.x[i].re[l] = re_re + im_im;
      sums.x[i].im[l] = re_im - im_re;
    }
  }
  const KernelLayout layout(poles);
  const double* const ones = product + 2 * lanes * layout.ones;
  const double* const omega = product + 2 * lanes * layout.omega;
  for (std::size_t l = 0; l < lanes; ++l) {
    sums.g.re[l] = ones[l];
    sums.g.im[l] = ones[lanes + l];
    sums.omega_im[l] = omega[lanes + l];
  }
}

}  // namespace

void add_sums(const Problem& problem, const Poles& poles, std::size_t begin, std::size_t end,
              SumMemory& memory, std::vector<std::vector<double>>& products) {
  const std::size_t groups = KernelLayout(poles.size()).groups;
  const std::size_t padded = groups * column_step;
  memory.kernel.resize(padded * block);
  memory.weights.resize(2 * column_step * block);
  const numerics::VectorUnit unit = numerics::widest_vector_unit();
  for (std::size_t chunk = begin; chunk < end; ++chunk) {
    products[chunk].assign(2 * lanes * padded, 0.0);
  }
  const auto for_each_lane_group = [&](const auto& work) {
    for (std::size_t chunk = begin; chunk < end; ++chunk) {
      const std::size_t past = std::min((chunk + 1) * lanes, all_lanes(problem));
      for (std::size_t lane = chunk * lanes; lane < past; lane += column_step) {
        work(LaneGroup(problem, lane), products[chunk].data());
      }
    }
  };
  for (std::size_t first = 0; first < problem.samples; first += block) {
    const std::size_t count = std::min(block, problem.samples - first);
    const std::size_t rows = rounded_up(count, together);
    fill_kernel(problem, poles, first, count, rows, memory.kernel.data());
    for_each_lane_group([&](const LaneGroup& lanes_of, double* sums) {
      pack_weights(problem, lanes_of, first, count, rows, memory.weights.data());
      for (std::size_t part = 0; part < lanes_of.groups(); ++part) {
        const numerics::MatrixView<double> product(sums + part * lanes + lanes_of.first % lanes, column_step,
                                                   static_cast<std::int64_t>(padded), 2 * lanes);
        numerics::add_packed_products(memory.kernel.data(), static_cast<int>(groups),
                                      memory.weights.data() + part * column_step * rows, 1,
                                      static_cast<int>(rows), product, unit);
      }
    });
  }
  for_each_lane_group([&](const LaneGroup& lanes_of, double* sums) { spread(lanes_of, padded, sums); });
}

void Sums::clear_from(std::size_t first) {
  for (std::size_t l = first; l < lanes; ++l) {
    for (std::size_t i = 0; i < v.size(); ++i) {
      v[i].re[l] = v[i].im[l] = x[i].re[l] = x[i].im[l] = 0.0;
    }
    g.re[l] = g.im[l] = omega_im[l] = 0.0;
  }
}

void Sums::copy_lane(const Sums& other, std::size_t from, std::size_t to) {
  for (std::size_t i = 0; i < v.size(); ++i) {
    v[i].re[to] = other.v[i].re[from];
    v[i].im[to] = other.v[i].im[from];
    x[i].re[to] = other.x[i].re[from];
    x[i].im[to] = other.x[i].im[from];
  }
  g.re[to] = other.g.re[from];
  g.im[to] = other.g.im[from];
  omega_im[to] = other.omega_im[from];
}

void take_sums(const double* product, std::size_t poles, Sums& sums) {
  numerics::run_with<split_sums>(numerics::widest_vector_unit(), product, poles, sums);
}

std::vector<Complex> reciprocal_sums(const Poles& poles) {
  const std::size_t n = poles.size();
  std::vector<Complex> q(n * n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n; ++i) {
      const Complex sum = poles[j] + std::conj(poles[i]);
      q[i + j * n] = std::conj(sum) / std::norm(sum);
    }
  }
  return q;
}

std::complex<double> ProductTable::k(const Sums& sums, std::size_t i, std::size_t j, std::size_t l) const {
  return -Complex(sums.v[j].re[l] + sums.x[i].re[l], sums.v[j].im[l] + sums.x[i].im[l]) *
         q_[i + j * poles_.size()];
}

/// The rows of 1 and s in the columns of pole j: s u = 1 + a u.
template <class At>
void ProductTable::fill_lower(const Sums& sums, std::size_t count, std::size_t j, const At& at) const {
  const bool real = is_real(poles_[j]);
  for (std::size_t l = 0; l < count; ++l) {
    const Complex g(sums.g.re[l], sums.g.im[l]);
    const Complex v1(sums.v[j].re[l], sums.v[j].im[l]);
    const Complex v2 = real ? Complex() : Complex(sums.v[j + 1].re[l], sums.v[j + 1].im[l]);
    std::size_t row = poles_.size();
    if (constant_) {
      at(row, j)[l] = (v1 + v2).real();
      if (!real) {
        at(row, j + 1)[l] = -(v1 - v2).imag();
      }
      ++row;
    }
    if (proportional_) {
      const Complex w1 = poles_[j] * v1;
      const Complex w2 = real ? Complex() : poles_[j + 1] * v2;
      at(row, j)[l] = -((real ? g : 2.0 * g) + w1 + w2).real();
      if (!real) {
        at(row, j + 1)[l] = (w1 - w2).imag();
      }
    }
  }
}

template <class At>
void ProductTable::fill_column_of_real(const Sums& sums, std::size_t count, std::size_t j,
                                       const At& at) const {
  for_each_group(
      poles_,
      [&](std::size_t i) {
        for (std::size_t l = 0; l < count; ++l) {
          at(i, j)[l] = k(sums, i, j, l).real();
        }
      },
      [&](std::size_t i) {
        for (std::size_t l = 0; l < count; ++l) {
          const Complex k1 = k(sums, i, j, l);
          const Complex k3 = k(sums, i + 1, j, l);
          at(i, j)[l] = (k1 + k3).real();
          at(i + 1, j)[l] = (k1 - k3).imag();
        }
      });
  fill_lower(sums, count, j, at);
}

template <class At>
void ProductTable::fill_columns_of_pair(const Sums& sums, std::size_t count, std::size_t j,
                                        const At& at) const {
  const numerics::VectorUnit unit = numerics::widest_vector_unit();
  const auto q = [&](std::size_t i, std::size_t of) { return q_[i + of * poles_.size()]; };
  for_each_group(
      poles_,
      [&](std::size_t i) {
        for (std::size_t l = 0; l < count; ++l) {
          const Complex k1 = k(sums, i, j, l);
          const Complex k2 = k(sums, i, j + 1, l);
          at(i, j)[l] = (k1 + k2).real();
          at(i, j + 1)[l] = -(k1 - k2).imag();
        }
      },
      [&](std::size_t i) {
        const PairBlock to{q(i, j), q(i, j + 1), at(i, j), at(i, j + 1), at(i + 1, j), at(i + 1, j + 1)};
        numerics::in_vector_form(
            unit, [&](auto width) __attribute__((always_inline)) {
              using Vector = typename numerics::Register<width()>::Type;
              std::size_t l = 0;
              for (; l + width() <= count; l += width()) {
                pair_elements<Vector>(sums.v[j], sums.v[j + 1], sums.x[i], sums.x[i + 1], to, l);
              }
              for (; l < count; ++l) {
                pair_elements<double>(sums.v[j], sums.v[j + 1], sums.x[i], sums.x[i + 1], to, l);
              }
            });
      });
  fill_lower(sums, count, j, at);
}

template <class At>
void ProductTable::fill_column_of_one(const Sums& sums, std::size_t count, const At& at) const {
  const std::size_t last = poles_.size();
  for_each_group(
      poles_,
      [&](std::size_t i) {
        for (std::size_t l = 0; l < count; ++l) {
          at(i, last)[l] = sums.x[i].re[l];
        }
      },
      [&](std::size_t i) {
        for (std::size_t l = 0; l < count; ++l) {
          at(i, last)[l] = sums.x[i].re[l] + sums.x[i + 1].re[l];
          at(i + 1, last)[l] = sums.x[i].im[l] - sums.x[i + 1].im[l];
        }
      });
  for (std::size_t l = 0; l < count; ++l) {
    std::size_t row = poles_.size();
    if (constant_) {
      at(row++, last)[l] = sums.g.re[l];
    }
    if (proportional_) {
      at(row, last)[l] = sums.omega_im[l];
    }
  }
}

void ProductTable::fill(const Sums& sums, std::size_t count, double* out) const {
  const auto at = [&](std::size_t i, std::size_t j) { return out + (j * rows() + i) * lanes; };
  for_each_group(
      poles_, [&](std::size_t j) { fill_column_of_real(sums, count, j, at); },
      [&](std::size_t j) { fill_columns_of_pair(sums, count, j, at); });
  fill_column_of_one(sums, count, at);
}

}  // namespace polefit
