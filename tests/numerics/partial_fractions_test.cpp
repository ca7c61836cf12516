#include "numerics/partial_fractions.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "numerics/complex_division.hpp"
#include "vector_units.hpp"

namespace numerics {
namespace {

using namespace testing_support;

/// Complex values, their parts in arrays of their own, with room behind them that is not to be written.
struct Parts {
  explicit Parts(int count) : re(size(count), 7.0), im(size(count), 7.0) {}
  Parts(int count, RandomNumbers& numbers) : Parts(count) {
    for (int k = 0; k < count; ++k) {
      set(k, {numbers(), numbers()});
    }
  }
  static std::size_t size(int count) { return static_cast<std::size_t>(count) + 8; }
  void set(int k, Complex value) {
    re[static_cast<std::size_t>(k)] = value.real();
    im[static_cast<std::size_t>(k)] = value.imag();
  }
  Complex operator[](int k) const {
    return {re[static_cast<std::size_t>(k)], im[static_cast<std::size_t>(k)]};
  }
  bool operator==(const Parts&) const = default;

  std::vector<double> re;
  std::vector<double> im;
};

/// Calls `check` with lengths about those of every register, and with every unit of this processor.
void with_every_length_and_unit(const std::function<void(int, RandomNumbers&, VectorUnit)>& check) {
  for (const VectorUnit unit : vector_units()) {
    for (const int count : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, SampleParts::most}) {
      SCOPED_TRACE("unit " + std::to_string(static_cast<int>(unit)) + " count " + std::to_string(count));
      RandomNumbers numbers(static_cast<std::uint64_t>(count));
      check(count, numbers, unit);
    }
  }
}

Complex difference(Complex s, Complex a) { return {s.real() - a.real(), s.imag() - a.imag()}; }

TEST(PartialFractions, the_column_of_a_real_pole_is_its_quotient_to_the_bit_with_every_vector_unit) {
  with_every_length_and_unit([](int count, RandomNumbers& numbers, VectorUnit unit) {
    const Complex a = numbers.complex();
    const Parts s(count, numbers);
    Parts expected(count);
    for (int k = 0; k < count; ++k) {
      expected.set(k, smith_quotient(1.0, difference(s[k], a)));
    }
    Parts column(count);
    fill_real_pole_column(a, count, s.re.data(), s.im.data(), column.re.data(), column.im.data(), unit);
    EXPECT_EQ(column, expected);
  });
}

TEST(PartialFractions, the_columns_of_a_pair_are_sum_and_difference_to_the_bit_with_every_vector_unit) {
  with_every_length_and_unit([](int count, RandomNumbers& numbers, VectorUnit unit) {
    const Complex a = numbers.complex();
    const Complex b = numbers.complex();
    const Parts s(count, numbers);
    Parts expected_leader(count);
    Parts expected_follower(count);
    for (int k = 0; k < count; ++k) {
      const Complex u = smith_quotient(1.0, difference(s[k], a));
      const Complex v = smith_quotient(1.0, difference(s[k], b));
      expected_leader.set(k, u + v);
      expected_follower.set(k, {v.imag() - u.imag(), u.real() - v.real()});  // j u - j v
    }
    Parts leader(count);
    Parts follower(count);
    fill_pair_columns(a, b, count, s.re.data(), s.im.data(), leader.re.data(), leader.im.data(),
                      follower.re.data(), follower.im.data(), unit);
    EXPECT_EQ(leader, expected_leader);
    EXPECT_EQ(follower, expected_follower);
  });
}

TEST(PartialFractions, a_weighted_column_is_minus_the_product_to_the_bit_with_every_vector_unit) {
  with_every_length_and_unit([](int count, RandomNumbers& numbers, VectorUnit unit) {
    const Parts f(count, numbers);
    const Parts phi(count, numbers);
    Parts expected(count);
    for (int k = 0; k < count; ++k) {
      expected.set(k, {-(f[k].real() * phi[k].real() - f[k].imag() * phi[k].imag()),
                       -(f[k].real() * phi[k].imag() + f[k].imag() * phi[k].real())});
    }
    Parts column(count);
    fill_weighted_column(count, f.re.data(), f.im.data(), phi.re.data(), phi.im.data(), column.re.data(),
                         column.im.data(), unit);
    EXPECT_EQ(column, expected);
  });
}

TEST(PartialFractions, a_term_is_added_to_the_bit_with_every_vector_unit) {
  with_every_length_and_unit([](int count, RandomNumbers& numbers, VectorUnit unit) {
    const Complex a = numbers.complex();
    const Complex c = numbers.complex();
    const Parts s(count, numbers);
    Parts fit(count, numbers);
    Parts expected = fit;
    for (int k = 0; k < count; ++k) {
      expected.set(k, fit[k] + smith_quotient(c, difference(s[k], a)));
    }
    add_partial_fraction(a, c, count, s.re.data(), s.im.data(), fit.re.data(), fit.im.data(), unit);
    EXPECT_EQ(fit, expected);
  });
}

}  // namespace
}  // namespace numerics
