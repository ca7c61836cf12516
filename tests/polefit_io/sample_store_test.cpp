#include "polefit_io/samples/sample_store.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <limits>
#include <new>
#include <vector>

namespace {

using polefit_io::frequencies_at_a_time;
using polefit_io::Pages;
using polefit_io::SampleStore;
using Complex = std::complex<double>;

TEST(SampleStore, blocks_of_any_size_become_responses) {
  constexpr std::size_t responses = 5;
  const std::vector<std::size_t> blocks{1, 7, 10'000, 2, 3000};
  SampleStore store(responses);
  std::size_t begin = 0;
  for (const std::size_t samples : blocks) {
    Complex* const to = store.append(samples);
    for (std::size_t r = 0; r < responses; ++r) {
      for (std::size_t k = 0; k < samples; ++k) {
        to[r * samples + k] = Complex(static_cast<double>(begin + k), static_cast<double>(r));
      }
    }
    begin += samples;
  }
  EXPECT_EQ(store.samples(), begin);
  const std::vector<Complex> values = store.by_response();
  ASSERT_EQ(values.size(), responses * begin);
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(values[i], Complex(static_cast<double>(i % begin), static_cast<double>(i / begin)));
  }
  EXPECT_EQ(store.samples(), 0U);
  EXPECT_TRUE(store.by_response().empty());
}

TEST(SampleStore, more_than_there_are_addresses_is_no_memory) {
  SampleStore store(std::numeric_limits<std::size_t>::max() / 64);
  EXPECT_THROW(store.append(100), std::bad_alloc);
  EXPECT_THROW(Pages(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

TEST(SampleStore, pages_keep_what_was_not_released) {
  constexpr std::size_t size = 1'000'000;
  Pages pages(size);
  for (std::size_t i = 0; i < size; ++i) {
    ASSERT_EQ(pages.data()[i], std::byte{0});
    pages.data()[i] = static_cast<std::byte>(i % 251);
  }
  for (std::size_t released = 0; released < size; released += 1000) {
    pages.release(released);
    ASSERT_EQ(pages.data()[released], static_cast<std::byte>(released % 251));
  }
  EXPECT_EQ(pages.data()[size - 1], static_cast<std::byte>((size - 1) % 251));
}

TEST(SampleStore, few_frequencies_are_taken_at_a_time_and_more_when_there_are_many) {
  EXPECT_EQ(frequencies_at_a_time(2, 0), 65536U);
  EXPECT_EQ(frequencies_at_a_time(800, 0), 163U);
  EXPECT_EQ(frequencies_at_a_time(180'000, 0), 4U);
  EXPECT_EQ(frequencies_at_a_time(180'000, 1600), 100U);
  EXPECT_EQ(frequencies_at_a_time(180'000, 1'000'000), 256U);
  EXPECT_EQ(frequencies_at_a_time(std::numeric_limits<std::size_t>::max(), 0), 4U);
}

}  // namespace
