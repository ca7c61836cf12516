/// Networks on which it is hard to find the order: weak, noisy, not causal, long, sharp and large ones, and
/// those of five sizes that are easy when clean. Made by recipes with fixed seeds.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "polefit/network.hpp"

namespace polefit::hard_networks {

/// A network of S parameters, all elements row by row, with references of 50 ohms.
struct HardNetwork {
  std::string name;
  bool reciprocal = false;  ///< before noise, which every response has of its own
  /// Of the rational function that the network is, or is but for a factor; in rad/s and ordered as in Model.
  /// None for lines and roots.
  std::vector<std::complex<double>> poles;
  Network network;  ///< its file is the name with an extension of Touchstone
};

struct Recipe {
  std::string name;
  std::function<HardNetwork()> make;  ///< always the same network
};

/// All of them; those of the five sizes last, each clean and then with noise.
const std::vector<Recipe>& recipes();

/// The one of that name; throws std::out_of_range when there is none.
HardNetwork made(const std::string& name);

/// A number of exact samples up to 10 GHz.
struct Size {
  const char* name;
  std::size_t responses;
  std::size_t samples;
  std::size_t poles;
};

inline constexpr std::array<Size, 5> five_sizes{{{"a", 1, 1000, 20},
                                                 {"b", 1, 100000, 20},
                                                 {"c", 1, 10000, 100},
                                                 {"d", 16, 1001, 40},
                                                 {"e", 400, 501, 40}}};

/// Responses without a matrix, whose pairs resonate all over the band, about as widely as they are apart.
Network sized_network(const Size& size);

/// Poles inside and far outside of a band that ends at 1 rad/s. Those outside act as a polynomial there: with
/// a constant, on 10,000 even samples from 0, the partial fractions have the condition 5e15 after scaling.
std::vector<std::complex<double>> far_poles();

}  // namespace polefit::hard_networks
