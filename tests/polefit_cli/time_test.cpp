/// Whole runs of polefit time.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "polefit/model_file.hpp"
#include "run_program.hpp"
#include "support.hpp"
#include "text/number_text.hpp"

namespace {

using namespace testing_support;

/// The columns of a table and their names.
struct Table {
  std::vector<std::string> names;
  std::vector<std::vector<double>> columns;
};

Table table_of(const std::string& text) {
  Table table;
  const auto cells = [](const std::string& line) {
    std::vector<std::string> found;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) {
      found.push_back(cell);
    }
    return found;
  };
  for (const std::string& line : lines_of(text)) {
    const std::vector<std::string> found = cells(line);
    if (table.names.empty()) {
      table.names = found;
      table.columns.resize(found.size());
      continue;
    }
    EXPECT_EQ(found.size(), table.names.size()) << line;
    for (std::size_t i = 0; i < found.size(); ++i) {
      double value = 0.0;
      EXPECT_TRUE(text::parse_real(found[i], value)) << line;
      table.columns.at(i).push_back(value);
    }
  }
  return table;
}

/// Through: all that goes into one port comes out of the other behind a low pass of tau, nothing is
/// reflected.
polefit::Model low_pass(double tau) {
  polefit::Model model;
  model.poles = {-1.0 / tau};
  model.residues = {0.0, 1.0 / tau, 1.0 / tau, 0.0};
  model.constants = {0.0, 0.0, 0.0, 0.0};
  model.proportionals = {0.0, 0.0, 0.0, 0.0};
  model.network = polefit::NetworkMatrix{'S', {50.0, 50.0}, polefit::all_elements(2)};
  return model;
}

polefit::Model resistor(double ohms) {
  polefit::Model model;
  model.constants = {(ohms - 50.0) / (ohms + 50.0)};
  model.proportionals = {0.0};
  model.network = polefit::NetworkMatrix{'S', {50.0}, polefit::all_elements(1)};
  return model;
}

class Time : public InOwnDirectory {
 protected:
  void SetUp() override {
    InOwnDirectory::SetUp();
    polefit::save(low_pass(1e-9), "m.json");
    polefit::save(resistor(75.0), "r.json");
  }
  static int run(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"time"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run_program(POLEFIT_PROGRAM, all, ".");
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static Table table(const std::vector<std::string>& arguments) {
    EXPECT_EQ(run(arguments), 0) << errors();
    return table_of(output());
  }
  static void expect_refusal(const std::vector<std::string>& arguments, const std::string& part) {
    EXPECT_EQ(run(arguments), 2) << part;
    const std::string text = errors();
    EXPECT_EQ(lines_of(text).size(), 1U) << text;
    EXPECT_TRUE(text.starts_with("polefit: ")) << text;
    EXPECT_NE(text.find(part), std::string::npos) << text;
    EXPECT_EQ(output(), "");
  }
};

TEST_F(Time, a_step_gives_voltages_and_currents_of_all_ports) {
  const Table found = table({"m.json", "--step", "--rise", "0", "--span", "5n", "--points", "51"});
  EXPECT_EQ(found.names, (std::vector<std::string>{"time [s]", "V1 [V]", "I1 [A]", "V2 [V]", "I2 [A]"}));
  ASSERT_EQ(found.columns[0].size(), 51U);
  EXPECT_NEAR(found.columns[0].back(), 5e-9, 1e-22);
  for (std::size_t k = 0; k < 51; ++k) {
    const double arrived = -0.5 * std::expm1(-found.columns[0][k] / 1e-9);
    EXPECT_NEAR(found.columns[1][k], 0.5, 1e-12);
    EXPECT_NEAR(found.columns[2][k], 0.01, 1e-14);
    EXPECT_NEAR(found.columns[3][k], arrived, 1e-12);
    EXPECT_NEAR(found.columns[4][k], -arrived / 50.0, 1e-14);
  }
}

TEST_F(Time, the_port_the_rise_and_the_step_between_points_are_as_asked_for) {
  const Table found =
      table({"m.json", "--step", "--port", "2", "--rise", "2n", "--span", "4n", "--time-step", "0.5ns"});
  ASSERT_EQ(found.columns[0].size(), 9U);
  const std::vector<double> ramp{0.0, 0.125, 0.25, 0.375, 0.5, 0.5, 0.5, 0.5, 0.5};
  for (std::size_t k = 0; k < 9; ++k) {
    EXPECT_NEAR(found.columns[0][k], 0.5e-9 * static_cast<double>(k), 1e-24);
    EXPECT_NEAR(found.columns[3][k], ramp[k], 1e-12);
  }
}

TEST_F(Time, an_impulse_has_the_area_of_one_and_a_pulse_its_width) {
  const Table impulse = table({"m.json", "--impulse", "--rise", "1p", "--span", "4n", "--points", "401"});
  double area = 0.0;
  for (std::size_t k = 1; k < 401; ++k) {
    const double t = impulse.columns[0][k];
    // Half of it goes in; the triangle's middle is 1 ps late.
    EXPECT_NEAR(impulse.columns[3][k], 0.5e9 * std::exp(-(t - 1e-12) / 1e-9), 0.5e9 * 1e-6) << t;
    area += impulse.columns[3][k] * 1e-11;
  }
  EXPECT_NEAR(area, 0.5, 0.02);  // what is left out and the sum in place of an integral: 2 and 0.5 per cent
  const Table pulse = table({"m.json", "--pulse", "1n", "--rise", "0", "--span", "3n", "--points", "7"});
  EXPECT_EQ(pulse.columns[1], (std::vector<double>{0.5, 0.5, 0.0, 0.0, 0.0, 0.0, 0.0}));
}

TEST_F(Time, a_file_drives_one_port_or_all) {
  write("one.csv", "time,V\n0,0\n1e-9,2\n");
  const Table one = table({"m.json", "--file", "one.csv", "--port", "2", "--span", "2n", "--points", "3"});
  EXPECT_NEAR(one.columns[3][1], 1.0, 1e-12);
  EXPECT_NEAR(one.columns[3][2], 1.0, 1e-12);
  write("all.csv", "0,1,3\n");
  const Table all = table({"m.json", "--file", "all.csv", "--span", "50n", "--points", "2"});
  EXPECT_NEAR(all.columns[1][1], 2.0, 1e-12);  // 0.5 of its own and 1.5 of the other's
  EXPECT_NEAR(all.columns[3][1], 2.0, 1e-12);
  write("early.csv", "-2e-9,0\n-1e-9,1\n");
  const Table early = table({"m.json", "--file", "early.csv", "--span", "1n", "--points", "2"});
  EXPECT_EQ(early.columns[0], (std::vector<double>{-2e-9, -1e-9}));
}

TEST_F(Time, terminations_are_one_for_all_or_a_list_and_may_be_open) {
  const Table divided = table({"r.json", "--step", "--rise", "0", "--terminations", "25", "--span", "1n"});
  for (const double voltage : divided.columns[1]) {
    EXPECT_NEAR(voltage, 0.75, 1e-12);
  }
  // A wave that arrives at an open end doubles: 1 V behind the low pass, half of which returns to port 1.
  const Table open =
      table({"m.json", "--step", "--rise", "10p", "--terminations", "50,inf", "--span", "30n"});
  EXPECT_NEAR(open.columns[3].back(), 1.0, 1e-4);
  EXPECT_NEAR(open.columns[4].back(), 0.0, 1e-15);
  EXPECT_NEAR(open.columns[1].back(), 1.0, 1e-4);
}

TEST_F(Time, without_times_they_follow_from_the_model) {
  const Table found = table({"m.json", "--step"});
  EXPECT_EQ(found.columns[0].size(), 2001U);
  // One over the pole's frequency, and ten times that.
  const double shortest = 2.0 * std::numbers::pi * 1e-9;
  EXPECT_NEAR(found.columns[0].back(), 11.0 * shortest, 1e-6 * shortest);
}

TEST_F(Time, a_reflectometer_tells_the_resistance_at_the_end_over_time_and_distance) {
  const Table found =
      table({"r.json", "--tdr", "--rise", "35p", "--span", "1n", "--points", "101", "--velocity", "0.5"});
  EXPECT_EQ(found.names,
            (std::vector<std::string>{"time [s]", "distance [m]", "reflection", "impedance [ohm]"}));
  EXPECT_EQ(found.columns[3][0], 50.0);  // nothing has come back
  for (std::size_t k = 4; k < 101; ++k) {
    EXPECT_NEAR(found.columns[2][k], 0.2, 1e-12);
    EXPECT_NEAR(found.columns[3][k], 75.0, 1e-9);
    EXPECT_NEAR(found.columns[1][k], 0.25 * 299792458.0 * (found.columns[0][k] - 17.5e-12), 1e-12);
  }
  const Table fast =
      table({"r.json", "--tdr", "--rise", "0", "--span", "1n", "--points", "2", "--velocity", "2e8"});
  EXPECT_NEAR(fast.columns[1][1], 0.1, 1e-12);
  const Table other = table({"r.json", "--tdr", "--rise", "0", "--terminations", "25", "--span", "1n"});
  EXPECT_NEAR(other.columns[2].back(), 75.0, 1e-9);
}

TEST_F(Time, an_open_end_is_infinite_to_a_reflectometer) {
  polefit::Model open = resistor(75.0);
  open.constants[0] = 1.0;
  polefit::save(open, "open.json");
  const Table found =
      table({"open.json", "--tdr", "--rise", "0", "--span", "1n", "--plot", "p.svg", "-o", "-"});
  EXPECT_TRUE(std::isinf(found.columns[2].back()));
  EXPECT_TRUE(content_of("p.svg").ends_with("</svg>\n\n"));
}

TEST_F(Time, an_eye_is_told_with_its_height_and_width_and_drawn) {
  EXPECT_EQ(run({"m.json", "--eye", "--rate", "1G", "--bits", "400", "--plot", "eye.svg", "-o", "eye.csv"}),
            0)
      << errors();
  EXPECT_NE(output().find("1 Gbit/s, PRBS7, 0 and 1 V, rise 200 ps"), std::string::npos) << output();
  EXPECT_NE(output().find("eye         open"), std::string::npos) << output();
  EXPECT_TRUE(content_of("eye.svg").ends_with("</svg>\n\n"));
  const Table opening = table_of(content_of("eye.csv"));
  EXPECT_EQ(opening.names, (std::vector<std::string>{"time [UI]", "lowest 1 [V]", "highest 0 [V]"}));
  ASSERT_EQ(opening.columns[0].size(), 129U);
  // A 1 behind many zeros, at the end of its bit: the response to a ramp of 0.2 ns after 1 ns, both of half a
  // volt.
  const double tau = 1.0;
  const double least = 0.5 * (1.0 - tau / 0.2 * (std::exp(0.2 / tau) - 1.0) * std::exp(-1.0 / tau));
  // Seven zeros before leave e^-7, and in the first tenth of a bit behind, it still rises by some 0.3 e^-1
  // / 10.
  EXPECT_GT(opening.columns[1][64], least - 1e-3);
  EXPECT_LT(opening.columns[1][64], least + 0.012);
  EXPECT_LT(opening.columns[2][64], 0.5 - least + 1e-3);
  EXPECT_GT(opening.columns[2][64], 0.5 - least - 0.012);
}

TEST_F(Time, a_closed_eye_has_status_1_and_is_drawn_all_the_same) {
  EXPECT_EQ(run({"m.json", "--eye", "--rate", "10G", "--bits", "400", "--prbs", "9", "--plot", "eye.png"}),
            1);
  EXPECT_NE(output().find("PRBS9"), std::string::npos) << output();
  EXPECT_NE(output().find("eye         closed"), std::string::npos) << output();
  EXPECT_GT(std::filesystem::file_size("eye.png"), 1000U);
}

TEST_F(Time, pictures_of_signals_are_drawn_in_every_format_and_replace_the_table) {
  for (const std::string ending : {"svg", "png", "pdf"}) {
    EXPECT_EQ(run({"m.json", "--step", "--plot", "p." + ending}), 0) << errors();
    EXPECT_EQ(output(), "");
    EXPECT_EQ(errors(), "");
    EXPECT_GT(std::filesystem::file_size("p." + ending), 1000U);
  }
  EXPECT_EQ(run({"m.json", "--step", "--plot", "-"}), 0);
  EXPECT_TRUE(output().starts_with("<?xml"));
  EXPECT_EQ(run({"r.json", "--tdr", "--velocity", "1", "--plot", "tdr.svg"}), 0) << errors();
  EXPECT_NE(content_of("tdr.svg").find("distance"), std::string::npos);
}

TEST_F(Time, a_picture_of_more_ports_than_curves_can_be_told_apart_says_how_many_it_shows) {
  for (const std::size_t ports : {8U, 12U}) {
    polefit::Model model;
    model.constants.assign(ports * ports, 0.1);
    model.proportionals.assign(ports * ports, 0.0);
    model.network =
        polefit::NetworkMatrix{'S', std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
    polefit::save(model, "many.json");
    EXPECT_EQ(run({"many.json", "--step", "--span", "1n", "--plot", "-"}), 0) << errors();
    EXPECT_EQ(output().find("the largest at 8 of 12 ports") != std::string::npos, ports == 12) << output();
  }
}

TEST_F(Time, what_fits_neither_model_nor_memory_is_refused_before_anything_is_followed) {
  expect_refusal({"m.json", "--step", "--port", "3"},
                 "--port: found 3, expected a port of the model, 1 to 2");
  expect_refusal({"m.json", "--eye", "--out", "3"}, "--out: found 3, expected a port of the model, 1 to 2");
  expect_refusal({"m.json", "--eye", "--in", "3"}, "--in: found 3");
  expect_refusal({"m.json", "--step", "--terminations", "1,2,3"},
                 "--terminations: found 3 resistances, expected one, or 2, one a port");
  expect_refusal({"m.json", "--step", "--span", "1", "--time-step", "1f"},
                 "--time-step: found 1e+15 points of 2 ports, expected at most ten million points");
  expect_refusal({"r.json", "--step", "--span", "1", "--time-step", "90n", "-o", "t.csv"},
                 "--time-step: found 1.11e+07 points");
  expect_refusal({"m.json", "--step", "--points", "10000001"}, "--points: found \"10000001\"");
  expect_refusal({"m.json", "--step", "--span", "1n", "--time-step", "2n"},
                 "--time-step: found 2 ns, expected at most the span, which is 1 ns");
  expect_refusal({"m.json", "--pulse", "1n", "--rise", "2n"},
                 "--pulse: found 1 ns, expected at least --rise");
  expect_refusal({"m.json", "--impulse", "--rise", "0"}, "--rise: found 0, expected a time above 0");
  expect_refusal({"m.json", "--eye", "--rate", "1G", "--rise", "2n"},
                 "--rise: found 2 ns, expected at most a bit");
  expect_refusal({"m.json", "--eye", "--rate", "1G", "--bits", "8"}, "--bits: found 8, expected more");
  expect_refusal({"m.json", "--tdr", "--terminations", "inf"}, "expected a finite resistance above 0");
  expect_refusal({"m.json"}, "time wants --step, --impulse, --pulse, --file, --tdr or --eye");
  expect_refusal({"m.json", "--step", "--tdr"}, "--step and --tdr were given, expected one of them");
  expect_refusal({"m.json", "--step", "--span", "0"}, "--span: found \"0\", expected a time above 0");
  write("three.csv", "0,1,2,3\n");
  expect_refusal({"m.json", "--file", "three.csv"},
                 "three.csv: found 3 waveforms, expected one, or 2, one a port");
  write("two.csv", "0,1,2\n");
  expect_refusal({"m.json", "--file", "two.csv", "--port", "1"},
                 "--port: found 1, expected a file with one waveform");
  write("bad.csv", "0,1\n1,x\n");
  expect_refusal({"m.json", "--file", "bad.csv"}, "bad.csv, line 2: found \"x\"");
}

TEST_F(Time, an_open_port_cannot_be_driven) {
  polefit::save(low_pass(1e-9), "m.json");
  write("second.csv", "0,0,0\n1e-9,0,1\n");
  for (const std::vector<std::string>& driven : std::vector<std::vector<std::string>>{
           {"--step"}, {"--pulse", "1n"}, {"--eye", "--rate", "1G"}, {"--file", "second.csv"}}) {
    const bool first = driven.front() != "--file";
    std::vector<std::string> arguments{"m.json", "--terminations", first ? "inf,50" : "50,inf"};
    arguments.insert(arguments.end(), driven.begin(), driven.end());
    expect_refusal(arguments, std::string("--terminations: found inf ohms at port ") + (first ? "1" : "2") +
                                  ", expected a finite resistance, through which a source drives it");
  }
  EXPECT_FALSE(table({"m.json", "--file", "second.csv", "--terminations", "inf,50"}).columns.empty());
}

TEST_F(Time, models_that_are_no_whole_matrix_or_jump_where_they_cannot_are_refused) {
  polefit::Model bare = resistor(75.0);
  bare.network = std::nullopt;
  polefit::save(bare, "bare.json");
  expect_refusal({"bare.json", "--step"},
                 "expected a one-port, which --parameter S, Y or Z makes of a response");
  EXPECT_EQ(run({"bare.json", "--step", "--parameter", "S", "--span", "1n", "-o", "t.csv"}), 0) << errors();
  polefit::Model part = low_pass(1e-9);
  part.residues = {1e9};
  part.constants = {0.0};
  part.proportionals = {0.0};
  part.network->elements = {{2, 1}};
  polefit::save(part, "part.json");
  expect_refusal({"part.json", "--step"}, "expected");
  polefit::Model inductor;
  inductor.constants = {0.0};
  inductor.proportionals = {1e-9};
  inductor.network = polefit::NetworkMatrix{'Z', {50.0}, polefit::all_elements(1)};
  polefit::save(inductor, "l.json");
  expect_refusal({"l.json", "--step", "--rise", "0"}, "l.json: what drives port 1 jumps");
  EXPECT_EQ(run({"l.json", "--step", "--rise", "1n", "--span", "2n"}), 0) << errors();
  expect_refusal({"l.json", "--step", "--terminations", "0"}, "the resistance at port 1 is 0");
}

TEST_F(Time, outputs_that_are_inputs_or_have_no_place_are_refused) {
  const std::string before = content_of("m.json");
  expect_refusal({"m.json", "--step", "-o", "m.json"}, "m.json: found the file that is read as m.json");
  expect_refusal({"m.json", "--step", "--plot", "m.json"}, "m.json: found the file that is read as m.json");
  write("w.svg", "0,1\n");
  expect_refusal({"m.json", "--file", "w.svg", "--plot", "w.svg"}, "found the file that is read as w.svg");
  expect_refusal({"m.json", "--step", "-o", "nowhere/t.csv"}, "nowhere/t.csv");
  expect_refusal({"m.json", "--step", "--plot", "p.gif"}, "one that ends in .svg, .png or .pdf");
  expect_refusal({"m.json", "--step", "-o", "-", "--plot", "-"}, "the table and the picture");
  EXPECT_EQ(content_of("m.json"), before);
  EXPECT_EQ(content_of("w.svg"), "0,1\n");
}

}  // namespace
