/// Any model and samples with any names are drawn: the script is of a bounded size, its numbers are finite,
/// and no name can change anything of it but the text that is shown.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/models.hpp"
#include "polefit/error.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "polefit_cli/pictures/time_script.hpp"
#include "text/number_text.hpp"

namespace {

using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;

/// A script without what stands between its double quotes, of which each must end in its line, with nothing
/// in it that the script's language looks at.
std::string skeleton_of(const std::string& script) {
  std::string skeleton;
  char quote = '\0';
  for (std::size_t i = 0; i < script.size(); ++i) {
    const char c = script[i];
    const auto code = static_cast<unsigned char>(c);
    check(c == '\n' || (code >= 0x20 && code != 0x7F), "there are no control characters");
    if (quote == '"' && c != '"') {
      check(c != '\n' && c != '`' && c != '$' && c != '@' && c != '{' && c != '}' && c != '\'' && c != '#',
            "a text from outside holds nothing that means something");
      if (c == '\\') {
        check(i + 3 < script.size(), "an escape is complete");
        for (std::size_t digit = i + 1; digit < i + 4; ++digit) {
          check(script[digit] >= '0' && script[digit] <= '7', "an escape is one of octal digits");
        }
      }
      continue;
    }
    skeleton += c;
    if (c == '\n') {
      check(quote == '\0', "a text ends in its line");
    } else if (quote == c) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    }
  }
  check(quote == '\0', "each text ends");
  return skeleton;
}

/// Words of a script outside of quotes that are numbers are finite; lines of data are two of them.
void check_numbers(const std::string& skeleton) {
  bool in_data = false;
  std::size_t begin = 0;
  while (begin < skeleton.size()) {
    const std::size_t end = skeleton.find('\n', begin);
    const std::string line = skeleton.substr(begin, end - begin);
    begin = end + 1;
    if (in_data && line != "END") {
      const std::size_t blank = line.find(' ');
      double x = 0.0;
      double y = 0.0;
      check(line.empty() || (blank != std::string::npos && text::parse_real(line.substr(0, blank), x)),
            "a line of data begins with a number");
      // A third column may be there: behind it nothing is looked at but that it is finite.
      std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
      while (!rest.empty()) {
        const std::size_t next = std::min(rest.find(' '), rest.size());
        check(text::parse_real(rest.substr(0, next), y) && std::isfinite(y), "data are finite numbers");
        rest.erase(0, next + 1);
      }
      check(std::isfinite(x), "data are at finite numbers");
      continue;
    }
    in_data = line.starts_with("$") && line.ends_with("<< END");
    for (const char* const word : {"inf", "-nan", "[nan", ":nan", " nan"}) {
      check(line.find(word) == std::string::npos, "there are no infinite numbers");
    }
  }
}

using polefit_cli::PictureFormat;
using Script = std::function<std::string()>;

void check_script(const Script& script, const Script& with_plain_texts) {
  const std::string found = script();
  check(found.size() < 4'000'000, "a script has a bounded size");
  check(found.ends_with("unset multiplot\n"), "a script is complete");
  const std::string skeleton = skeleton_of(found);
  check(skeleton == skeleton_of(with_plain_texts()), "texts change nothing but what is shown");
  check_numbers(skeleton);
}

std::string plain(const std::string& text) { return text.empty() ? "" : "a"; }

void draw_fit(const polefit::Model& model, const polefit::Network& network, const std::string& title,
              PictureFormat format) {
  std::vector<polefit_cli::MatchedResponse> responses;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    responses.push_back({r, r});
  }
  const polefit_cli::FitPicture picture = polefit_cli::fit_picture(model, network, responses, title);
  polefit_cli::FitPicture other = picture;
  other.title = plain(title);
  for (polefit_cli::ResponsePanel& panel : other.panels) {
    panel.name = plain(panel.name);
  }
  check_script([&] { return fit_script(picture, format); }, [&] { return fit_script(other, format); });
}

void draw_poles(const polefit::Model& model, const std::string& title, PictureFormat format) {
  const polefit_cli::PolePicture picture = polefit_cli::pole_picture(model, title);
  polefit_cli::PolePicture other = picture;
  other.title = plain(title);
  check_script([&] { return pole_script(picture, format); }, [&] { return pole_script(other, format); });
}

void draw_passivity(const polefit::Model& model, const std::string& title, PictureFormat format) {
  polefit_cli::PassivityPicture picture;
  try {
    picture = polefit_cli::passivity_picture(model, polefit::passivity(model), title, title);
  } catch (const polefit::Error& error) {
    check(error.kind() == polefit::ErrorKind::bad_shape, "what is refused is a model that cannot be judged");
    return;
  }
  polefit_cli::PassivityPicture other = picture;
  other.title = plain(title);
  other.verdict = plain(picture.verdict);
  check_script([&] { return passivity_script(picture, format); },
               [&] { return passivity_script(other, format); });
}

/// Curves whose values are the parts of a network's, and the density of an eye of as many.
void draw_times(const polefit::Network& network, const std::string& title, PictureFormat format) {
  polefit_cli::TimePicture picture;
  picture.title = title;
  picture.quantity = "voltage / V";
  picture.times = network.frequencies;
  std::sort(picture.times.begin(), picture.times.end());
  const std::size_t count = picture.times.size();
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    polefit_cli::TimeCurve& curve = picture.curves.emplace_back();
    curve.name = network.names[r];
    for (std::size_t k = 0; k < count; ++k) {
      curve.values.push_back(network.values[r * count + k].real());
    }
  }
  const double first = network.values.front().imag();
  if (first < 0.0) {
    picture.level = first;
  } else {
    picture.distance = polefit_cli::TimePicture::Distance{first, picture.times.front()};
  }
  polefit_cli::TimePicture other = picture;
  other.title = plain(title);
  for (polefit_cli::TimeCurve& curve : other.curves) {
    curve.name = plain(curve.name);
  }
  // Names stand side by side: those of another width move the ones behind them.
  for (std::size_t i = 0; i + 1 < picture.curves.size(); ++i) {
    picture.curves[i].name = other.curves[i].name;
  }
  check_script([&] { return time_script(picture, format); }, [&] { return time_script(other, format); });

  if (count < 2) {
    return;  // an eye has more columns than one
  }
  polefit_cli::EyePicture eye;
  eye.title = title;
  eye.verdict = title;
  eye.interval = std::max(1e-15, std::abs(picture.times.back()));
  eye.columns = count;
  eye.rows = network.names.size();
  eye.low = std::min(first, network.values.back().real());
  eye.high = std::max(first, network.values.back().real());
  for (const std::complex<double> value : network.values) {
    eye.hits.push_back(std::abs(value.real()));
  }
  if (first > 0.0) {
    eye.opening = polefit_cli::EyePicture::Opening{-0.5, 0.5, first, eye.low, eye.high};
  }
  polefit_cli::EyePicture plain_eye = eye;
  plain_eye.title = plain(title);
  plain_eye.verdict = plain(title);
  check_script([&] { return eye_script(eye, format); }, [&] { return eye_script(plain_eye, format); });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const int choices = bytes.take<std::uint8_t>();
  const bool any = (choices & 1) != 0;
  const std::string title = s_solver::fuzz::text_of(bytes, 60);
  const auto ports = static_cast<std::size_t>(1 + bytes.take_up_to(1));
  std::vector<std::string> names;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    names.push_back(s_solver::fuzz::text_of(bytes, 12));
  }
  polefit::Model model = s_solver::fuzz::model_of(
      bytes,
      {.any = any, .whole = true, .ports = ports, .most_poles = 3, .proportional = (choices & 2) != 0});
  for (std::complex<double>& pole : model.poles) {
    pole = (choices & 4) != 0 ? std::complex(-std::abs(pole.real()), pole.imag()) : pole;
  }
  if ((choices & 8) != 0) {
    double lowest = std::abs(s_solver::fuzz::finite_number(bytes, any));
    double highest = std::abs(s_solver::fuzz::finite_number(bytes, any));
    model.origin = {.lowest = std::min(lowest, highest),
                    .highest = std::max(lowest, highest),
                    .samples = 3,
                    .errors = std::vector<polefit::ResponseError>(ports * ports)};
  }
  polefit::Network network;
  network.file = "network";
  network.matrix = model.network;
  network.names = names;
  const int samples = 1 + bytes.take_up_to(5);
  for (int k = 0; k < samples; ++k) {
    network.frequencies.push_back(std::abs(s_solver::fuzz::finite_number(bytes, any)));
  }
  for (std::size_t i = 0; i < ports * ports * network.frequencies.size(); ++i) {
    const double real = s_solver::fuzz::finite_number(bytes, any);
    network.values.emplace_back(real, s_solver::fuzz::finite_number(bytes, any));
  }
  // They differ in little but the first lines.
  const auto format = static_cast<PictureFormat>((choices >> 4) % 3);
  switch (choices >> 6) {
    case 0:
      draw_poles(model, title, format);
      break;
    case 1:
      draw_passivity(model, title, format);
      break;
    case 2:
      draw_times(network, title, format);
      break;
    default:
      draw_fit(model, network, title, format);
  }
  return 0;
}
