/// Whole runs of polefit convert, and what commands tell of the networks they read.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/conversion.hpp"
#include "polefit/network.hpp"
#include "run_program.hpp"
#include "support.hpp"

namespace {

using namespace testing_support;
using polefit::Network;
using Complex = std::complex<double>;
using Arguments = std::vector<std::string>;

class Convert : public InOwnDirectory {
 protected:
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static int run(const Arguments& arguments) {
    return run_program(POLEFIT_PROGRAM, arguments, ".", [] {});
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }
  static void expect_refusal(const Arguments& arguments, const std::string& message) {
    EXPECT_EQ(run(arguments), 2);
    EXPECT_EQ(errors(), "polefit: " + message + "\n");
    EXPECT_EQ(output(), "");
  }
};

/// Random S of singular values well below 1, at 75 ohms.
Network random_network(std::size_t ports) {
  RandomNumbers numbers(ports);
  Network network{.file = "random",
                  .matrix = polefit::NetworkMatrix{.parameter = 'S',
                                                   .references = std::vector<double>(ports, 75.0),
                                                   .elements = polefit::all_elements(ports)},
                  .frequencies = {1e9, 1.1e9, 4.35e9},
                  .names = {},
                  .values = {}};
  for (const auto& element : network.matrix->elements) {
    network.names.push_back(polefit::element_name('S', element, ports));
  }
  for (std::size_t i = 0; i < 3 * ports * ports; ++i) {
    const double re = numbers.between(-1.0, 1.0);
    network.values.push_back(0.5 / static_cast<double>(ports) * Complex(re, numbers.between(-1.0, 1.0)));
  }
  return network;
}

double distance(const Network& a, const Network& b) {
  EXPECT_EQ(a.values.size(), b.values.size());
  double largest = 0.0;
  double size = 0.0;
  for (std::size_t i = 0; i < std::min(a.values.size(), b.values.size()); ++i) {
    largest = std::max(largest, std::abs(a.values[i] - b.values[i]));
    size = std::max(size, std::abs(b.values[i]));
  }
  return largest / size;
}

std::string file_of(const char* stem, std::size_t ports) {
  return std::string(stem) + ".s" + std::to_string(ports) + "p";
}

TEST_F(Convert, every_version_format_unit_and_parameter_leads_back_to_twelve_digits) {
  const Arguments versions{"1", "1.1", "2.0", "2.1"};
  const Arguments formats{"ri", "ma", "db"};
  const Arguments units{"Hz", "kHz", "MHz", "GHz"};
  for (const std::size_t ports : {1U, 2U, 3U, 5U, 12U}) {
    const Network network = random_network(ports);
    polefit::write_touchstone(network, file_of("in", ports));
    std::size_t turn = 0;
    for (const std::string parameter : {"S", "Y", "Z", "H", "G"}) {
      if ((parameter == "H" || parameter == "G") && ports != 2) {
        continue;
      }
      for (const std::string& version : versions) {
        for (const std::string& format : formats) {
          const std::string& unit = units[turn++ % units.size()];
          SCOPED_TRACE(std::to_string(ports) + parameter + version + format + unit);
          ASSERT_EQ(run({"convert", file_of("in", ports), file_of("there", ports), "--parameters", parameter,
                         "--touchstone", version, "--format", format, "--unit", unit}),
                    0)
              << errors();
          ASSERT_EQ(run({"convert", file_of("there", ports), file_of("back", ports), "--parameters", "S",
                         "--reference", "75"}),
                    0)
              << errors();
          const Network back = polefit::read_network(file_of("back", ports));
          EXPECT_LT(distance(back, network), 1e-12);
          EXPECT_EQ(back.frequencies, network.frequencies);
          EXPECT_EQ(back.matrix->references, network.matrix->references);
        }
      }
    }
  }
}

TEST_F(Convert, the_file_is_what_the_options_say) {
  write("z.s1p", "# GHz Z RI R 50\n1 0.5 0.5\n");
  ASSERT_EQ(run({"convert", "z.s1p", "-"}), 0);
  EXPECT_EQ(output(),
            "! Z in ohms: normalised to R 1, which changes nothing\n# Hz Z RI R 1\n1000000000 25 25\n");
  ASSERT_EQ(run({"convert", "z.s1p", "out.ts", "--touchstone", "2", "--format", "ma", "--unit", "GHz"}), 0);
  const std::string text = content_of("out.ts");
  EXPECT_TRUE(
      text.starts_with("[Version] 2.0\n# GHz Z MA R 50\n[Number of Ports] 1\n[Number of Frequencies] 1\n"
                       "[Network Data]\n1 35.35533905932738 45\n"))
      << text;
  ASSERT_EQ(run({"convert", "z.s1p", "out.csv", "--parameters", "Y"}), 0);
  EXPECT_EQ(errors(), "");
  EXPECT_TRUE(content_of("out.csv").starts_with("frequency,Y11 re,Y11 im\n1e+09,")) << content_of("out.csv");
  ASSERT_EQ(run({"convert", "out.csv", "back.ts", "--read-as", "csv"}), 0);
  const Network back = polefit::read_network("back.ts");
  ASSERT_EQ(back.values.size(), 1U);
  EXPECT_NEAR(std::abs(back.values[0] - Complex(0.02, -0.02)), 0.0, 0.02 * 10.0 * eps);  // of few roundings
}

TEST_F(Convert, hybrid_parameters_are_written_and_tabled) {
  write("t.s2p", "# Hz Z RI R 1\n1 15 0 5 0 5 0 25 0\n");
  ASSERT_EQ(run({"convert", "t.s2p", "h.s2p", "--parameters", "H"}), 0);
  EXPECT_TRUE(content_of("h.s2p").starts_with(
      "! H in ohms and siemens: normalised to R 1, which changes nothing\n# Hz H RI R 1\n1 14"));
  ASSERT_EQ(run({"convert", "t.s2p", "g.csv", "--parameters", "G"}), 0);
  EXPECT_TRUE(content_of("g.csv").starts_with("frequency,G11 re,G11 im,G12 re,"));
}

TEST_F(Convert, what_cannot_be_is_refused_in_one_line_and_leaves_no_file) {
  write("open.s2p", "# Hz Y RI R 1\n1 1 0 -1 0 -1 0 2 0\n7 1 0 -1 0 -1 0 1 0\n");
  expect_refusal({"convert", "open.s2p", "z.s2p", "--parameters", "Z"},
                 "open.s2p: found no Z parameters at 7 Hz, where the matrix to be inverted for them is "
                 "singular, expected Y "
                 "parameters of a network that has them");
  expect_refusal({"convert", "open.s2p", "three.s3p"},
                 "three.s3p: found a name for 3 ports, expected one for the network's 2 ports");
  expect_refusal({"convert", "open.s2p", "out.s2p", "--reference", "50,60,70"},
                 "open.s2p: found 3 reference resistances, expected one, or one for each of 2 ports");
  expect_refusal({"convert", "open.s2p", "out.s2p", "--reference", "50,0"},
                 "--reference: found \"50,0\", expected numbers of ohms above 0 with commas between them; "
                 "see polefit convert "
                 "--help");
  expect_refusal(
      {"convert", "open.s2p", "out.csv", "--unit", "GHz"},
      "--unit has no effect with an output that ends in .csv: a table has none; see polefit convert --help");
  EXPECT_EQ(run({"convert", "open.s2p", "open.s2p"}), 2);
  EXPECT_NE(errors().find("open.s2p"), std::string::npos);
  EXPECT_TRUE(content_of("open.s2p").starts_with("# Hz Y"));
  for (const char* const name : {"z.s2p", "three.s3p", "out.s2p", "out.csv"}) {
    EXPECT_FALSE(std::filesystem::exists(name)) << name;
  }
}

TEST_F(Convert, a_table_of_other_than_fifty_ohms_is_told) {
  write("s.s1p", "# Hz S RI R 75\n1 0.5 0\n");
  ASSERT_EQ(run({"convert", "s.s1p", "s.csv"}), 0);
  EXPECT_EQ(errors(),
            "polefit: warning: s.csv: a table does not tell references, and these are not all 50 ohms\n");
  ASSERT_EQ(run({"convert", "s.s1p", "s.csv", "--reference", "50"}), 0);
  EXPECT_EQ(errors(), "");
}

TEST_F(Convert, warnings_of_a_file_are_lines_on_standard_error_whatever_reads_it) {
  write("cut.ts", "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 1\n[Network Data]\n1 0.5 0\n2 0.4 0\n");
  const std::string warning =
      "polefit: warning: cut.ts, line 6: the file ends without [End]; it may have been cut off\n";
  for (const Arguments& arguments : {Arguments{"info", "cut.ts"}, Arguments{"convert", "cut.ts", "cut.csv"},
                                     Arguments{"fit", "cut.ts", "--poles", "0", "-q"}}) {
    run(arguments);
    EXPECT_EQ(errors(), warning) << arguments.front();
  }
}

TEST_F(Convert, s_of_impedances_that_vary_makes_a_model_and_no_circuit_until_it_is_renormalised) {
  std::string text = "# Hz S RI R 50\n";
  for (int k = 1; k <= 20; ++k) {
    text += std::to_string(k) + " 0.5 0.1\n! Port Impedance " + std::to_string(40 + k) + " 0\n";
  }
  write("wave.s1p", text);
  ASSERT_EQ(run({"fit", "wave.s1p", "--poles", "0", "-q", "-o", "wave.json"}), 0);
  expect_refusal(
      {"export", "wave.json", "--spice"},
      "wave.json: S refers to port impedances that vary with frequency, of which no circuit can be made");
  ASSERT_EQ(run({"convert", "wave.s1p", "fifty.s1p", "--reference", "50"}), 0);
  EXPECT_EQ(run({"info", "fifty.s1p"}), 0);
  EXPECT_EQ(errors(), "");
  EXPECT_NE(output().find("reference 50 ohms"), std::string::npos);
}

TEST_F(Convert, mixed_modes_are_fitted_and_written_back) {
  write("modes.ts",
        "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n[Number of "
        "Frequencies] 2\n"
        "[Mixed-Mode Order] D1,2 C1,2\n[Network Data]\n1 0.5 0 0 0 0 0 0.25 0\n2 0.5 0 0 0 0 0 0.25 "
        "0\n[End]\n");
  ASSERT_EQ(run({"fit", "modes.ts", "--poles", "0", "-q", "-o", "modes.json"}), 0) << errors();
  ASSERT_EQ(run({"export", "modes.json", "--touchstone", "--touchstone-version", "2.1", "--grid", "1,2", "-o",
                 "out.ts"}),
            0)
      << errors();
  const std::string text = content_of("out.ts");
  EXPECT_NE(text.find("[Version] 2.1\n# Hz S RI R 50\n"), std::string::npos) << text;
  EXPECT_NE(text.find("[Mixed-Mode Order] D1,2 C1,2\n"), std::string::npos) << text;
  EXPECT_EQ(polefit::read_network("out.ts").names, (Arguments{"SDD11", "SDC11", "SCD11", "SCC11"}));
}

}  // namespace
