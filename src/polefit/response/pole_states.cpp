#include "polefit/response/pole_states.hpp"

#include <utility>

#include "numerics/vector_form.hpp"
#include "numerics/vector_operations.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/response/step_weights.hpp"

namespace polefit {
namespace {

/// x = decay x + begin u0 + end u1 for one input.
[[gnu::always_inline]] inline void take_step(std::size_t length, const SectionWeights& w, double u0,
                                             double u1, double* __restrict re, double* __restrict im) {
  const double* __restrict decay_re = w.decay_re.data();
  const double* __restrict decay_im = w.decay_im.data();
  const double* __restrict begin_re = w.begin_re.data();
  const double* __restrict begin_im = w.begin_im.data();
  const double* __restrict end_re = w.end_re.data();
  const double* __restrict end_im = w.end_im.data();
  for (std::size_t s = 0; s < length; ++s) {
    const double next_re = (decay_re[s] * re[s] - decay_im[s] * im[s]) + (begin_re[s] * u0 + end_re[s] * u1);
    const double next_im = (decay_re[s] * im[s] + decay_im[s] * re[s]) + (begin_im[s] * u0 + end_im[s] * u1);
    re[s] = next_re;
    im[s] = next_im;
  }
}

}  // namespace

PoleStates::PoleStates(const Model& model, std::vector<std::size_t> driven) : driven_(std::move(driven)) {
  const WholeMatrix matrix = matrix_of(model);
  ports_ = matrix.ports();
  std::vector<std::size_t> first;  // pole of each section
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    if (!(model.poles[i].imag() < 0.0)) {
      first.push_back(i);
      poles_.push_back(model.poles[i]);
    }
  }
  constexpr std::size_t lanes = numerics::sum_parts;
  length_ = (poles_.size() + lanes - 1) / lanes * lanes;
  states_.resize(driven_.size() * 2 * length_);
  residues_.resize(driven_.size() * ports_ * 2 * length_);
  for (std::size_t d = 0; d < driven_.size(); ++d) {
    for (std::size_t p = 0; p < ports_; ++p) {
      const auto residues = model.residues_of(matrix.response(p, driven_[d]));
      double* const weight = residues_.data() + (p + d * ports_) * 2 * length_;
      for (std::size_t s = 0; s < poles_.size(); ++s) {
        const std::complex<double> residue = residues[first[s]];
        const bool pair = poles_[s].imag() != 0.0;
        weight[s] = (pair ? 2.0 : 1.0) * residue.real();
        weight[length_ + s] = pair ? -2.0 * residue.imag() : 0.0;
      }
    }
  }
}

void PoleStates::set_step(double step) {
  for (const std::size_t slot : {current_, 1 - current_}) {
    if (kept_[slot] && kept_[slot]->step == step) {
      current_ = slot;
      return;
    }
  }
  current_ = 1 - current_;
  SectionWeights& w = kept_[current_].emplace();
  w.step = step;
  for (std::vector<double>* const part :
       {&w.decay_re, &w.decay_im, &w.begin_re, &w.begin_im, &w.end_re, &w.end_im}) {
    part->resize(length_);
  }
  for (std::size_t s = 0; s < poles_.size(); ++s) {
    const StepWeights weights = step_weights(poles_[s], step);
    w.decay_re[s] = weights.decay.real();
    w.decay_im[s] = weights.decay.imag();
    w.begin_re[s] = weights.begin.real();
    w.begin_im[s] = weights.begin.imag();
    w.end_re[s] = weights.end.real();
    w.end_im[s] = weights.end.imag();
  }
}

void PoleStates::advance(std::size_t count, const double* u, std::size_t stride, double* y,
                         std::size_t output_stride) {
  const SectionWeights& w = *kept_[current_];
  numerics::in_vector_form(
      numerics::widest_vector_unit(), [&](auto width) __attribute__((always_inline)) {
        for (std::size_t k = 0; k < count; ++k) {
          for (std::size_t d = 0; d < driven_.size(); ++d) {
            double* const x = state(d);
            take_step(length_, w, u[d * stride + k], u[d * stride + k + 1], x, x + length_);
            for (std::size_t p = 0; p < ports_; ++p) {
              y[p * output_stride + k] += numerics::dot<width()>(2 * length_, weights(p, d), x);
            }
          }
        }
      });
}

void PoleStates::leave(const double* u) {
  const SectionWeights& w = *kept_[current_];
  for (std::size_t d = 0; d < driven_.size(); ++d) {
    double* const x = state(d);
    numerics::run_with<take_step>(numerics::widest_vector_unit(), length_, w, u[d], 0.0, x, x + length_);
  }
}

void PoleStates::arrive(const double* u) {
  const SectionWeights& w = *kept_[current_];
  for (std::size_t d = 0; d < driven_.size(); ++d) {
    double* const x = state(d);
    for (std::size_t s = 0; s < length_; ++s) {
      x[s] += w.end_re[s] * u[d];
      x[length_ + s] += w.end_im[s] * u[d];
    }
  }
}

void PoleStates::add_outputs(double* y) const {
  numerics::in_vector_form(
      numerics::widest_vector_unit(), [&](auto width) __attribute__((always_inline)) {
        for (std::size_t d = 0; d < driven_.size(); ++d) {
          for (std::size_t p = 0; p < ports_; ++p) {
            y[p] += numerics::dot<width()>(2 * length_, weights(p, d), state(d));
          }
        }
      });
}

std::vector<double> PoleStates::immediate() const {
  const SectionWeights& w = *kept_[current_];
  std::vector<double> sums(ports_ * driven_.size());
  for (std::size_t d = 0; d < driven_.size(); ++d) {
    for (std::size_t p = 0; p < ports_; ++p) {
      const double* const weight = weights(p, d);
      double& sum = sums[p + d * ports_];
      for (std::size_t s = 0; s < length_; ++s) {
        sum += weight[s] * w.end_re[s] + weight[length_ + s] * w.end_im[s];
      }
    }
  }
  return sums;
}

}  // namespace polefit
