#include "polefit_cli/pictures/picture.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <utility>

#include "polefit/error.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

// Wider than any picture is in points, so that straight pieces look like a curve.
constexpr std::size_t grid_points = 1200;

// Places around a resonance, in units of its half width, between which it is drawn straight.
constexpr std::array resonance_points = {-20.0, -8.0, -5.0, -3.0, -2.0, -1.5, -1.0, -0.7, -0.4, -0.2, 0.0,
                                         0.2,   0.4,  0.7,  1.0,  1.5,  2.0,  3.0,  5.0,  8.0,  20.0};

// Of an interval in which a model is not passive, its ends among them.
constexpr std::size_t violation_points = 9;
// Of the violation that goes least far, the distances from the limit that are shown.
constexpr double finest_part = 0.01;

bool finite(std::complex<double> z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

std::string unit_of(const polefit::Network& network) {
  const char parameter = network.matrix ? network.matrix->parameter : 'S';
  return parameter == 'Z' ? "Ω" : parameter == 'Y' ? "S" : "";
}

/// Whether samples in ascending order crowd at the low end of a wide band, as those of a logarithmic sweep.
bool is_logarithmic_sweep(std::span<const double> ascending) {
  const auto positive = std::upper_bound(ascending.begin(), ascending.end(), 0.0);
  if (positive == ascending.end() || ascending.back() < 100.0 * *positive) {
    return false;
  }
  const auto low = std::upper_bound(positive, ascending.end(), ascending.back() / 5.0);
  return 2 * (low - positive) >= ascending.end() - positive;
}

/// Without what lies outside, and each once.
void keep_ascending_within(double low, double high, std::vector<double>& grid) {
  std::erase_if(grid, [&](double f) { return !(f >= low && f <= high); });
  std::sort(grid.begin(), grid.end());
  grid.erase(std::unique(grid.begin(), grid.end()), grid.end());
}

/// Evenly spaced on the axis, and closer where a resonance of the model is narrower than that.
std::vector<double> fine_grid(const polefit::Model& model, double low, double high, bool logarithmic) {
  std::vector<double> grid;
  const auto last = static_cast<double>(grid_points - 1);
  for (std::size_t i = 0; i < grid_points; ++i) {
    const double part = static_cast<double>(i) / last;
    grid.push_back(logarithmic ? low * std::pow(high / low, part) : low + part * (high - low));
  }
  for (const std::complex<double> pole : model.poles) {
    const double center = pole.imag() / (2.0 * std::numbers::pi);
    const double half_width = std::abs(pole.real()) / (2.0 * std::numbers::pi);
    const double spacing = logarithmic ? center * std::log(high / low) / last : (high - low) / last;
    if (center > 0.0 && half_width < 4.0 * spacing) {
      for (const double place : resonance_points) {
        grid.push_back(center + place * half_width);
      }
    }
  }
  grid.insert(grid.end(), {low, high});
  keep_ascending_within(low, high, grid);
  return grid;
}

/// Those that `passivity_picture` shows.
Band frequencies_worth_showing(const polefit::Model& model, const polefit::Passivity& passivity,
                               const std::optional<Band>& band) {
  constexpr double beyond = 10.0;
  constexpr double farthest = 1e6;
  constexpr double most_hertz = 1e290;  // and the least the inverse, so that nothing overflows
  double low = std::numeric_limits<double>::infinity();
  double high = 0.0;
  const auto within = [&](double frequency) { return std::clamp(frequency, 1.0 / most_hertz, most_hertz); };
  const auto include = [&](double frequency) {
    if (frequency > 0.0 && std::isfinite(frequency)) {
      low = std::min(low, within(frequency));
      high = std::max(high, within(frequency));
    }
  };
  for (const std::complex<double> pole : model.poles) {
    include(std::abs(pole) / (2.0 * std::numbers::pi));
  }
  for (const polefit::Violation& violation : passivity.violations) {
    include(violation.lowest);
    include(violation.highest);
  }
  if (band) {
    include(band->lowest);
    include(band->highest);
  }
  if (high == 0.0) {
    return {0.1, 10.0};  // a constant has no frequency of its own
  }
  if (band && band->highest > 0.0) {
    const double lowest = band->lowest > 0.0 ? band->lowest : band->highest;
    low = std::max(low, within(lowest) / farthest);
    high = std::min(high, within(band->highest) * farthest);
  }
  return {low / beyond, high * beyond};
}

/// Of the violation that goes least far.
double least_excess(const std::vector<polefit::Violation>& violations, double limit) {
  double least = std::numeric_limits<double>::infinity();
  for (const polefit::Violation& violation : violations) {
    least = std::min(least, std::abs(violation.worst - limit));
  }
  return least;
}

/// The model with these responses alone, so that the others need not be evaluated.
polefit::Model part_of(const polefit::Model& model, std::span<const MatchedResponse> responses) {
  polefit::Model part;
  part.poles = model.poles;
  for (const MatchedResponse& response : responses) {
    assert(response.in_model < model.responses());
    const auto residues = model.residues_of(response.in_model);
    part.residues.insert(part.residues.end(), residues.begin(), residues.end());
    part.constants.push_back(model.constants[response.in_model]);
    part.proportionals.push_back(model.proportionals[response.in_model]);
  }
  return part;
}

std::vector<std::complex<double>> slice(const std::vector<std::complex<double>>& values, std::size_t response,
                                        std::size_t length) {
  const auto begin = values.begin() + static_cast<std::ptrdiff_t>(response * length);
  return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

double root_mean_square(const ResponsePanel& panel) {
  double norm = 0.0;
  for (std::size_t k = 0; k < panel.data.size(); ++k) {
    norm = std::hypot(norm, std::abs(panel.data[k] - panel.fit[k]));
  }
  return norm / std::sqrt(static_cast<double>(panel.data.size()));
}

void check_count(std::size_t responses) {
  if (responses == 0 || responses > most_panels) {
    throw text::IoError({.file = "the picture",
                         .found = std::to_string(responses) + " responses to draw",
                         .expected = "1 to " + std::to_string(most_panels) + ", chosen with --responses"});
  }
}

}  // namespace

PictureFormat picture_format(const std::string& file_name) {
  const std::size_t dot = file_name.rfind('.');
  std::string ending = file_name == "-" ? "svg" : dot == std::string::npos ? "" : file_name.substr(dot + 1);
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (ending == "svg") {
    return PictureFormat::svg;
  }
  if (ending == "png") {
    return PictureFormat::png;
  }
  if (ending == "pdf") {
    return PictureFormat::pdf;
  }
  throw text::IoError({.file = file_name,
                       .found = "a name that does not tell the format of the picture",
                       .expected = "one that ends in .svg, .png or .pdf"});
}

FitPicture fit_picture(const polefit::Model& model, const polefit::Network& network,
                       std::span<const MatchedResponse> responses, std::string title) {
  check_count(responses.size());
  const std::size_t samples = network.frequencies.size();
  if (samples == 0) {
    throw text::IoError({.file = network.file, .found = "no samples", .expected = "samples to draw"});
  }
  std::vector<std::size_t> order(samples);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return network.frequencies[a] < network.frequencies[b];
  });

  FitPicture picture;
  picture.title = std::move(title);
  picture.unit = unit_of(network);
  for (const std::size_t k : order) {
    picture.frequencies.push_back(network.frequencies[k]);
  }
  picture.logarithmic = is_logarithmic_sweep(picture.frequencies);
  const double low = picture.logarithmic
                         ? *std::upper_bound(picture.frequencies.begin(), picture.frequencies.end(), 0.0)
                         : picture.frequencies.front();
  picture.grid = fine_grid(model, low, picture.frequencies.back(), picture.logarithmic);

  const polefit::Model part = part_of(model, responses);
  const auto fits = evaluate(part, picture.frequencies);
  const auto curves = evaluate(part, picture.grid);
  for (std::size_t r = 0; r < responses.size(); ++r) {
    const std::size_t in_network = responses[r].in_network;
    assert(in_network < network.names.size());
    ResponsePanel panel;
    panel.name = network.names[in_network];
    for (const std::size_t k : order) {
      panel.data.push_back(network.values[in_network * samples + k]);
    }
    panel.fit = slice(fits, r, samples);
    panel.curve = slice(curves, r, picture.grid.size());
    panel.rms = root_mean_square(panel);
    picture.panels.push_back(std::move(panel));
  }
  return picture;
}

std::vector<std::size_t> worst_responses(std::span<const double> errors, std::size_t count) {
  std::vector<std::size_t> order(errors.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto size = [&](std::size_t r) {
    return std::isnan(errors[r]) ? std::numeric_limits<double>::infinity() : errors[r];
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return size(a) > size(b); });
  order.resize(std::min(count, order.size()));
  return order;
}

PolePicture pole_picture(const polefit::Model& model, std::string title) {
  PolePicture picture;
  picture.title = std::move(title);
  if (model.origin && model.origin->samples > 0) {
    picture.band = Band{model.origin->lowest, model.origin->highest};
  }
  std::vector<double> heights;
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    double size = 0.0;
    for (std::size_t r = 0; r < model.responses(); ++r) {
      size = std::hypot(size, std::abs(model.residues_of(r)[i]));
    }
    const std::complex<double> pole = model.poles[i] / (2.0 * std::numbers::pi);
    if (!finite(pole) || !std::isfinite(size)) {
      throw polefit::Error(polefit::ErrorKind::bad_shape,
                           "found pole " + std::to_string(i + 1) +
                               " or a residue that is not a finite number, expected finite ones to draw");
    }
    picture.poles.push_back({pole.real(), pole.imag(), 0.0});
    heights.push_back(size == 0.0 ? 0.0 : size / std::abs(model.poles[i].real()));
  }
  const double highest = heights.empty() ? 0.0 : *std::max_element(heights.begin(), heights.end());
  for (std::size_t i = 0; i < heights.size(); ++i) {
    // Equal ones are at the top, also two infinite ones; a height of zero makes a logarithm of -infinity.
    picture.poles[i].weight =
        heights[i] == highest ? 0.0 : std::max(20.0 * std::log10(heights[i] / highest), least_weight);
  }
  return picture;
}

PassivityPicture passivity_picture(const polefit::Model& model, const polefit::Passivity& passivity,
                                   std::string title, std::string verdict) {
  PassivityPicture picture;
  picture.title = std::move(title);
  picture.verdict = std::move(verdict);
  picture.parameter = model.network->parameter;
  picture.passive = passivity.passive;
  picture.limit = picture.parameter == 'S' ? 1.0 : 0.0;
  if (model.origin && model.origin->samples > 0) {
    picture.band = Band{model.origin->lowest, model.origin->highest};
  }
  const Band shown = frequencies_worth_showing(model, passivity, picture.band);
  picture.grid = fine_grid(model, shown.lowest, shown.highest, true);
  if (!passivity.violations.empty()) {
    picture.finest_distance = finest_part * least_excess(passivity.violations, picture.limit);
  }
  for (const polefit::Violation& violation : passivity.violations) {
    const Band part{std::max(violation.lowest, shown.lowest), std::min(violation.highest, shown.highest)};
    if (part.lowest < part.highest) {
      picture.violations.push_back(part);
      for (std::size_t i = 0; i < violation_points; ++i) {
        const double place = static_cast<double>(i) / static_cast<double>(violation_points - 1);
        picture.grid.push_back(part.lowest * std::pow(part.highest / part.lowest, place));
      }
      picture.grid.push_back(violation.frequency);
    }
  }
  picture.grid.push_back(passivity.frequency);
  keep_ascending_within(shown.lowest, shown.highest, picture.grid);
  picture.curve = polefit::passivity_curve(model, picture.grid);
  return picture;
}

}  // namespace polefit_cli
