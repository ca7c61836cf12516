#include "polefit/model.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "numerics/angular_frequency.hpp"
#include "numerics/partial_fractions.hpp"
#include "numerics/vector_form.hpp"
#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"

namespace polefit {
namespace {

/// Samples that are evaluated together: fewer where there are so many poles that their basis would not fit
/// into 16 MiB, and no more than there are.
std::size_t samples_at_once(std::size_t poles, std::size_t samples) {
  constexpr std::size_t largest_basis = std::size_t{1} << 20;
  constexpr std::size_t widest = numerics::SampleParts::most;
  const std::size_t most = std::min(widest, std::max<std::size_t>(1, samples));
  return std::clamp<std::size_t>(largest_basis / std::max<std::size_t>(1, poles), 1, most);
}

/// fit += sum_i c_i u_i, with the real and imaginary parts of u_i from u_re[i * block] and u_im[i * block]
/// on. Each sample has its own sum, in the order of the poles whatever the number of samples.
[[gnu::always_inline]] inline void add_terms(std::size_t order, const std::complex<double>* c,
                                             std::size_t block, std::size_t count, const double* u_re,
                                             const double* u_im, double* __restrict fit_re,
                                             double* __restrict fit_im) {
  for (std::size_t i = 0; i < order; ++i) {
    const double c_re = c[i].real();
    const double c_im = c[i].imag();
    const double* __restrict re = u_re + i * block;
    const double* __restrict im = u_im + i * block;
    for (std::size_t k = 0; k < count; ++k) {
      fit_re[k] += c_re * re[k] - c_im * im[k];
      fit_im[k] += c_re * im[k] + c_im * re[k];
    }
  }
}

/// The model at a few consecutive frequencies: what its responses have in common is made once.
class ModelBlock {
 public:
  /// For `samples` frequencies in all.
  ModelBlock(const Model& model, std::size_t samples)
      : model_(model),
        length_(samples_at_once(model.poles.size(), samples)),
        u_re_(model.poles.size() * length_),
        u_im_(model.poles.size() * length_) {}

  /// At most so many frequencies stand in a block.
  std::size_t length() const { return length_; }

  /// Goes to `frequencies`, at most `length()` of them.
  void move_to(std::span<const double> frequencies) {
    count_ = frequencies.size();
    for (std::size_t k = 0; k < count_; ++k) {
      s_.re[k] = 0.0;
      s_.im[k] = numerics::two_pi * frequencies[k];
    }
    for (std::size_t i = 0; i < model_.poles.size(); ++i) {
      numerics::fill_real_pole_column(model_.poles[i], static_cast<int>(count_), s_.re.data(), s_.im.data(),
                                      &u_re_[i * length_], &u_im_[i * length_]);
    }
  }

  /// The values of one response.
  void values(std::size_t response, numerics::SampleParts& fit) const {
    for (std::size_t k = 0; k < count_; ++k) {
      fit.re[k] = model_.constants[response];
      fit.im[k] = model_.proportionals[response] * s_.im[k];
    }
    numerics::run_with<add_terms>(numerics::widest_vector_unit(), model_.poles.size(),
                                  model_.residues_of(response).data(), length_, count_, u_re_.data(),
                                  u_im_.data(), fit.re.data(), fit.im.data());
  }

 private:
  const Model& model_;
  std::size_t length_;
  std::size_t count_ = 0;
  numerics::SampleParts s_;
  std::vector<double> u_re_;
  std::vector<double> u_im_;
};

/// Root mean square and largest modulus of complex numbers, whatever their size: squares are formed in a
/// unit, a power of two near the largest part so far, so that they neither overflow nor all vanish.
class Moduli {
 public:
  void add(std::size_t count, const numerics::SampleParts& z) {
    double largest_part = 0.0;
    for (std::size_t k = 0; k < count; ++k) {
      largest_part = std::max({largest_part, std::abs(z.re[k]), std::abs(z.im[k])});
    }
    if (largest_part >= 2.0 * unit_) {
      grow_unit(largest_part);
    }
    const double inverse = 1.0 / unit_;
    for (std::size_t k = 0; k < count; ++k) {
      const double re = z.re[k] * inverse;
      const double im = z.im[k] * inverse;
      const double square = re * re + im * im;
      sum_ += square;
      largest_ = std::max(largest_, square);
    }
  }

  /// Of `count` numbers in all; 0 of none.
  double root_mean_square(std::size_t count) const {
    return count == 0 ? 0.0 : unit_ * std::sqrt(sum_ / static_cast<double>(count));
  }
  /// Its root mean square over that of as many others; over 1 where that is 0. Not by way of these: near the
  /// smallest double they have no digits.
  double over(const Moduli& others, std::size_t count) const {
    return others.sum_ > 0.0 ? unit_ / others.unit_ * std::sqrt(sum_ / others.sum_) : root_mean_square(count);
  }
  /// Not a number as soon as one of the numbers is none, which a maximum alone would not show.
  double largest() const { return std::isnan(sum_) ? sum_ : unit_ * std::sqrt(largest_); }

 private:
  // The smallest and the largest power of two whose inverses are normal numbers.
  static constexpr double smallest_unit = 0x1p-1022;
  static constexpr double largest_unit = 0x1p1022;

  void grow_unit(double part) {
    const double unit = part >= largest_unit ? largest_unit : std::ldexp(1.0, std::ilogb(part));
    const double ratio = unit_ / unit;
    sum_ *= ratio * ratio;
    largest_ *= ratio * ratio;
    unit_ = unit;
  }

  double unit_ = smallest_unit;
  double sum_ = 0.0;      // of squares, in unit_^2
  double largest_ = 0.0;  // square, in unit_^2
};

void refuse_unlike(const char* what, std::size_t found, std::size_t expected) {
  if (found != expected) {
    throw Error(ErrorKind::bad_shape, "the data have " + std::to_string(found) + " " + what + ", expected " +
                                          std::to_string(expected));
  }
}

}  // namespace

void check_shape(const Model& model) { refuse(ErrorKind::bad_shape, shape_fault(model)); }

void check(const Model& model) {
  check_shape(model);
  refuse(ErrorKind::bad_shape, name_fault(model));
  refuse(ErrorKind::bad_shape, pair_fault(model));
}

std::vector<std::complex<double>> evaluate(const Model& model, std::span<const double> frequencies) {
  check_shape(model);
  const std::size_t samples = frequencies.size();
  std::vector<std::complex<double>> result(model.responses() * samples);
  ModelBlock model_block(model, samples);
  numerics::SampleParts fit;
  for (std::size_t first = 0; first < samples; first += model_block.length()) {
    const std::size_t count = std::min(model_block.length(), samples - first);
    model_block.move_to(frequencies.subspan(first, count));
    for (std::size_t r = 0; r < model.responses(); ++r) {
      model_block.values(r, fit);
      for (std::size_t k = 0; k < count; ++k) {
        result[r * samples + first + k] = {fit.re[k], fit.im[k]};
      }
    }
  }
  return result;
}

std::vector<ResponseError> errors(const Model& model, const NetworkData& data) {
  check_shape(model);
  refuse_unlike("responses", data.responses.responses, model.responses());
  refuse_unlike("samples", data.responses.samples, data.frequencies.size());
  const std::size_t samples = data.responses.samples;
  std::vector<Moduli> differences(model.responses());
  std::vector<Moduli> values(model.responses());
  ModelBlock model_block(model, samples);
  numerics::SampleParts difference;
  numerics::SampleParts value;
  for (std::size_t first = 0; first < samples; first += model_block.length()) {
    const std::size_t count = std::min(model_block.length(), samples - first);
    model_block.move_to(data.frequencies.subspan(first, count));
    for (std::size_t r = 0; r < model.responses(); ++r) {
      model_block.values(r, difference);
      for (std::size_t k = 0; k < count; ++k) {
        const std::complex<double> f = data.responses(r, first + k);
        value.re[k] = f.real();
        value.im[k] = f.imag();
        difference.re[k] -= f.real();
        difference.im[k] -= f.imag();
      }
      values[r].add(count, value);
      differences[r].add(count, difference);
    }
  }

  std::vector<ResponseError> result(model.responses());
  for (std::size_t r = 0; r < result.size(); ++r) {
    result[r] = {differences[r].root_mean_square(samples), differences[r].over(values[r], samples),
                 differences[r].largest()};
  }
  return result;
}

}  // namespace polefit
