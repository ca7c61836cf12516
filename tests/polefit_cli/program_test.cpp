/// Whole runs of the command, as a user has them: exit status, messages, files.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"
#include "run_program.hpp"
#include "support.hpp"

namespace {

using namespace testing_support;

using Complex = std::complex<double>;

/// A model with one real pole and one pair whose S parameters are small enough for a passive network.
polefit::Model two_port() {
  polefit::Model model;
  const Complex pair(-numerics::two_pi * 5e7, numerics::two_pi * 2e9);
  model.poles = {-numerics::two_pi * 1e9, pair, std::conj(pair)};
  for (int r = 0; r < 4; ++r) {
    const Complex residue = pair.real() * Complex(0.2 + 0.1 * r, 0.05);
    model.residues.insert(model.residues.end(),
                          {numerics::two_pi * 1e8 * (1.0 + r), residue, std::conj(residue)});
    model.constants.push_back(0.1 - 0.02 * r);
    model.proportionals.push_back(0.0);
  }
  return model;
}

class Program : public InOwnDirectory {
 protected:
  void SetUp() override {
    InOwnDirectory::SetUp();
    std::string text = "! two ports\n# GHz S RI R 50\n";
    for (int k = 0; k <= 200; ++k) {
      const double frequency = 0.02 * k;
      const std::vector<double> hertz{frequency * 1e9};
      const std::vector<Complex> values = polefit::evaluate(two_port(), hertz);
      std::array<char, 300> line;
      // S11 S21 S12 S22
      std::snprintf(line.data(), line.size(), "%.17g %.17g %.17g %.17g %.17g %.17g %.17g %.17g %.17g\n",
                    frequency, values[0].real(), values[0].imag(), values[2].real(), values[2].imag(),
                    values[1].real(), values[1].imag(), values[3].real(), values[3].imag());
      text += line.data();
    }
    write("filter.s2p", text);
  }

  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static int run(
      const std::vector<std::string>& arguments, const std::function<void()>& surroundings = [] {}) {
    return run_program(POLEFIT_PROGRAM, arguments, ".", surroundings);
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }

  /// One line on standard error that begins with the program and holds `part`; exit status 2.
  static void expect_refusal(const std::vector<std::string>& arguments, const std::string& part) {
    EXPECT_EQ(run(arguments), 2);
    const std::string text = errors();
    EXPECT_EQ(lines_of(text).size(), 1U) << text;
    EXPECT_TRUE(text.starts_with("polefit: ")) << text;
    EXPECT_NE(text.find(part), std::string::npos) << text;
    EXPECT_EQ(output(), "");
  }
};

std::function<void()> input_from(const char* file) {
  return [file] { dup2(open(file, O_RDONLY), STDIN_FILENO); };
}

TEST_F(Program, a_fit_writes_a_model_of_the_network_and_tells_how_good_it_is) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "--real", "1", "-o", "m.json"}), 0);
  EXPECT_EQ(errors(), "");
  EXPECT_NE(output().find("3 poles (1 conjugate pair, 1 real)"), std::string::npos) << output();
  const polefit::Model found = polefit::load("m.json");
  EXPECT_EQ(found.names, (std::vector<std::string>{"S11", "S12", "S21", "S22"}));
  ASSERT_TRUE(found.network);
  EXPECT_EQ(found.network->parameter, 'S');
  EXPECT_EQ(found.network->references, (std::vector<double>{50, 50}));
  ASSERT_TRUE(found.origin);
  EXPECT_EQ(found.origin->samples, 201U);
  EXPECT_EQ(found.origin->highest, 4e9);
  ASSERT_EQ(found.poles.size(), 3U);
  const std::vector<double> somewhere{1.234e9, 2.0e9};
  const std::vector<Complex> values = polefit::evaluate(found, somewhere);
  const std::vector<Complex> expected = polefit::evaluate(two_port(), somewhere);
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_LE(std::abs(values[i] - expected[i]), 1e-10);  // exact data; the condition of three poles is good
  }
}

/// A table of a response of one real pole, times `unit`, from 0 Hz on.
std::string table_in_units_of(const std::string& parameter, double unit) {
  std::string text = "frequency," + parameter + "11 re," + parameter + "11 im\n";
  for (int k = 0; k <= 40; ++k) {
    const Complex value = unit * (0.2 + 0.6 / Complex(1.0, 0.1 * k));
    std::array<char, 100> line;
    std::snprintf(line.data(), line.size(), "%d,%.17g,%.17g\n", k, value.real(), value.imag());
    text += line.data();
  }
  return text;
}

TEST_F(Program, tables_have_no_undefined_numbers_whatever_the_size_of_the_data) {
  for (const double unit : {0x1p-1074, 4e-310, 1e-300, 1e-160, 1e160, 1e300}) {
    for (const char* const parameter : {"S", "Y", "Z"}) {
      write("net.csv", table_in_units_of(parameter, unit));
      for (const std::vector<std::string>& choice : std::vector<std::vector<std::string>>{
               {}, {"--poles", "1", "--real", "1"}, {"--no-passive"}, {"--weights", "relative"}}) {
        std::vector<std::string> arguments{"fit", "net.csv"};
        arguments.insert(arguments.end(), choice.begin(), choice.end());
        const int status = run(arguments);
        EXPECT_TRUE(status == 0 || status == 1) << errors();
        EXPECT_EQ(output().find("nan"), std::string::npos) << unit << output();
        EXPECT_EQ(output().find(" inf"), std::string::npos) << unit << output();
        // One pole follows what has as many digits as other data; whether Y and Z beyond 1e-100 and 1e100 are
        // passive cannot be told.
        const bool told = *parameter == 'S' || choice == std::vector<std::string>{"--no-passive"};
        EXPECT_TRUE(status == 0 || !told || unit == 0x1p-1074) << unit << output();
      }
    }
  }
}

TEST_F(Program, exact_values_at_zero_hertz_that_no_model_has_are_refused_with_a_reason) {
  const std::string head = "frequency,S11 re,S11 im\n";
  const std::string tail = "1,0.4,0.1\n2,0.3,0.1\n3,0.2,0.1\n4,0.1,0.1\n";
  write("complex.csv", head + "0,0.5,0.25\n" + tail);
  expect_refusal({"fit", "complex.csv", "--exact-dc"},
                 "complex.csv: the value at 0 Hz of response 0 (counted from 0) cannot be exact: it has an "
                 "imaginary part of 0.25");
  write("twice.csv", head + "0,0.5,0\n0,0.75,0\n" + tail);
  expect_refusal(
      {"fit", "twice.csv", "--exact-dc", "--poles", "1"},
      "twice.csv: the value at 0 Hz of response 0 (counted from 0) cannot be exact: samples 0 and 1");
  write("net.csv", head + "0,0.5,0\n" + tail);
  expect_refusal({"fit", "net.csv", "--exact-dc", "--poles", "0", "--no-constant"},
                 "net.csv: the value at 0 Hz of response 0 (counted from 0) cannot be exact: a model without "
                 "poles and constant is 0 there");
}

TEST_F(Program, values_without_a_grid_are_those_of_201_frequencies_of_the_band) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-o", "m.json"}), 0);
  ASSERT_EQ(run({"eval", "m.json"}), 0);
  EXPECT_EQ(lines_of(output()).size(), 202U);  // with the heading
}

TEST_F(Program, the_help_fits_into_a_hundred_columns) {
  for (const char* const command : {"fit", "eval", "plot", "export", "info", "passivity", "time"}) {
    ASSERT_EQ(run({command, "--help"}), 0);
    for (const std::string& line : lines_of(output())) {
      // Its last line and its usage are sentences of any length.
      const bool described = line.starts_with("  ") && !line.starts_with("  polefit ");
      EXPECT_TRUE(!described || line.size() <= 100) << line;
    }
  }
}

TEST_F(Program, without_an_order_one_is_searched_for) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--error", "1e-6", "-o", "m.json"}), 0);
  EXPECT_NE(output().find("target of 1e-06 met"), std::string::npos) << output();
  EXPECT_LE(polefit::load("m.json").poles.size(), 6U);
}

TEST_F(Program, a_fit_that_does_not_converge_has_a_status_of_its_own_and_writes_the_model) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "4", "--iterations", "1", "-o", "m.json"}), 1);
  EXPECT_NE(output().find("limit on iterations"), std::string::npos);
  EXPECT_TRUE(std::filesystem::exists("m.json"));
  EXPECT_EQ(run({"fit", "filter.s2p", "--error", "1e-9", "--max-poles", "2", "-o", "n.json"}), 1);
  EXPECT_NE(output().find("not met"), std::string::npos);
}

TEST_F(Program, a_fit_of_given_order_that_is_of_no_use_has_the_status_of_one_that_does_not_converge) {
  // Two resonances, of which one pair follows one.
  std::string text = "# GHz S RI R 50\n";
  for (int k = 1; k <= 100; ++k) {
    const Complex s(0.0, 0.1 * k);
    const Complex value = 0.1 / (s - Complex(-0.1, 3.0)) + 0.1 / (s - Complex(-0.1, -3.0)) +
                          0.1 / (s - Complex(-0.1, 7.0)) + 0.1 / (s - Complex(-0.1, -7.0));
    text += std::to_string(0.1 * k) + " " + std::to_string(value.real()) + " " +
            std::to_string(value.imag()) + "\n";
  }
  write("two.s1p", text);
  EXPECT_EQ(run({"fit", "two.s1p", "--poles", "2", "--write-anyway", "-q", "-o", "m.json"}), 1);
  EXPECT_EQ(output() + errors(), "");
  EXPECT_EQ(run({"fit", "two.s1p", "--poles", "2"}), 1);
  EXPECT_NE(output().find("it does not follow the data: the error is 0."), std::string::npos) << output();
  EXPECT_EQ(run({"fit", "two.s1p", "--poles", "4", "-q"}), 0);
}

TEST_F(Program, a_target_beside_an_order_decides_the_status) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "--real", "1", "--error", "1e-6", "-q"}), 0);
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "2", "--error", "1e-6"}), 1);
  EXPECT_NE(output().find("target of 1e-06 not met"), std::string::npos) << output();
}

TEST_F(Program, a_model_that_neither_fits_nor_stays_below_the_data_is_written_only_when_asked) {
  // A delay of 20 ns every 45 MHz: nothing can be made of it.
  std::ofstream file("delay.s1p");
  file << "# HZ S RI R 50\n";
  for (int k = 1; k <= 201; ++k) {
    const double frequency = 45e6 * k;
    const Complex value = std::polar(0.9, -numerics::two_pi * frequency * 20e-9);
    file << frequency << ' ' << value.real() << ' ' << value.imag() << '\n';
  }
  file.close();
  const std::vector<std::string> fit{"fit", "delay.s1p", "--poles", "20", "--no-passive", "-o", "m.json"};
  EXPECT_EQ(run(fit), 2);
  EXPECT_NE(errors().find("m.json: found a model that does not fit and amplifies up to"), std::string::npos);
  EXPECT_NE(output().find("times the largest value of the data"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists("m.json"));
  std::vector<std::string> anyway = fit;
  anyway.emplace_back("--write-anyway");
  EXPECT_NE(run(anyway), 2);
  EXPECT_TRUE(std::filesystem::exists("m.json"));
  // A passive model cannot amplify, however badly it fits.
  std::filesystem::remove("m.json");
  EXPECT_NE(run({"fit", "delay.s1p", "--poles", "20", "-o", "m.json"}), 2) << errors();
  EXPECT_EQ(output().find("times the largest value of the data"), std::string::npos) << output();
  EXPECT_EQ(run({"passivity", "m.json"}), 0) << output();
}

TEST_F(Program, every_example_gets_a_good_model_without_an_option) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "takes minutes under the sanitizers";
  }
  for (const char* const example : {"band_pass/two_port.s2p", "interconnect/interconnect.s4p",
                                    "power_distribution/power_distribution.s1p"}) {
    SCOPED_TRACE(example);
    const std::filesystem::path file = std::filesystem::path(POLEFIT_SOURCE_FOLDER) / "examples" / example;
    EXPECT_EQ(run({"fit", file.string(), "-o", "m.json"}), 0) << output();
    const polefit::Model found = polefit::load("m.json");
    ASSERT_TRUE(found.origin);
    // The target is that of all responses together.
    double squares = 0.0;
    for (const polefit::ResponseError& error : found.origin->errors) {
      squares += error.relative * error.relative;
    }
    EXPECT_LE(std::sqrt(squares / static_cast<double>(found.responses())), 1e-3);
    EXPECT_LE(found.poles.size(), 60U);
    EXPECT_EQ(run({"export", "m.json", "--spice"}), 0) << errors();
  }
}

TEST_F(Program, a_quiet_fit_prints_nothing) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  EXPECT_EQ(output(), "");
  EXPECT_EQ(errors(), "");
}

/// A pseudo-terminal.
class Terminal {
 public:
  Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    const bool ready = master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0;
    const char* const name = ready ? ptsname(master_) : nullptr;
    end_ = name != nullptr ? open(name, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    close(end_);
    close(master_);
  }
  /// Not where no file system of terminals is mounted.
  bool is_open() const { return end_ >= 0; }
  int end() const { return end_; }

  /// What has been written to it.
  std::string text() const {
    std::array<char, 4096> text;
    fcntl(master_, F_SETFL, O_NONBLOCK);
    const ssize_t length = read(master_, text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  }

 private:
  int master_;
  int end_ = -1;
};

TEST_F(Program, progress_is_shown_on_a_terminal_and_taken_away) {
  const Terminal terminal;
  if (!terminal.is_open()) {
    GTEST_SKIP() << "the system gives no pseudo-terminal";
  }
  const auto to_terminal = [&] { dup2(terminal.end(), STDERR_FILENO); };
  std::vector<std::string> fit{"fit", "filter.s2p", "--poles", "3", "-o", "m.json"};
  EXPECT_EQ(run(fit, to_terminal), 0);
  const std::string shown = terminal.text();
  EXPECT_TRUE(shown.starts_with("\r[")) << shown;
  EXPECT_NE(shown.find("iteration 1 of 30   order 3   error "), std::string::npos) << shown;
  EXPECT_TRUE(shown.ends_with("\r\033[K")) << shown;

  fit.emplace_back("--quiet");
  EXPECT_EQ(run(fit, to_terminal), 0);
  EXPECT_EQ(terminal.text(), "");
}

TEST_F(Program, the_first_interruption_ends_a_search_with_the_best_model_so_far) {
  const Terminal terminal;
  if (!terminal.is_open()) {
    GTEST_SKIP() << "the system gives no pseudo-terminal";
  }
  // A delay of 150 turns, for which seconds of a search are not enough.
  std::string text = "# Hz S RI R 50\n";
  for (int k = 1; k <= 2000; ++k) {
    const Complex value = std::polar(0.9, -numerics::two_pi * 150.0 * k / 2000.0);
    text +=
        std::to_string(k) + "e6 " + std::to_string(value.real()) + " " + std::to_string(value.imag()) + "\n";
  }
  write("delay.s1p", text);
  const auto interrupted = [&] {
    dup2(terminal.end(), STDERR_FILENO);
    const pid_t search = getpid();
    if (fork() == 0) {
      while (terminal.text().empty()) {
        usleep(1000);
      }
      kill(search, SIGINT);
      _exit(0);
    }
  };
  EXPECT_EQ(run({"fit", "delay.s1p", "--error", "1e-9", "--write-anyway", "-o", "m.json"}, interrupted), 1);
  EXPECT_NE(output().find("cancelled"), std::string::npos) << output();
  EXPECT_GT(polefit::load("m.json").poles.size(), 0U);
  EXPECT_TRUE(polefit::load("m.json").passivity->passive);
  EXPECT_EQ(run({"passivity", "m.json"}), 0) << output();
}

TEST_F(Program, the_standard_streams_carry_network_and_model) {
  EXPECT_EQ(run({"fit", "-", "--format", "csv", "--poles", "1", "--error", "1", "-o", "-"},
                [] {
                  write("in.csv", "frequency (MHz),re,im\n1,1,0\n2,0.5,-0.5\n3,0.2,-0.4\n4,0.1,-0.3\n");
                  dup2(open("in.csv", O_RDONLY), STDIN_FILENO);
                }),
            0);
  const std::string model = output();
  EXPECT_NE(errors().find("standard input"), std::string::npos);
  EXPECT_EQ(polefit::model_from_json(model).poles.size(), 1U);
  write("piped.json", model);
  EXPECT_EQ(run({"eval", "-", "--grid", "1M,2M"}, input_from("piped.json")), 0);
  EXPECT_EQ(polefit::network_from_text(output(), "stdout", polefit::NetworkFormat::csv).frequencies,
            (std::vector<double>{1e6, 2e6}));
}

TEST_F(Program, samples_of_S_Solver_are_a_network_of_one_response) {
  write("f_data.in", "1e6 1 0\n2e6 0.5 -0.5\n3e6 0.2 -0.4\n4e6 0.1 -0.3\n");
  EXPECT_EQ(
      run({"fit", "f_data.in", "--poles", "2", "--parameter", "Z", "--reference", "75", "-o", "m.json"}), 0);
  const polefit::Model found = polefit::load("m.json");
  ASSERT_TRUE(found.network);
  EXPECT_EQ(found.network->parameter, 'Z');
  EXPECT_EQ(found.network->references, (std::vector<double>{75}));
}

TEST_F(Program, chosen_responses_are_fitted_alone) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "--responses", "s21,S11", "-q", "-o", "m.json"}), 0);
  EXPECT_EQ(polefit::load("m.json").names, (std::vector<std::string>{"S21", "S11"}));
}

TEST_F(Program, the_value_at_zero_hertz_can_be_exact) {
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "1", "--error", "1", "--exact-dc", "-q", "-o", "m.json"}),
            0);
  const std::vector<double> zero{0.0};
  const std::vector<Complex> values = polefit::evaluate(polefit::load("m.json"), zero);
  const std::vector<Complex> expected = polefit::evaluate(two_port(), zero);
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_LE(std::abs(values[i] - expected[i]), 1e-13);  // a few terms of order 1
  }
}

TEST_F(Program, exports_read_back_to_the_same_numbers) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  const polefit::Model model = polefit::load("m.json");
  ASSERT_EQ(run({"export", "m.json", "--touchstone", "--grid", "1G:3G:11", "-o", "out.s2p"}), 0);
  const polefit::Network touchstone = polefit::read_network("out.s2p");
  EXPECT_EQ(touchstone.values, polefit::evaluate(model, touchstone.frequencies));
  EXPECT_EQ(touchstone.frequencies.size(), 11U);
  ASSERT_EQ(run({"export", "m.json", "--csv", "--grid", "1G:3G:11"}), 0);
  const polefit::Network csv = polefit::network_from_text(output(), "stdout", polefit::NetworkFormat::csv);
  EXPECT_EQ(csv.values, touchstone.values);
  EXPECT_EQ(csv.frequencies, touchstone.frequencies);
  ASSERT_EQ(run({"eval", "m.json", "--like", "filter.s2p"}), 0);
  EXPECT_EQ(polefit::network_from_text(output(), "stdout", polefit::NetworkFormat::csv).frequencies.size(),
            201U);
}

TEST_F(Program, every_export_is_made) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "low pass.json"}), 0);
  ASSERT_EQ(run({"export", "low pass.json", "--spice"}), 0);
  EXPECT_NE(output().find(".subckt low_pass "), std::string::npos) << output();
  ASSERT_EQ(run({"export", "low pass.json", "--state-space"}), 0);
  EXPECT_NE(output().find("# A 6 x 6"), std::string::npos) << output();
  ASSERT_EQ(run({"export", "low pass.json", "--s-solver", "--response", "S21", "-o", "Tarn.coe"}), 0);
  EXPECT_FALSE(content_of("Tarn.coe").empty());
  expect_refusal({"export", "low pass.json", "--s-solver"}, "expected one of S11, S12, S21, S22");
}

TEST_F(Program, a_network_of_any_number_of_ports_comes_through_a_pipe) {
  std::string text = "# Hz S RI R 50\n";
  for (int k = 1; k <= 2; ++k) {
    text += std::to_string(k);
    for (int row = 0; row < 4; ++row) {
      text += " 1 0 2 0 3 0 4 0\n";
    }
  }
  write("four.txt", text);
  EXPECT_EQ(run({"info", "-"}, input_from("four.txt")), 0) << errors();
  EXPECT_NE(output().find("4-port"), std::string::npos) << output();
}

TEST_F(Program, a_circuit_of_a_model_from_standard_input_has_a_plain_name) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  EXPECT_EQ(run({"export", "-", "--spice"}, input_from("m.json")), 0);
  EXPECT_NE(output().find(".subckt model "), std::string::npos) << output();
}

TEST_F(Program, a_reference_alone_keeps_the_parameter_that_a_one_port_has) {
  write("z.csv", "f,Z11 re,Z11 im\n1,1,0\n2,0.5,-0.5\n3,0.2,-0.4\n");
  ASSERT_EQ(run({"fit", "z.csv", "--poles", "1", "--error", "1", "--reference", "75", "-q", "-o", "z.json"}),
            0)
      << errors();
  const polefit::Model found = polefit::load("z.json");
  ASSERT_TRUE(found.network);
  EXPECT_EQ(found.network->parameter, 'Z');
  EXPECT_EQ(found.network->references, (std::vector<double>{75}));
  EXPECT_EQ(run({"export", "z.json", "--spice", "--reference", "10"}), 0) << errors();
}

TEST_F(Program, a_parameter_alone_keeps_the_reference_that_a_one_port_has) {
  write("z.s1p", "# Hz S RI R 75\n1 1 0\n2 0.5 -0.5\n3 0.2 -0.4\n");
  ASSERT_EQ(run({"fit", "z.s1p", "--poles", "1", "--error", "1", "--parameter", "S", "-q", "-o", "z.json"}),
            0)
      << errors();
  EXPECT_EQ(polefit::load("z.json").network->references, (std::vector<double>{75}));
  ASSERT_EQ(run({"export", "z.json", "--touchstone", "--parameter", "S"}), 0) << errors();
  EXPECT_NE(output().find("R 75"), std::string::npos) << output();
}

TEST_F(Program, a_refusal_of_an_export_names_the_model_file) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "--responses", "S21", "-q", "-o", "m.json"}), 0);
  expect_refusal({"export", "m.json", "--spice"}, "m.json: the model has not all elements");
}

/// A model of one response that knows neither its matrix nor its band.
std::string bare_model() {
  polefit::Model model;
  model.poles = {-1e9};
  model.residues = {1e9};
  model.constants = {0.5};
  model.proportionals = {0.0};
  return polefit::to_json(model);
}

TEST_F(Program, an_export_for_S_Solver_wants_the_band_of_the_model) {
  write("m.json", bare_model());
  expect_refusal({"export", "m.json", "--s-solver"},
                 "polefit: m.json: found no band that the model was fitted in");
}

TEST_F(Program, an_export_for_S_Solver_takes_the_frequency_that_normalises) {
  write("m.json", bare_model());
  ASSERT_EQ(run({"export", "m.json", "--s-solver", "--highest-frequency", "3GHz"}), 0) << errors();
  // The third line is 2 pi times that frequency, with as many digits as it takes to read it back.
  EXPECT_EQ(std::stod(lines_of(output()).at(2)), 3e9 * numerics::two_pi) << output();
}

TEST_F(Program, an_export_that_a_model_has_no_numbers_for_names_the_model) {
  write("m.json", bare_model());
  expect_refusal({"export", "m.json", "--s-solver", "--highest-frequency", "1e308"}, "polefit: m.json: ");
}

TEST_F(Program, frequencies_are_those_of_a_network_in_the_format_that_is_given) {
  write("m.json", bare_model());
  write("table.txt", "1 0 0\n3 0 0\n");
  ASSERT_EQ(run({"eval", "m.json", "--like", "table.txt", "--format", "samples"}), 0) << errors();
  EXPECT_EQ(polefit::network_from_text(output(), "stdout", polefit::NetworkFormat::csv).frequencies,
            (std::vector<double>{1, 3}));
  expect_refusal({"eval", "m.json", "--like", "table.txt", "--format", "csv"}, "table.txt");
}

TEST_F(Program, an_export_of_a_single_response_says_what_tells_its_parameter) {
  write("m.json", bare_model());
  for (const char* const format : {"--spice", "--touchstone"}) {
    expect_refusal({"export", "m.json", format}, "polefit: m.json: found ");
    EXPECT_NE(errors().find("--parameter"), std::string::npos) << errors();
  }
}

/// A refusal that leaves `kept` as it was.
class OutputThatIsAnInput : public Program {
 protected:
  void SetUp() override {
    Program::SetUp();
    ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
    std::string ones;
    for (int k = 0; k <= 200; ++k) {
      ones += "1 ";
    }
    write("w.txt", ones);
  }
  static void expect_kept(
      const char* kept, const std::vector<std::string>& arguments, const std::string& part,
      const std::function<void()>& surroundings = [] {}) {
    const std::string before = content_of(kept);
    EXPECT_EQ(run(arguments, surroundings), 2);
    EXPECT_EQ(lines_of(errors()).size(), 1U) << errors();
    EXPECT_NE(errors().find(part), std::string::npos) << errors();
    EXPECT_TRUE(content_of(kept) == before) << kept << " has changed";
  }
};

TEST_F(OutputThatIsAnInput, is_refused_by_every_command) {
  expect_kept("filter.s2p", {"fit", "filter.s2p", "-o", "filter.s2p"},
              "filter.s2p: found the file that is read as filter.s2p, expected another one");
  expect_kept("w.txt", {"fit", "filter.s2p", "--poles", "3", "--weights-file", "w.txt", "-o", "w.txt"},
              "w.txt");
  expect_kept("m.json", {"export", "m.json", "--spice", "-o", "m.json"}, "m.json");
  expect_kept("m.json", {"eval", "m.json", "-o", "m.json"}, "m.json");
  expect_kept("filter.s2p", {"eval", "m.json", "--like", "filter.s2p", "-o", "filter.s2p"}, "filter.s2p");
}

TEST_F(OutputThatIsAnInput, is_recognised_under_any_name) {
  std::filesystem::create_symlink("filter.s2p", "soft.svg");
  std::filesystem::create_hard_link("m.json", "hard.svg");
  expect_kept("filter.s2p", {"plot", "m.json", "filter.s2p", "-o", "soft.svg"},
              "soft.svg: found the file that is read as filter.s2p");
  expect_kept("m.json", {"plot", "m.json", "filter.s2p", "-o", "hard.svg"},
              "hard.svg: found the file that is read as m.json");
  expect_kept("m.json", {"plot", "m.json", "--poles", "-o", "hard.svg"}, "hard.svg");
  expect_kept("m.json", {"eval", "m.json", "-o", "./m.json"}, "./m.json");
}

TEST_F(OutputThatIsAnInput, is_recognised_behind_the_standard_streams) {
  const auto appended_to = [](const char* file) {
    return [file] { dup2(open(file, O_WRONLY | O_APPEND), STDOUT_FILENO); };
  };
  expect_kept("filter.s2p", {"fit", "-", "-o", "filter.s2p"},
              "filter.s2p: found the file that is read as standard input", input_from("filter.s2p"));
  expect_kept("m.json", {"eval", "m.json"}, "standard output: found the file that is read as m.json",
              appended_to("m.json"));
  expect_kept("filter.s2p", {"fit", "filter.s2p", "--poles", "3", "-o", "n.json"},
              "standard output: found the file that is read as filter.s2p", appended_to("filter.s2p"));
  expect_kept("m.json", {"info", "m.json"}, "standard output: found the file that is read as m.json",
              appended_to("m.json"));
}

TEST_F(OutputThatIsAnInput, is_not_seen_in_a_device_or_in_what_is_not_read) {
  EXPECT_EQ(run({"eval", "m.json", "-o", "table.csv"}), 0);
  EXPECT_EQ(run({"eval", "m.json", "-o", "table.csv"}, input_from("table.csv")), 0) << errors();
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "n.json"}), 0);
  EXPECT_EQ(run({"eval", "/dev/null"}, [] { dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO); }), 2);
  EXPECT_NE(errors().find("/dev/null"), std::string::npos);
  EXPECT_EQ(errors().find("is read as"), std::string::npos) << errors();
}

TEST_F(Program, touchstone_is_not_written_under_a_name_for_other_ports) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  expect_refusal({"export", "m.json", "--touchstone", "-o", "out.s4p"},
                 "out.s4p: found a name for 4 ports, expected one for the model's 2 ports");
  EXPECT_FALSE(std::filesystem::exists("out.s4p"));
  EXPECT_EQ(run({"export", "m.json", "--touchstone", "-o", "out.ts"}), 0);
}

TEST_F(Program, a_model_is_not_drawn_with_data_of_another_parameter) {
  write("z.csv", "f,Z11 re,Z11 im\n1,1,0\n2,0.5,-0.5\n3,0.2,-0.4\n");
  write("s.csv", "f,S11 re,S11 im\n1,1,0\n2,0.5,-0.5\n3,0.2,-0.4\n");
  ASSERT_EQ(run({"fit", "z.csv", "--poles", "1", "--error", "1", "-q", "-o", "z.json"}), 0);
  expect_refusal({"plot", "z.json", "s.csv", "-o", "f.svg"}, "none of the model's responses");
}

TEST_F(Program, a_byte_order_mark_does_not_hide_a_model) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  write("marked.json", "\xEF\xBB\xBF" + content_of("m.json"));
  EXPECT_EQ(run({"info", "marked.json"}), 0) << errors();
  ASSERT_EQ(run({"eval", "m.json", "--grid", "1G"}), 0) << errors();
  const std::string expected = output();
  EXPECT_EQ(run({"eval", "marked.json", "--grid", "1G"}), 0) << errors();
  EXPECT_EQ(output(), expected);
}

TEST_F(Program, tells_what_is_in_a_network_and_in_a_model) {
  ASSERT_EQ(run({"info", "filter.s2p"}), 0);
  EXPECT_NE(output().find("2-port, S parameters, reference 50 ohms"), std::string::npos) << output();
  EXPECT_NE(output().find("201 samples from 0 Hz to 4 GHz"), std::string::npos) << output();
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  ASSERT_EQ(run({"info", "m.json"}), 0);
  EXPECT_NE(output().find("model with 3 poles and 4 responses"), std::string::npos) << output();
  // The pair: 2 GHz, and |a| / 2 / 50 MHz.
  EXPECT_NE(output().find("2.00062 GHz"), std::string::npos) << output();
  EXPECT_NE(output().find("20"), std::string::npos) << output();
}

TEST_F(Program, draws_fit_and_poles) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  ASSERT_EQ(run({"plot", "m.json", "filter.s2p", "-o", "fit.svg"}), 0) << errors();
  EXPECT_NE(content_of("fit.svg").find("</svg>"), std::string::npos);
  ASSERT_EQ(run({"plot", "m.json", "--poles", "-o", "poles.svg"}), 0) << errors();
  EXPECT_NE(content_of("poles.svg").find("</svg>"), std::string::npos);
  expect_refusal({"plot", "m.json", "filter.s2p", "--responses", "S31", "-o", "fit.svg"}, "S31");
}

/// One resonance whose largest singular value is at its frequency, 2 GHz, and of that size; nothing at
/// infinity.
std::string one_port_json(double peak, char parameter = 'S') {
  polefit::Model model;
  const Complex pole(-numerics::two_pi * 1e6, numerics::two_pi * 2e9);
  model.poles = {pole, std::conj(pole)};
  model.residues = {-peak * pole.real(), -peak * pole.real()};
  model.constants = model.proportionals = {0.0};
  model.names = {std::string(1, parameter) + "11"};
  model.network = {parameter, {50.0}, {{1, 1}}};
  return polefit::to_json(model);
}

TEST_F(Program, tells_whether_a_model_is_passive_by_text_and_by_status) {
  write("passive.json", one_port_json(0.75));
  EXPECT_EQ(run({"passivity", "passive.json"}), 0) << errors();
  EXPECT_NE(output().find("  passive     yes, certified at all frequencies\n"), std::string::npos)
      << output();
  EXPECT_NE(output().find("  largest     0.75 at 2 GHz\n"), std::string::npos) << output();
  EXPECT_EQ(errors(), "");
  write("amplifying.json", one_port_json(1.25));
  EXPECT_EQ(run({"passivity", "amplifying.json"}), 1) << errors();
  EXPECT_NE(output().find("  passive     no\n"), std::string::npos) << output();
  // Where 1.25 / |1 + j x| is 1, x is 0.75, in units of 1 MHz.
  EXPECT_NE(output().find("  1.99925 GHz   2.00075 GHz                     1.25   2 GHz\n"),
            std::string::npos)
      << output();
  EXPECT_EQ(run({"passivity", "-"}, input_from("amplifying.json")), 1) << errors();
  EXPECT_NE(output().find("standard input\n"), std::string::npos) << output();
}

TEST_F(Program, lists_twenty_intervals_of_violation_unless_all_are_wanted) {
  polefit::Model model;
  for (int i = 1; i <= 22; ++i) {
    const Complex pole(-numerics::two_pi * 1e3, numerics::two_pi * 1e9 * i);
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  model.residues.assign(model.poles.size(), numerics::two_pi * 1.5e3);
  model.constants = model.proportionals = {0.0};
  model.network = {'S', {50.0}, {{1, 1}}};
  write("m.json", polefit::to_json(model));
  EXPECT_EQ(run({"passivity", "m.json"}), 1);
  EXPECT_NE(output().find("  and 2 more, which --all lists\n"), std::string::npos) << output();
  const std::size_t some = lines_of(output()).size();
  EXPECT_EQ(run({"passivity", "m.json", "--all"}), 1);
  EXPECT_EQ(lines_of(output()).size(), some + 1);  // two rows for the line of what is left out
}

TEST_F(Program, passivity_is_not_taken_from_what_the_model_file_says) {
  polefit::Model model = polefit::model_from_json(one_port_json(1.25));
  model.passivity = {true, 1e-9, 0.5, 0.0};
  write("m.json", polefit::to_json(model));
  EXPECT_EQ(run({"passivity", "m.json"}), 1);
  ASSERT_EQ(run({"info", "m.json"}), 0);
  EXPECT_NE(output().find("passive: no: largest singular value 1.25"), std::string::npos) << output();
}

TEST_F(Program, draws_how_far_a_model_is_from_the_limit) {
  write("m.json", one_port_json(1.25));
  EXPECT_EQ(run({"passivity", "m.json", "-o", "p.svg"}), 1) << errors();
  EXPECT_NE(output().find("  passive     no\n"), std::string::npos);
  EXPECT_EQ(errors(), "");
  EXPECT_NE(content_of("p.svg").find(">m.json<"), std::string::npos);
  EXPECT_NE(content_of("p.svg").find(">not passive in 1 interval<"), std::string::npos);
  EXPECT_EQ(run({"passivity", "m.json", "-o", "-"}), 1);
  EXPECT_EQ(output(), content_of("p.svg"));
  EXPECT_NE(errors().find("  passive     no\n"), std::string::npos) << errors();
  expect_refusal({"passivity", "m.json", "-o", "p.gif"}, "one that ends in .svg, .png or .pdf");
  expect_refusal({"passivity", "m.json", "-o", "m.json"}, "m.json: found the file that is read as m.json");
}

TEST_F(Program, refuses_to_tell_the_passivity_of_what_is_no_stable_whole_matrix) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "--responses", "S21", "-q", "-o", "m.json"}), 0);
  expect_refusal({"passivity", "m.json"},
                 "m.json: found only S21 of a matrix of 2 ports, expected all of its elements");
  polefit::Model model = polefit::model_from_json(one_port_json(0.75));
  model.network.reset();
  write("bare.json", polefit::to_json(model));
  expect_refusal({"passivity", "bare.json"},
                 "bare.json: found one response that is of no matrix, expected that of a "
                 "one-port, which --parameter S, Y or Z makes it");
  model.poles = {{1.0, numerics::two_pi * 2e9}, {1.0, -numerics::two_pi * 2e9}};
  model.network = {'S', {50.0}, {{1, 1}}};
  write("unstable.json", polefit::to_json(model));
  expect_refusal(
      {"passivity", "unstable.json"},
      "unstable.json: found a pole at 2 GHz with the real part 1 rad/s, expected poles in the left "
      "half-plane");
  model.network.reset();
  model.names.clear();
  model.constants = model.proportionals = {0.0, 0.0};
  model.residues.insert(model.residues.end(), {1.0, 1.0});
  write("two.json", polefit::to_json(model));
  expect_refusal({"passivity", "two.json"}, "two.json: found 2 responses that are of no matrix");
  std::string text = one_port_json(0.75);
  text.replace(text.find("\"constant\":0.0"), 14, "\"constant\":1e999");
  write("overflow.json", text);
  expect_refusal({"passivity", "overflow.json"},
                 "overflow.json: found the text has a number beyond the range");
  expect_refusal({"passivity", "filter.s2p"}, "filter.s2p");
}

TEST_F(Program, a_single_response_takes_part_in_passivity_as_that_of_a_one_port) {
  write("m.json", bare_model());  // 0.5 + 1 / (1 + s / 1e9)
  ASSERT_EQ(run({"passivity", "m.json", "--parameter", "S", "--reference", "75"}), 1) << errors();
  EXPECT_NE(output().find("1-port, S parameters, reference 75 ohms"), std::string::npos) << output();
  EXPECT_NE(output().find("  largest     1.5 at 0 Hz"), std::string::npos) << output();
  ASSERT_EQ(run({"passivity", "m.json", "--parameter", "Z"}), 0) << errors();
  EXPECT_NE(output().find("  smallest    0.5 ohms at infinity"), std::string::npos) << output();
}

TEST_F(Program, exports_for_simulations_in_time_warn_of_a_model_that_is_not_passive) {
  write("m.json", one_port_json(1.25));
  const std::string warning =
      "polefit: warning: m.json is not passive: largest singular value 1.25 at 2 GHz; a circuit with it may "
      "grow "
      "without bound. ";
  for (const char* const format : {"--spice", "--state-space"}) {
    EXPECT_EQ(run({"export", "m.json", format}), 0);
    EXPECT_TRUE(errors().starts_with(warning)) << errors();
    EXPECT_NE(errors().find("polefit fit --passive"), std::string::npos) << errors();
    EXPECT_EQ(lines_of(errors()).size(), 1U) << errors();
    EXPECT_FALSE(output().empty());
  }
  EXPECT_EQ(run({"export", "m.json", "--touchstone", "--grid", "1G:3G:3"}), 0);
  EXPECT_EQ(errors(), "");
  write("m.json", one_port_json(0.75));
  EXPECT_EQ(run({"export", "m.json", "--spice"}), 0);
  EXPECT_EQ(errors(), "");
  // Declared on the command line to be a one-port.
  write("bare.json", bare_model());
  EXPECT_EQ(run({"export", "bare.json", "--spice", "--parameter", "S"}), 0);
  EXPECT_NE(errors().find("largest singular value 1.5 at 0 Hz"), std::string::npos) << errors();
  EXPECT_EQ(run({"export", "bare.json", "--state-space"}), 0);
  EXPECT_EQ(errors(), "");
  polefit::Model model = polefit::model_from_json(one_port_json(0.75));
  model.proportionals = {1e-12};
  write("growing.json", polefit::to_json(model));
  EXPECT_EQ(run({"export", "growing.json", "--spice"}), 0);
  EXPECT_NE(errors().find("is not passive: S grows with the frequency;"), std::string::npos) << errors();
  model.poles = {{1.0, 5.0}, {1.0, -5.0}};
  write("unstable.json", polefit::to_json(model));
  EXPECT_EQ(run({"export", "unstable.json", "--state-space"}), 0);
  EXPECT_NE(errors().find("is not passive: its poles are not all in the left half-plane"), std::string::npos)
      << errors();
}

TEST_F(Program, of_numbers_whose_products_overflow_says_so_wherever_passivity_is_told) {
  polefit::Model model = polefit::model_from_json(one_port_json(0.75));
  model.constants = {1e308};
  write("huge.json", polefit::to_json(model));
  const std::string reason =
      "the model has numbers that are too large or too small to tell whether it is passive";
  EXPECT_EQ(run({"info", "huge.json"}), 0) << errors();
  EXPECT_NE(output().find("passive: not told: " + reason), std::string::npos) << output();
  EXPECT_EQ(run({"export", "huge.json", "--spice"}), 0) << errors();
  EXPECT_NE(errors().find("huge.json may not be passive: " + reason), std::string::npos) << errors();
  expect_refusal({"passivity", "huge.json"}, reason);
}

TEST_F(Program, bad_files_are_refused_with_file_and_line) {
  write("bad.s2p", "# GHz S RI R 50\n1 0 0 0 0 0 0 0 0\n2 0 0 x 0 0 0 0 0\n");
  expect_refusal({"fit", "bad.s2p"}, "bad.s2p, line 3");
  expect_refusal({"fit", "none.s2p"}, "none.s2p");
  expect_refusal({"fit", "."}, "Is a directory");
  write("empty.s2p", "");
  expect_refusal({"fit", "empty.s2p"}, "empty.s2p");
  write("bad.json", "{\"format\": \"polefit model\", \"version\": 2}");
  expect_refusal({"info", "bad.json"}, "bad.json");
  expect_refusal({"eval", "filter.s2p", "--grid", "1"}, "filter.s2p");
  expect_refusal({"fit", "filter.s2p", "--responses", "S33"}, "S33");
  expect_refusal({"fit", "filter.s2p", "--poles", "1000"}, "filter.s2p: 1001 unknowns");
  expect_refusal({"fit"}, "NETWORK");
  write("f_data.in", "1 1 0\n2 0.5 -0.5\n3 0.2 0.1\n");
  expect_refusal({"fit", "f_data.in", "--exact-dc"}, "no sample at 0 Hz");
}

TEST_F(Program, a_message_is_one_line_of_plain_text_whatever_names_hold) {
  expect_refusal({"fit", "no\nsuch\033[2J.s2p"}, "no?such?[2J.s2p: found");
  expect_refusal({"fit", "filter.s2p", "more\033[2J"}, "more?[2J");
}

TEST_F(Program, a_result_that_cannot_be_finished_leaves_the_old_file) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  const std::string before = content_of("m.json");
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "20", "-q", "-o", "m.json"},
                [] {
                  const rlimit limit{1000, 1000};  // bytes of a file
                  setrlimit(RLIMIT_FSIZE, &limit);
                }),
            2);
  EXPECT_NE(errors().find("m.json"), std::string::npos) << errors();
  EXPECT_EQ(content_of("m.json"), before);
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    EXPECT_FALSE(entry.path().filename().string().ends_with(".tmp")) << entry.path();
  }
  EXPECT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "no/such/m.json"}), 2);
}

TEST_F(Program, standard_output_that_takes_nothing_is_an_error) {
  ASSERT_EQ(run({"fit", "filter.s2p", "--poles", "3", "-q", "-o", "m.json"}), 0);
  EXPECT_EQ(run({"eval", "m.json"}, [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }), 2);
  EXPECT_NE(errors().find("standard output"), std::string::npos) << errors();
}

}  // namespace
