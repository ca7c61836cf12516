#include "passive_networks.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"

namespace polefit::passive_networks {
namespace {

using testing_support::RandomNumbers;
using Real = long double;
using Complex = std::complex<long double>;

constexpr std::size_t ground = static_cast<std::size_t>(-1);
constexpr double reference = 50.0;

/// A square matrix by rows.
struct Square {
  explicit Square(std::size_t size) : order(size), elements(size * size) {}
  Complex& operator()(std::size_t i, std::size_t j) { return elements[i * order + j]; }
  Complex operator()(std::size_t i, std::size_t j) const { return elements[i * order + j]; }
  std::size_t order;
  std::vector<Complex> elements;
};

/// The leading block of a^-1, by elimination with pivots from the column; zeros cost nothing.
Square leading_inverse(Square a, std::size_t wanted) {
  const std::size_t n = a.order;
  std::vector<std::vector<Complex>> right(n, std::vector<Complex>(wanted));
  for (std::size_t i = 0; i < wanted; ++i) {
    right[i][i] = 1.0L;
  }
  // Ports come last, so that what is found first by solving backwards is theirs.
  const auto node = [&](std::size_t step) { return n - 1 - step; };
  std::vector<std::size_t> row(n);
  for (std::size_t i = 0; i < n; ++i) {
    row[i] = node(i);
  }
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      pivot = std::norm(a(row[i], node(k))) > std::norm(a(row[pivot], node(k))) ? i : pivot;
    }
    std::swap(row[k], row[pivot]);
    for (std::size_t i = k + 1; i < n; ++i) {
      if (a(row[i], node(k)) == Complex{}) {
        continue;
      }
      const Complex factor = a(row[i], node(k)) / a(row[k], node(k));
      for (std::size_t j = k; j < n; ++j) {
        if (a(row[k], node(j)) != Complex{}) {
          a(row[i], node(j)) -= factor * a(row[k], node(j));
        }
      }
      for (std::size_t j = 0; j < wanted; ++j) {
        right[row[i]][j] -= factor * right[row[k]][j];
      }
    }
  }
  Square inverse(wanted);
  for (std::size_t k = n; k-- > n - wanted;) {
    for (std::size_t j = 0; j < wanted; ++j) {
      Complex sum = right[row[k]][j];
      for (std::size_t l = k + 1; l < n; ++l) {
        sum -= a(row[k], node(l)) * inverse(node(l), j);
      }
      inverse(node(k), j) = sum / a(row[k], node(k));
    }
  }
  return inverse;
}

/// sinh(x) / x.
Complex sinhc(Complex x) {
  const Real small = 1e-5L;  // the next term is x^4 / 120
  return std::norm(x) < small * small ? 1.0L + x * x / 6.0L : std::sinh(x) / x;
}

/// A resistor, coil and capacitor in series or side by side, between two nodes or from one to the ground. The
/// second end is behind an ideal transformer, whose turns are 1 where there is none.
struct Branch {
  std::size_t from = 0;
  std::size_t to = ground;
  bool series = true;      ///< r + s l + 1 / (s c), without the last where c is 0; else g + s c
  Real resistance = 0.0L;  ///< g of one that is not in series
  Real inductance = 0.0L;
  Real capacitance = 0.0L;
  Real turns = 1.0L;

  Complex admittance(Complex s) const {
    if (!series) {
      return resistance + s * capacitance;
    }
    const Complex rl = resistance + s * inductance;
    return capacitance == 0.0L ? 1.0L / rl : s * capacitance / (s * capacitance * rl + 1.0L);
  }
};

/// Currents across: lossless, and not reciprocal.
struct Gyrator {
  std::size_t from = 0;
  std::size_t to = 0;
  Real conductance = 0.0L;
};

/// Coils from nodes to the ground with a positive definite matrix of inductances, each with its resistance.
struct Coils {
  std::vector<std::size_t> nodes;
  std::vector<Real> resistances;
  std::vector<Real> inductances;  ///< by rows
};

/// Conductors side by side as modes that do not see each other: voltages are `modes` times those of modes.
struct Line {
  std::vector<std::size_t> near;
  std::vector<std::size_t> far;
  std::vector<Real> modes;  ///< orthogonal, by rows

  struct Mode {
    Real resistance = 0.0L;  ///< of the whole length, as all of these
    Real skin = 0.0L;        ///< times sqrt(s)
    Real inductance = 0.0L;
    Real conductance = 0.0L;
    Real capacitance = 0.0L;
  };
  std::vector<Mode> values;
};

}  // namespace

struct Circuit::Parts {
  std::size_t ports = 0;
  std::size_t nodes = 0;
  double highest = 0.0;
  std::vector<Branch> branches;
  std::vector<Gyrator> gyrators;
  std::vector<Coils> coils;
  std::vector<Line> lines;

  std::size_t new_node() { return nodes++; }

  /// Nodal admittances at s.
  Square admittances(Complex s) const {
    Square y(nodes);
    for (const Branch& branch : branches) {
      const Complex value = branch.admittance(s);
      y(branch.from, branch.from) += value;
      if (branch.to != ground) {
        y(branch.to, branch.to) += branch.turns * branch.turns * value;
        y(branch.from, branch.to) -= branch.turns * value;
        y(branch.to, branch.from) -= branch.turns * value;
      }
    }
    for (const Gyrator& gyrator : gyrators) {
      y(gyrator.from, gyrator.to) += gyrator.conductance;
      y(gyrator.to, gyrator.from) -= gyrator.conductance;
    }
    for (const Coils& group : coils) {
      const std::size_t n = group.nodes.size();
      Square z(n);
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
          z(i, j) = s * group.inductances[i * n + j] + (i == j ? group.resistances[i] : 0.0L);
        }
      }
      const Square inverse = leading_inverse(z, n);
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
          y(group.nodes[i], group.nodes[j]) += inverse(i, j);
        }
      }
    }
    for (const Line& line : lines) {
      add_line(line, s, y);
    }
    return y;
  }

 private:
  static void add_line(const Line& line, Complex s, Square& y) {
    const std::size_t n = line.near.size();
    for (std::size_t m = 0; m < n; ++m) {
      const Line::Mode& mode = line.values[m];
      const Complex z = mode.resistance + mode.skin * std::sqrt(s) + s * mode.inductance;
      const Complex gamma = std::sqrt(z * (mode.conductance + s * mode.capacitance));
      const Complex across = 1.0L / (z * sinhc(gamma));
      const Complex own = std::cosh(gamma) * across;
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
          const Real share = line.modes[i * n + m] * line.modes[j * n + m];
          y(line.near[i], line.near[j]) += share * own;
          y(line.far[i], line.far[j]) += share * own;
          y(line.near[i], line.far[j]) -= share * across;
          y(line.far[i], line.near[j]) -= share * across;
        }
      }
    }
  }
};

namespace {

/// Makes a circuit of random elements. `unit` is an angular frequency.
class Maker {
 public:
  Maker(Circuit::Parts& parts, RandomNumbers& numbers, double unit)
      : parts_(parts), numbers_(numbers), unit_(unit) {}

  void ladders() {
    // From every port to one node, bridged here and there.
    const std::size_t common = parts_.new_node();
    std::vector<std::size_t> nodes{common};
    for (std::size_t port = 0; port < parts_.ports; ++port) {
      std::size_t node = port;
      const int sections = 1 + numbers_.below(parts_.ports > 4 ? 2 : 4);
      for (int i = 0; i < sections; ++i) {
        shunt(node);
        const std::size_t next = i + 1 == sections ? common : parts_.new_node();
        series(node, next);
        node = next;
        nodes.push_back(node);
      }
    }
    shunt(common);
    for (int i = numbers_.below(3); i-- > 0;) {
      const std::size_t from = any_of(nodes);
      const std::size_t to = any_of(nodes);
      if (from != to) {
        series(from, to);
      }
    }
    if (numbers_.below(4) == 0 && parts_.ports > 1) {
      parts_.gyrators.push_back({0, 1, decades(-0.7, 0.5) / reference});
    }
  }

  void interconnect() {
    const std::size_t conductors = parts_.ports % 2 == 0 ? parts_.ports / 2 : 0;
    if (conductors > 0) {
      Line line;
      for (std::size_t i = 0; i < parts_.ports; ++i) {
        (i < conductors ? line.near : line.far).push_back(behind_package(i));
      }
      add_modes(line);
      parts_.lines.push_back(line);
      return;
    }
    const std::size_t common = parts_.new_node();
    shunt(common);
    for (std::size_t port = 0; port < parts_.ports; ++port) {
      Line line;
      line.near = {behind_package(port)};
      line.far = {common};
      add_modes(line);
      parts_.lines.push_back(line);
    }
  }

  void resonators() {
    const auto between = static_cast<std::size_t>(numbers_.below(4));
    const std::size_t count = parts_.ports + between;
    Coils coils;
    coils.inductances.resize(count * count);
    // Tuned to frequencies about one within the band, and coupled so that rows stay dominated by their
    // diagonal.
    const double centre = numbers_.between(0.3, 0.8);
    const double coupling = 0.5 * decades(-2.0, -0.3) / static_cast<double>(count);
    const double spread = numbers_.between(0.0, 0.2);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t node = parts_.new_node();
      coils.nodes.push_back(node);
      const double omega = unit_ * centre * (1.0 + spread * numbers_());
      const double inductance = reference * decades(-1.3, 0.0) / omega;
      const double quality = decades(std::log10(20.0), std::log10(2000.0));
      coils.resistances.push_back(omega * inductance / quality);
      coils.inductances[i * count + i] = inductance;
      const double losses = omega * 1.0 / (omega * omega * inductance) / decades(3.0, 4.0);
      parts_.branches.push_back({node, ground, false, losses, 0.0L, 1.0 / (omega * omega * inductance)});
      if (i < parts_.ports) {
        // Into the port through a capacitor or a coil that is large against the resonator's.
        Branch branch{i, node, true, decades(-2.0, 0.0) * reference};
        const double size = decades(0.3, 1.5);
        if (numbers_.below(2) == 0) {
          branch.capacitance = 1.0 / (omega * reference * size);
        } else {
          branch.inductance = reference * size / omega;
        }
        parts_.branches.push_back(branch);
        if (numbers_.below(3) == 0) {
          shunt(i);
        }
      } else if (numbers_.below(2) == 0) {
        const std::size_t other = any_of(coils.nodes);
        if (other != node) {
          parts_.branches.push_back({node, other, true, 0.1L, 0.0L, coupling / (omega * reference)});
        }
      }
    }
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        const Real size = std::sqrt(coils.inductances[i * count + i] * coils.inductances[j * count + j]);
        const Real mutual = coupling * size * static_cast<Real>(numbers_());
        coils.inductances[i * count + j] = coils.inductances[j * count + i] = mutual;
      }
    }
    parts_.coils.push_back(coils);
  }

  /// A conductance to the ground at every node, so that Y and Z exist at frequency 0 as well.
  void leak() {
    for (std::size_t node = 0; node < parts_.nodes; ++node) {
      parts_.branches.push_back({node, ground, false, 1e-6L});
    }
  }

 private:
  double decades(double low, double high) { return std::pow(10.0, numbers_.between(low, high)); }
  std::size_t any_of(const std::vector<std::size_t>& nodes) {
    return nodes[static_cast<std::size_t>(numbers_.below(static_cast<int>(nodes.size())))];
  }

  void series(std::size_t from, std::size_t to) {
    Branch branch{from, to, true};
    branch.resistance = reference * decades(-3.0, 0.0);
    branch.inductance = reference * decades(-1.0, 1.0) / unit_;
    if (numbers_.below(4) == 0) {
      branch.capacitance = decades(-1.0, 1.0) / (reference * unit_);
    }
    if (numbers_.below(6) == 0) {
      branch.turns = decades(-0.5, 0.5);
    }
    parts_.branches.push_back(branch);
  }

  void shunt(std::size_t node) {
    Branch branch{node, ground, numbers_.below(3) == 0};
    if (branch.series) {
      branch.resistance = reference * decades(-2.5, 0.0);
      branch.inductance = reference * decades(-1.0, 1.0) / unit_;
    } else {
      branch.resistance = decades(-4.0, -1.0) / reference;
    }
    branch.capacitance = decades(-1.0, 1.0) / (reference * unit_);
    parts_.branches.push_back(branch);
  }

  /// The node behind a pad's capacitance and a bond wire.
  std::size_t behind_package(std::size_t port) {
    if (numbers_.below(2) == 0) {
      return port;
    }
    const std::size_t node = parts_.new_node();
    parts_.branches.push_back({port, ground, false, decades(-5.0, -3.0) / reference, 0.0L,
                               decades(-2.0, -0.7) / (reference * unit_)});
    const double resistance = reference * decades(-3.0, -1.5);
    parts_.branches.push_back({port, node, true, resistance, reference * decades(-2.0, -0.7) / unit_, 0.0L});
    return node;
  }

  /// Modes of a delay of up to five turns that differ by some per cent, turned among each other.
  void add_modes(Line& line) {
    const std::size_t n = line.near.size();
    line.modes.assign(n * n, 0.0L);
    for (std::size_t i = 0; i < n; ++i) {
      line.modes[i * n + i] = 1.0L;
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
      for (std::size_t j = i + 1; j < n; ++j) {
        const Real angle = 3.0L * static_cast<Real>(numbers_());
        for (std::size_t k = 0; k < n; ++k) {
          const Real a = line.modes[k * n + i];
          const Real b = line.modes[k * n + j];
          line.modes[k * n + i] = std::cos(angle) * a - std::sin(angle) * b;
          line.modes[k * n + j] = std::sin(angle) * a + std::cos(angle) * b;
        }
      }
    }
    const double delay = numerics::two_pi * decades(-1.0, std::log10(5.0)) / unit_;
    const double attenuation = decades(-2.0, 0.0);  // nepers at the end of the band
    for (std::size_t m = 0; m < n; ++m) {
      const double impedance = reference * decades(-0.3, 0.3);
      const double mode_delay = delay * (1.0 + 0.05 * numbers_());
      Line::Mode mode;
      mode.inductance = impedance * mode_delay;
      mode.capacitance = mode_delay / impedance;
      mode.skin = 2.0 * impedance * attenuation / std::sqrt(0.5 * unit_);
      mode.resistance = 0.1 * impedance * attenuation;
      mode.conductance = 0.01 * attenuation / impedance;
      line.values.push_back(mode);
    }
  }

  Circuit::Parts& parts_;
  RandomNumbers& numbers_;
  double unit_;
};

}  // namespace

Circuit::Circuit(Kind kind, std::size_t ports, std::uint64_t seed) : parts_(std::make_unique<Parts>()) {
  RandomNumbers numbers(seed);
  parts_->ports = parts_->nodes = ports;
  parts_->highest = std::pow(10.0, numbers.between(6.0, 10.6));
  Maker maker(*parts_, numbers, numerics::two_pi * parts_->highest);
  switch (kind) {
    case Kind::ladder:
      maker.ladders();
      break;
    case Kind::interconnect:
      maker.interconnect();
      break;
    case Kind::resonators:
      maker.resonators();
      break;
  }
  maker.leak();
}

Circuit::Circuit(Circuit&&) noexcept = default;
Circuit& Circuit::operator=(Circuit&&) noexcept = default;
Circuit::~Circuit() = default;

std::size_t Circuit::ports() const { return parts_->ports; }
double Circuit::highest() const { return parts_->highest; }

std::vector<std::complex<double>> Circuit::matrix(double hertz, char parameter) const {
  const std::size_t ports = parts_->ports;
  Square y = parts_->admittances({0.0L, static_cast<Real>(numerics::two_pi) * hertz});
  Square result(ports);
  if (parameter == 'Z') {
    result = leading_inverse(y, ports);
  } else {
    // Behind the references no network is singular: S = 2 Z / R - I, Y = Z^-1 - I / R.
    for (std::size_t i = 0; i < ports; ++i) {
      y(i, i) += 1.0L / reference;
    }
    result = leading_inverse(y, ports);
    if (parameter == 'Y') {
      result = leading_inverse(result, ports);
    }
    for (std::size_t i = 0; i < ports; ++i) {
      for (std::size_t j = 0; j < ports; ++j) {
        const Real one = i == j ? 1.0L : 0.0L;
        result(i, j) =
            parameter == 'Y' ? result(i, j) - one / reference : 2.0L / reference * result(i, j) - one;
      }
    }
  }
  std::vector<std::complex<double>> values;
  for (const Complex value : result.elements) {
    values.emplace_back(static_cast<double>(value.real()), static_cast<double>(value.imag()));
  }
  return values;
}

Network sampled(const Circuit& circuit, std::vector<double> frequencies, char parameter) {
  const std::size_t elements = circuit.ports() * circuit.ports();
  Network network;
  network.file = "passive.s" + std::to_string(circuit.ports()) + "p";
  network.matrix = NetworkMatrix{parameter, std::vector<double>(circuit.ports(), reference),
                                 all_elements(circuit.ports())};
  for (const MatrixElement& element : network.matrix->elements) {
    network.names.push_back(element_name(parameter, element, circuit.ports()));
  }
  network.values.resize(elements * frequencies.size());
  for (std::size_t k = 0; k < frequencies.size(); ++k) {
    const std::vector<std::complex<double>> values = circuit.matrix(frequencies[k], parameter);
    for (std::size_t r = 0; r < elements; ++r) {
      network.values[r * frequencies.size() + k] = values[r];
    }
  }
  network.frequencies = std::move(frequencies);
  return network;
}

Network passive_network(std::uint64_t seed, std::size_t ports, std::size_t samples, char parameter) {
  return passive_network(kinds[seed % kinds.size()], seed, ports, samples, parameter);
}

Network passive_network(Kind kind, std::uint64_t seed, std::size_t ports, std::size_t samples,
                        char parameter) {
  const Circuit circuit(kind, ports, seed);
  RandomNumbers numbers(seed + 1);
  const bool logarithmic = numbers.below(3) == 0;
  const double decades = numbers.between(1.0, 4.0);
  std::vector<double> frequencies;
  for (std::size_t k = 1; k <= samples; ++k) {
    const double place = static_cast<double>(k) / static_cast<double>(samples);
    frequencies.push_back(circuit.highest() *
                          (logarithmic ? std::pow(10.0, decades * (place - 1.0)) : place));
  }
  return sampled(circuit, std::move(frequencies), parameter);
}

void add_noise(Network& network, double relative, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  double largest = 0.0;
  for (const std::complex<double> value : network.values) {
    largest = std::max(largest, std::abs(value));
  }
  for (std::complex<double>& value : network.values) {
    value += relative * largest * numbers.complex();
  }
}

}  // namespace polefit::passive_networks
