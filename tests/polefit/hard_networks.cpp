#include "hard_networks.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <span>
#include <stdexcept>
#include <utility>

#include "numerics/angular_frequency.hpp"

namespace polefit::hard_networks {
namespace {

using Complex = std::complex<double>;

constexpr double reference = 50.0;  // ohms

class RandomNumbers {
 public:
  explicit RandomNumbers(std::uint64_t seed) : generator_(seed) {}

  /// Evenly over -1..1.
  double even() { return 2.0 * unit() - 1.0; }
  /// Normal with a mean square modulus of 1, by the method of Box and Muller.
  Complex complex_normal() {
    const double radius = std::sqrt(-std::log(unit()));
    return std::polar(radius, numerics::two_pi * unit());
  }
  double normal() { return std::numbers::sqrt2 * complex_normal().real(); }

 private:
  /// Evenly over 0..1, never one of the ends.
  double unit() { return std::ldexp(static_cast<double>(generator_() >> 12) + 0.5, -52); }

  std::mt19937_64 generator_;
};

struct Band {
  double lowest;   // hertz
  double highest;  // hertz
  std::size_t samples;

  /// The place of a sample between the ends.
  double part(std::size_t k) const { return static_cast<double>(k) / static_cast<double>(samples - 1); }
  std::vector<double> evenly() const {
    std::vector<double> frequencies;
    for (std::size_t k = 0; k < samples; ++k) {
      frequencies.push_back(lowest + (highest - lowest) * part(k));
    }
    return frequencies;
  }
  std::vector<double> evenly_over_decades() const {
    std::vector<double> frequencies;
    for (std::size_t k = 0; k < samples; ++k) {
      frequencies.push_back(lowest * std::pow(highest / lowest, part(k)));
    }
    return frequencies;
  }
};

std::vector<std::string> element_names(std::size_t ports) {
  std::vector<std::string> names;
  for (const MatrixElement& element : all_elements(ports)) {
    names.push_back(element_name('S', element, ports));
  }
  return names;
}

NetworkMatrix matrix_of(std::size_t ports) {
  return {'S', std::vector<double>(ports, reference), all_elements(ports)};
}

std::string file_name(const std::string& name, std::size_t ports) {
  return name + ".s" + std::to_string(ports) + "p";
}

// Networks by poles and residues.

/// With a damping ratio of 1 / (2 Q).
Complex pole_at(double frequency, double q) {
  const double omega = numerics::two_pi * frequency;
  return {-omega / (2.0 * q), omega};
}

/// The upper poles of pairs, evenly over a band but for 20 % of their distance.
std::vector<Complex> spread_poles(const Band& band, std::size_t pairs, double q, RandomNumbers& random) {
  constexpr double jitter = 0.2;
  const double distance = (band.highest - band.lowest) / static_cast<double>(pairs);
  std::vector<Complex> poles;
  for (std::size_t i = 0; i < pairs; ++i) {
    const double place = static_cast<double>(i) + 0.5 + jitter * random.even();
    poles.push_back(pole_at(band.lowest + distance * place, q));
  }
  return poles;
}

/// Of a reciprocal network with normal residues, which make peaks of about 1, and constants of about 0.2.
Model random_model(std::size_t ports, const std::vector<Complex>& upper_poles, RandomNumbers& random) {
  constexpr double constant = 0.2;
  Model model;
  for (const Complex pole : upper_poles) {
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  model.residues.resize(ports * ports * model.poles.size());
  model.constants.resize(ports * ports);
  model.proportionals.resize(ports * ports);
  model.names = element_names(ports);
  model.network = matrix_of(ports);
  for (std::size_t i = 0; i < ports; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const std::array places{i * ports + j, j * ports + i};
      for (std::size_t n = 0; n < model.poles.size(); n += 2) {
        const Complex residue = -model.poles[n].real() * random.complex_normal();
        for (const std::size_t r : places) {
          model.residues[r * model.poles.size() + n] = residue;
          model.residues[r * model.poles.size() + n + 1] = std::conj(residue);
        }
      }
      const double value = constant * random.normal();
      for (const std::size_t r : places) {
        model.constants[r] = value;
      }
    }
  }
  return model;
}

HardNetwork sampled_network(const std::string& name, const Model& model, const Band& band) {
  return {name, true, model.poles, sampled(model, band.evenly(), file_name(name, model.network->ports()))};
}

/// Multiplies all responses with a function of the frequency in hertz.
void multiply(Network& network, const std::function<Complex(double)>& factor) {
  const std::size_t samples = network.frequencies.size();
  for (std::size_t i = 0; i < network.values.size(); ++i) {
    network.values[i] *= factor(network.frequencies[i % samples]);
  }
}

// Networks by formulas.

/// A symmetric two-port: a line with the propagation factor P between two equal mismatches G.
HardNetwork line(const std::string& name, std::vector<double> frequencies, double mismatch,
                 const std::function<Complex(double)>& propagation) {
  Network network{file_name(name, 2), matrix_of(2), std::move(frequencies), element_names(2), {}};
  std::vector<Complex> reflections;
  std::vector<Complex> transmissions;
  for (const double frequency : network.frequencies) {
    const Complex p = propagation(frequency);
    const double g2 = mismatch * mismatch;
    const Complex denominator = 1.0 - g2 * p * p;
    reflections.push_back(mismatch * (1.0 - p * p) / denominator);
    transmissions.push_back(p * (1.0 - g2) / denominator);
  }
  for (const auto& response : {reflections, transmissions, transmissions, reflections}) {
    network.values.insert(network.values.end(), response.begin(), response.end());
  }
  return {name, true, {}, std::move(network)};
}

/// A loss of skin effect, in neper at 10 GHz, without the delay that goes with it: causal but for little.
std::function<Complex(double)> delay_and_loss(double delay, double loss) {
  return [=](double frequency) {
    return std::exp(-Complex(loss * std::sqrt(frequency / 1e10), numerics::two_pi * frequency * delay));
  };
}

// Noise.

/// White noise with a mean square modulus of 1; or, over several neighbours, the sums of as many over the
/// root of their number.
std::vector<Complex> noise(std::size_t samples, std::size_t neighbours, RandomNumbers& random) {
  std::vector<Complex> white(samples + neighbours - 1);
  std::generate(white.begin(), white.end(), [&] { return random.complex_normal(); });
  std::vector<Complex> sums(samples);
  for (std::size_t k = 0; k < samples; ++k) {
    for (std::size_t i = 0; i < neighbours; ++i) {
      sums[k] += white[k + i];
    }
    sums[k] /= std::sqrt(static_cast<double>(neighbours));
  }
  return sums;
}

double rms(std::span<const Complex> values) {
  double squares = 0.0;
  for (const Complex value : values) {
    squares += std::norm(value);
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

std::span<Complex> response(Network& network, std::size_t r) {
  const std::size_t samples = network.frequencies.size();
  return std::span(network.values).subspan(r * samples, samples);
}

void add_noise(std::span<Complex> values, double level, std::size_t neighbours, RandomNumbers& random) {
  const std::vector<Complex> added = noise(values.size(), neighbours, random);
  std::transform(values.begin(), values.end(), added.begin(), values.begin(),
                 [=](Complex value, Complex error) { return value + level * error; });
}

/// Noise relative to the root mean square of each response.
void add_relative_noise(Network& network, double level, RandomNumbers& random, std::size_t neighbours = 1) {
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    add_noise(response(network, r), level * rms(response(network, r)), neighbours, random);
  }
}

// The recipes. Noise is relative to each response unless a recipe says otherwise, and is not the same in S12
// and S21.

constexpr Band usual_band{1e8, 1e10, 1001};

/// A transmission far below the reflections; the noise, the same everywhere, is half a percent of it.
HardNetwork weak() {
  constexpr Band band{1e9, 9e9, 4001};
  constexpr double transmission = 1.4125375446227543e-4;  // -77 dB
  constexpr double level = 8e-7;
  RandomNumbers random(101);
  HardNetwork hard =
      sampled_network("weak", random_model(2, spread_poles(band, 8, 200.0, random), random), band);
  Network& network = hard.network;
  for (const std::size_t r : {1U, 2U}) {
    const double factor = transmission / rms(response(network, r));
    for (Complex& value : response(network, r)) {
      value *= factor;
    }
  }
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    add_noise(response(network, r), level, 1, random);
  }
  return hard;
}

/// White noise at the usual target.
HardNetwork noise4() {
  RandomNumbers random(102);
  const std::vector<Complex> poles = spread_poles(usual_band, 20, 30.0, random);
  HardNetwork hard = sampled_network("noise4", random_model(4, poles, random), usual_band);
  add_relative_noise(hard.network, 1e-3, random);
  return hard;
}

/// Noise that neighbouring samples share, so that poles can follow it.
HardNetwork coloured() {
  constexpr Band band{1e8, 1e10, 1601};
  RandomNumbers random(103);
  HardNetwork hard =
      sampled_network("coloured", random_model(2, spread_poles(band, 10, 20.0, random), random), band);
  add_relative_noise(hard.network, 3e-3, random, 5);
  return hard;
}

/// Not causal: de-embedded too far.
HardNetwork advance() {
  constexpr double largest_angle = 0.3;
  RandomNumbers random(104);
  const std::vector<Complex> poles = spread_poles(usual_band, 12, 30.0, random);
  HardNetwork hard = sampled_network("advance", random_model(2, poles, random), usual_band);
  multiply(hard.network,
           [](double frequency) { return std::polar(1.0, largest_angle * frequency / usual_band.highest); });
  return hard;
}

/// A line of 25 mm and 45 ohms whose permittivity rises with the frequency, which is not causal.
HardNetwork dispersion() {
  constexpr double mismatch = (45.0 - reference) / (45.0 + reference);
  const auto propagation = [](double frequency) {
    constexpr double length = 0.025;  // metres
    constexpr double loss_tangent = 0.02;
    constexpr double speed_of_light = 299792458.0;  // m/s
    const double x = frequency / 50e9;
    const double permittivity = 5.0 + 1.8 * x * x / (1.0 + x * x);
    const Complex gamma = Complex(0.0, numerics::two_pi * frequency / speed_of_light) *
                              std::sqrt(permittivity * Complex(1.0, -loss_tangent)) +
                          0.5 * std::sqrt(frequency / 1e9);  // skin effect, in neper a metre
    return std::exp(-gamma * length);
  };
  return line("dispersion", Band{1e9, 40e9, 100}.evenly(), mismatch, propagation);
}

/// Eight turns: about as many poles as a search should find.
HardNetwork line8() {
  return line("line8", Band{1e7, 20e9, 2000}.evenly(), 0.2, delay_and_loss(0.4e-9, 0.15));
}

/// Seventy turns: more than a hundred poles can follow.
HardNetwork long70() {
  return line("long70", Band{1e7, 20e9, 2000}.evenly(), 0.2, delay_and_loss(3.5e-9, 0.15));
}

/// Few poles, seen through a cable with a mismatch at both ends.
HardNetwork ripple() {
  constexpr Band band{5e7, 1.5e9, 1601};
  constexpr double turns_per_hertz = 1e-7;  // seconds
  RandomNumbers random(108);
  HardNetwork hard =
      sampled_network("ripple", random_model(2, spread_poles(band, 4, 5.0, random), random), band);
  multiply(hard.network, [](double frequency) {
    return 1.0 + std::polar(0.01, -numerics::two_pi * frequency * turns_per_hertz);
  });
  add_relative_noise(hard.network, 2e-4, random);
  return hard;
}

/// Pairs nearer than most tools take for genuine.
HardNetwork highq() {
  constexpr Band band{1e9, 2e9, 8001};
  constexpr double q = 0.5 / 1e-4;
  constexpr double gap = 1e-3;  // relative
  RandomNumbers random(109);
  std::vector<Complex> poles;
  for (const Complex pole : spread_poles(band, 6, q, random)) {
    poles.insert(poles.end(), {pole, pole * (1.0 + gap)});
  }
  HardNetwork hard = sampled_network("highq", random_model(2, poles, random), band);
  add_relative_noise(hard.network, 1e-4, random);
  return hard;
}

/// The reflection of a capacitor with losses, as printed with four decimals; the decades are those with its
/// resonance, at 36 MHz, and the corner of 50 ohms, at 0.3 MHz.
HardNetwork skin() {
  Network network{
      file_name("skin", 1), matrix_of(1), Band{1e3, 1e9, 601}.evenly_over_decades(), element_names(1), {}};
  const auto rounded = [](double value) { return std::round(value * 1e4) / 1e4; };
  for (const double frequency : network.frequencies) {
    const Complex s(0.0, numerics::two_pi * frequency);
    const Complex z = 0.01 * std::sqrt(1.0 + s / 1e6) + 2e-9 * s + 1.0 / (1e-8 * s + 1e-5);
    const Complex s11 = (z - reference) / (z + reference);
    network.values.emplace_back(rounded(s11.real()), rounded(s11.imag()));
  }
  return {"skin", true, {}, std::move(network)};
}

/// Many responses, clean but for the last digits of a file.
HardNetwork port16() {
  constexpr Band band{1e8, 1e10, 501};
  RandomNumbers random(111);
  HardNetwork hard =
      sampled_network("port16", random_model(16, spread_poles(band, 30, 30.0, random), random), band);
  add_relative_noise(hard.network, 1e-5, random);
  return hard;
}

/// Hardly more than a delay, as the standard of a calibration.
HardNetwork thru() {
  RandomNumbers random(112);
  HardNetwork hard = line("thru", Band{1e7, 1e10, 201}.evenly(), 0.02, delay_and_loss(50e-12, 0.02));
  add_relative_noise(hard.network, 1e-3, random);
  return hard;
}

/// Phase steps of 324 degrees: a delay that is taken for an advance of a ninth of it.
HardNetwork coarse() {
  constexpr double step = 45e6;
  constexpr std::size_t samples = 444;  // up to 20 GHz
  return line("coarse", Band{step, step * static_cast<double>(samples), samples}.evenly(), 0.2,
              delay_and_loss(20e-9, 0.15));
}

// The five sizes.

Model sized_model(const Size& size) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  const std::size_t pairs = size.poles / 2;
  const double distance = numerics::two_pi * 1e10 / static_cast<double>(pairs);
  Model model;
  for (std::size_t i = 0; i < pairs; ++i) {
    const double omega = distance * (static_cast<double>(i) + 0.5 + 0.3 * uniform(generator));
    const Complex pole(-0.1 * distance * (1.0 + 0.5 * uniform(generator)), omega);
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  for (std::size_t r = 0; r < size.responses; ++r) {
    for (std::size_t i = 0; i < pairs; ++i) {
      const double re = uniform(generator);
      const Complex residue = distance * 0.1 * Complex(re, uniform(generator));
      model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
    }
    model.constants.push_back(uniform(generator));
    model.proportionals.push_back(0.0);
  }
  return model;
}

std::vector<double> sized_grid(const Size& size) {
  std::vector<double> frequencies;
  for (std::size_t k = 0; k < size.samples; ++k) {
    frequencies.push_back(1e10 * static_cast<double>(k + 1) / static_cast<double>(size.samples));
  }
  return frequencies;
}

HardNetwork sized(const Size& size, const std::string& name, double level) {
  std::size_t ports = 1;
  while (ports * ports < size.responses) {
    ++ports;
  }
  Model model = sized_model(size);
  model.names = element_names(ports);
  model.network = matrix_of(ports);
  HardNetwork hard{name, ports == 1, model.poles, sampled(model, sized_grid(size), file_name(name, ports))};
  if (level > 0.0) {
    RandomNumbers random(201);
    add_relative_noise(hard.network, level, random);
  }
  return hard;
}

std::vector<Recipe> all_recipes() {
  std::vector<Recipe> all{{"weak", weak},       {"noise4", noise4},         {"coloured", coloured},
                          {"advance", advance}, {"dispersion", dispersion}, {"line8", line8},
                          {"long70", long70},   {"ripple", ripple},         {"highq", highq},
                          {"skin", skin},       {"port16", port16},         {"thru", thru},
                          {"coarse", coarse}};
  for (const Size& size : five_sizes) {
    const std::string noisy = std::string(size.name) + "_noise";
    all.push_back({size.name, [&size] { return sized(size, size.name, 0.0); }});
    all.push_back({noisy, [&size, noisy] { return sized(size, noisy, 1e-3); }});
  }
  return all;
}

}  // namespace

const std::vector<Recipe>& recipes() {
  static const std::vector<Recipe> all = all_recipes();
  return all;
}

HardNetwork made(const std::string& name) {
  const auto found = std::find_if(recipes().begin(), recipes().end(),
                                  [&](const Recipe& recipe) { return recipe.name == name; });
  if (found == recipes().end()) {
    throw std::out_of_range("no hard network has the name " + name);
  }
  return found->make();
}

Network sized_network(const Size& size) { return sampled(sized_model(size), sized_grid(size), size.name); }

std::vector<Complex> far_poles() {
  std::vector<Complex> poles{-1329.0, -53.2, -27.7, -3.99, -0.995, -0.258, -0.183};
  for (const Complex pole :
       {Complex(-0.0114, 13.11), Complex(-1.15e-4, 6.51), Complex(-0.135, 1.10), Complex(-0.184, 0.822),
        Complex(-0.190, 0.619), Complex(-0.217, 0.418), Complex(-0.292, 0.187)}) {
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  return poles;
}

}  // namespace polefit::hard_networks
