/// What comments, hybrid parameters, mixed modes and doubtful texts become when Touchstone is read.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "numerics.hpp"
#include "polefit/conversion.hpp"
#include "polefit/error.hpp"
#include "polefit_io/network/touchstone/impedance_comments.hpp"
#include "polefit_io/network/touchstone_reader.hpp"
#include "polefit_io/network/touchstone_writer.hpp"
#include "text/decimal.hpp"

namespace {

using namespace polefit_io;
using polefit::Network;
using testing_support::eps;
using testing_support::io_error_of;
using Complex = std::complex<double>;
using Complexes = std::vector<Complex>;
using Texts = std::vector<std::string>;

Network read(std::string_view text) { return read_touchstone(text, "f", std::nullopt); }

/// Y of a series R, L and C between two ports with a capacitance at each, at radian frequency w.
Complexes line_like_y(double w) {
  const Complex series = 1.0 / Complex(2.0, w * 3e-9);
  const Complex first(1e-4, w * 1e-12);
  const Complex second(2e-4, w * 2e-12);
  return {first + series, -series, -series, second + series};
}

/// S of power waves of a two-port Y, by V = 1, I = Y V and the definition of the waves, the inverse written
/// out.
Complexes s_of(const Complexes& y, const Complexes& z) {
  Complexes a(4);
  Complexes b(4);
  for (std::size_t i = 0; i < 2; ++i) {
    const double root = std::sqrt(z[i].real());
    for (std::size_t j = 0; j < 2; ++j) {
      const Complex one = i == j ? 1.0 : 0.0;
      a[2 * i + j] = (one + z[i] * y[2 * i + j]) / root;
      b[2 * i + j] = (one - std::conj(z[i]) * y[2 * i + j]) / root;
    }
  }
  const Complex det = a[0] * a[3] - a[1] * a[2];
  const Complexes inverse{a[3] / det, -a[1] / det, -a[2] / det, a[0] / det};
  return {b[0] * inverse[0] + b[1] * inverse[2], b[0] * inverse[1] + b[1] * inverse[3],
          b[2] * inverse[0] + b[3] * inverse[2], b[2] * inverse[1] + b[3] * inverse[3]};
}

void append(std::string& text, double value) {
  text += ' ';
  text::append_shortest(text, value);
}

constexpr std::size_t samples = 40;

double frequency(std::size_t k) { return 1e8 * static_cast<double>(k + 1); }

/// A solver's file of that network, whose port impedances are those of `impedance(port, sample)`.
template <class Impedance>
std::string solver_text(const Impedance& impedance, bool comments) {
  std::string text = "! solver's data, not renormalized\n# Hz S RI R 50\n";
  for (std::size_t k = 0; k < samples; ++k) {
    const Complexes z{impedance(0, k), impedance(1, k)};
    const Complexes s = s_of(line_like_y(2.0 * std::acos(-1.0) * frequency(k)), z);
    append(text, frequency(k));
    for (const std::size_t r : {0U, 2U, 1U, 3U}) {
      append(text, s[r].real());
      append(text, s[r].imag());
    }
    text += "\n! Gamma 1.0 2.0\n! 3.0 4.0\n";
    if (comments) {
      text += "! Port Impedance";
      for (const Complex& impedance_of_port : z) {
        append(text, impedance_of_port.real());
        append(text, impedance_of_port.imag());
      }
      text += "\n";
    }
  }
  return text;
}

/// The largest distance of the network's Y from the true one, beside the largest Y.
double distance_from_y(const Network& network) {
  const Network y = polefit::converted(network, 'Y');
  double distance = 0.0;
  double largest = 0.0;
  for (std::size_t k = 0; k < samples; ++k) {
    const Complexes expected = line_like_y(2.0 * std::acos(-1.0) * frequency(k));
    for (std::size_t r = 0; r < 4; ++r) {
      distance = std::max(distance, std::abs(y.values[r * samples + k] - expected[r]));
      largest = std::max(largest, std::abs(expected[r]));
    }
  }
  return distance / largest;
}

TEST(TouchstoneComments, constant_real_port_impedances_are_the_references) {
  const auto impedance = [](std::size_t port, std::size_t) {
    return port == 0 ? Complex(10.0) : Complex(75.0);
  };
  const Network network = read(solver_text(impedance, true));
  EXPECT_EQ(network.matrix->references, (std::vector<double>{10, 75}));
  EXPECT_EQ(network.warnings,
            Texts{"f, line 6: S refers to the port impedances of comments, and not to R 50 ohms; its "
                  "references are 10, 75 ohms"});
  EXPECT_LT(distance_from_y(network), 1e-11);  // Y of S loses the condition of 1 + S, some 1e3, of 16 digits
  // Without the comments the numbers would mean another network altogether.
  EXPECT_GT(distance_from_y(read(solver_text(impedance, false))), 0.5);
}

TEST(TouchstoneComments, a_file_with_impedances_and_its_fifty_ohm_twin_have_the_same_y) {
  const auto impedance = [](std::size_t port, std::size_t k) {
    return Complex(port == 0 ? 7.0 : 60.0, port == 0 ? -0.8 : 4.0) *
           (1.0 + 4e-4 * std::sin(static_cast<double>(k)));
  };
  const Network network = read(solver_text(impedance, true));
  const Network twin = read(solver_text([](std::size_t, std::size_t) { return Complex(50.0); }, false));
  EXPECT_FALSE(network.matrix->references_vary);
  EXPECT_NEAR(network.matrix->references[0], 7.0, 7.0 * 1e-3);
  EXPECT_LT(distance_from_y(network), 1e-11);  // power waves are exact whatever the impedance
  EXPECT_LT(distance_from_y(twin), 1e-11);
  ASSERT_EQ(network.warnings.size(), 1U);
  EXPECT_NE(network.warnings[0].find("as power waves they are made waves of the resistances"),
            std::string::npos);
}

TEST(TouchstoneComments, units_beside_numbers_and_numbers_below_the_words_are_taken) {
  const std::string data = "# Hz S RI R 50\n1 0.1 0\n2 0.1 0\n";
  for (const char* comment : {"! Port Impedance 75Ohm\n", "! Port Impedance: 75ohms 0\n",
                              "! Port Impedance\n! 75 0\n", "! Port Impedances (ohm):\n!\n! 75\n"}) {
    EXPECT_EQ(read(comment + data).matrix->references, std::vector<double>{75}) << comment;
  }
  // Words above the statements are none.
  EXPECT_EQ(read("! Port Impedance\n! of the solver\n! 3\n! Port Impedance 75\n" + data).matrix->references,
            std::vector<double>{75});
}

TEST(TouchstoneComments, impedances_that_cannot_be_read_are_told) {
  const std::string data = "# Hz S RI R 50\n1 0.1 0\n2 0.1 0\n";
  for (const char* comment : {"! Port Impedance 75 x\n", "! Port Impedance nan 0\n", "! Port Impedance inf\n",
                              "! Port Impedance 1e999\n", "! Port Impedance -75+jx\n"}) {
    const Network network = read(comment + data);
    EXPECT_EQ(network.matrix->references, std::vector<double>{50}) << comment;
    ASSERT_EQ(network.warnings.size(), 1U) << comment;
    EXPECT_TRUE(network.warnings[0].starts_with("f, line 1: the port impedances of comments are not"))
        << network.warnings[0];
  }
  for (const char* comment : {"! Port Impedance: see below\n", "! Port Impedances of 2 ports\n"}) {
    EXPECT_TRUE(read(comment + data).warnings.empty()) << comment;
  }
}

TEST(TouchstoneComments, impedances_that_vary_leave_s_as_it_is_and_still_make_y) {
  const auto impedance = [](std::size_t port, std::size_t k) {
    return Complex(port == 0 ? 30.0 : 80.0, 1.0) * (1.0 + 2e-4 * static_cast<double>(k));
  };
  const Network network = read(solver_text(impedance, true));
  const Network without = read(solver_text(impedance, false));
  EXPECT_EQ(network.values, without.values);
  EXPECT_TRUE(network.matrix->references_vary);
  EXPECT_EQ(network.matrix->references, (std::vector<double>{50, 50}));
  ASSERT_EQ(network.impedances.size(), 2 * samples);
  EXPECT_EQ(network.impedances[samples + 3], impedance(1, 3));
  EXPECT_EQ(
      network.warnings,
      Texts{"f, line 6: S refers to port impedances of comments, which vary with frequency, so that no "
            "circuit can "
            "be made of it; polefit convert --reference 50 makes S of 50 ohms, --parameters Y admittances"});
  EXPECT_LT(distance_from_y(network), 1e-11);
  const std::vector<double> fifty{50.0};
  const Network renormalised = polefit::renormalised(network, fifty);
  EXPECT_FALSE(renormalised.matrix->references_vary);
  EXPECT_LT(distance_from_y(renormalised), 1e-11);
  // What is written reads back.
  const Network back = read(touchstone_of(network));
  EXPECT_EQ(back.impedances, network.impedances);
  EXPECT_EQ(back.values, network.values);
  Network forgotten = network;
  forgotten.impedances.clear();
  EXPECT_EQ(
      read(touchstone_of(forgotten)).warnings,
      Texts{
          "f, line 1: S is not renormalised, but no comment tells the port impedances; R 50 ohms is taken"});
}

TEST(TouchstoneComments, s_that_is_said_not_to_be_renormalised_without_impedances_is_told) {
  const auto impedance = [](std::size_t, std::size_t) { return Complex(50.0); };
  EXPECT_EQ(
      read(solver_text(impedance, false)).warnings,
      Texts{
          "f, line 1: S is not renormalised, but no comment tells the port impedances; R 50 ohms is taken"});
  EXPECT_EQ(read("! Renormalized to 50 ohm\n# Hz S RI R 50\n1 0 0\n").warnings, Texts{});
}

TEST(TouchstoneComments, impedances_are_of_each_port_once_or_at_each_frequency) {
  const std::string head = "# Hz S RI R 50\n";
  const std::string data = "1 0 0 1 0 1 0 0 0\n2 0 0 1 0 1 0 0 0\n3 0 0 1 0 1 0 0 0\n";
  const auto references_of = [&](const std::string& comments) {
    return read(head + comments + data).matrix->references;
  };
  EXPECT_EQ(references_of("! Port Impedance 20 30\n"), (std::vector<double>{20, 30}));
  EXPECT_EQ(references_of("!PORT IMPEDANCES: 20 0\n! 30 0\n"), (std::vector<double>{20, 30}));
  EXPECT_EQ(references_of("! Port Impedance = (20,0) (30,0) ohm\n"), (std::vector<double>{20, 30}));
  EXPECT_EQ(references_of("! Port Impedance 2e+1+j0 30-0j\n"), (std::vector<double>{20, 30}));
  EXPECT_EQ(references_of("! Port Impedance 20 30\n! 5 ports were left out\n"),
            (std::vector<double>{20, 30}));
  EXPECT_EQ(references_of("! Port Impedance of each port\n! Gamma 1 2\n! 3 4\n"),
            (std::vector<double>{50, 50}));
  const std::string unusable =
      "f, line 2: the port impedances of comments are not one of positive resistance for each port, once or "
      "at each "
      "frequency; R 50 ohms is taken";
  for (const char* const comments :
       {"! Port Impedance 20\n", "! Port Impedance 1 2 3 4 5 6\n", "! Port Impedance 20 30 40\n",
        "! Port Impedance -20 30\n", "! Port Impedance 20 30\n! end\n! Port Impedance 20 30\n"}) {
    EXPECT_EQ(references_of(comments), (std::vector<double>{50, 50})) << comments;
    EXPECT_EQ(read(head + comments + data).warnings, Texts{unusable}) << comments;
  }
}

TEST(TouchstoneComments, impedances_in_agreement_with_r_are_no_news) {
  EXPECT_EQ(read("# Hz S RI R 50\n1 0 0\n! Port Impedance 50 0\n2 0 0\n! Port Impedance 50 0\n").warnings,
            Texts{});
}

TEST(TouchstoneHybrids, h_and_g_become_what_is_farthest_from_singular) {
  // h11 = 100 ohms, h12 = 1e-3, h21 = 20, h22 = 1e-5 siemens, by columns.
  const Network h = read(
      "[Version] 2.0\n# Hz H RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Network Data]\n1 100 0 1e-3 0 20 0 1e-5 0\n[End]\n");
  ASSERT_EQ(h.matrix->parameter, 'Y');
  EXPECT_EQ(h.names, (Texts{"Y11", "Y12", "Y21", "Y22"}));
  // Y = [1, -h12; h21, h11 h22 - h12 h21] / h11.
  const std::vector<double> expected{0.01, -1e-5, 0.2, 1e-5 - 2e-4};
  for (std::size_t r = 0; r < 4; ++r) {
    EXPECT_NEAR(h.values[r].real(), expected[r], 20.0 * eps * 0.2);  // a few roundings of the largest element
    EXPECT_EQ(h.values[r].imag(), 0.0);
  }
  EXPECT_EQ(h.warnings, Texts{"f: H parameters, which are not fitted as they stand, are made Y parameters, "
                              "as h11 is nowhere near 0"});
  // g11 = 1/100 siemens, g22 = 3 ohms: Z = [1, -g12; g21, g11 g22 - g12 g21] / g11.
  const Network g = read("# Hz G RI R 1\n1 0.5 0 2 0 0.25 0 0.001 0\n");
  ASSERT_EQ(g.matrix->parameter, 'Z');
  EXPECT_NEAR(std::abs(g.values[0] - 2.0), 0.0, 40.0 * eps);
  EXPECT_NEAR(std::abs(g.values[1] + 0.5), 0.0, 40.0 * eps);
  EXPECT_NEAR(std::abs(g.values[2] - 4.0), 0.0, 40.0 * eps);
  EXPECT_NEAR(std::abs(g.values[3] + 0.999), 0.0, 40.0 * eps);
}

TEST(TouchstoneHybrids, an_ideal_transformer_has_neither_y_nor_z_and_becomes_s) {
  // V1 = n V2, I2 = -n I1 with n = 2 and 50 ohms: S11 = (n^2 - 1) / (n^2 + 1), S21 = 2 n / (n^2 + 1).
  const Network network = read("# Hz H RI R 50\n1 0 0 -2 0 2 0 0 0\n");
  ASSERT_EQ(network.matrix->parameter, 'S');
  EXPECT_NEAR(network.values[0].real(), 0.6, 10.0 * eps);
  EXPECT_NEAR(network.values[1].real(), 0.8, 10.0 * eps);
  EXPECT_NEAR(network.values[2].real(), 0.8, 10.0 * eps);
  EXPECT_NEAR(network.values[3].real(), -0.6, 10.0 * eps);
  EXPECT_NE(network.warnings.at(0).find("are made S parameters, as h11 and h22 are both 0 somewhere"),
            std::string::npos);
}

TEST(TouchstoneHybrids, in_version_1_each_element_is_normalised_by_its_unit) {
  const Network plain = read("# Hz H RI R 1\n1 1000 1 20 2 0.1 0.3 0.004 0.001\n");
  const Network normalised = read("# Hz H RI R 50\n1 20 0.02 20 2 0.1 0.3 0.2 0.05\n");
  EXPECT_EQ(plain.matrix->parameter, normalised.matrix->parameter);
  for (std::size_t r = 0; r < 4; ++r) {
    EXPECT_NEAR(std::abs(plain.values[r] - normalised.values[r]), 0.0,
                100.0 * eps * std::abs(plain.values[2]));
  }
}

TEST(TouchstoneHybrids, what_is_no_network_at_all_is_refused_with_the_frequency) {
  // I1 + V2 = 0 and V1 + I2 = 0 twice over: a matrix H of ones with -1 has neither.
  const auto details = io_error_of([] { read("# Hz H RI R 1\n7 0 0 -1 0 -1 0 0 0\n"); });
  EXPECT_EQ(details.found, "no S parameters at 7 Hz, where the matrix to be inverted for them is singular");
}

TEST(TouchstoneModes, mixed_modes_keep_their_order_and_are_written_back) {
  const std::string text =
      "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 3\n[Number of Frequencies] 1\n[Mixed-Mode Order] "
      "D2,3 S1 C2,3\n"
      "[Network Data]\n7 1 0 2 0 3 0\n 4 0 5 0 6 0\n 7 0 8 0 9 0\n[End]\n";
  const Network network = read(text);
  EXPECT_EQ(network.names,
            (Texts{"SDD11", "SDS12", "SDC11", "SSD21", "SSS22", "SSC21", "SCD11", "SCS12", "SCC11"}));
  EXPECT_EQ(network.matrix->references, (std::vector<double>{100, 50, 25}));
  EXPECT_EQ(network.warnings, Texts{});
  EXPECT_EQ(touchstone_of(network), text);
  EXPECT_EQ(touchstone_of(network, {.version = 1}), text);
}

TEST(TouchstoneModes, s_of_modes_is_that_of_their_voltages_and_currents) {
  // A series resistance of 30 ohms between ports 1 and 2, and 10 ohms from each to the reference.
  const double g = 0.1;
  const double series = 1.0 / 30.0;
  const Complexes y{g + series, -series, -series, g + series};
  const Complexes s = s_of(y, {50.0, 50.0});
  std::string text =
      "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Mixed-Mode Order] D1,2 C1,2\n[Network Data]\n1";
  // The modes of equal ports are (1, -1) and (1, 1) over sqrt 2.
  append(text, ((s[0] - s[1] - s[2] + s[3]) / 2.0).real());
  text += " 0 0 0 0 0";
  append(text, ((s[0] + s[1] + s[2] + s[3]) / 2.0).real());
  text += " 0\n[End]\n";
  const Network modes = polefit::converted(read(text), 'Y');
  EXPECT_EQ(modes.names, (Texts{"YDD11", "YDC11", "YCD11", "YCC11"}));
  // V_d across 20 ohms in parallel with 30, V_c on 10 ohms twice.
  EXPECT_NEAR(modes.values[0].real(), 1.0 / 20.0 + 1.0 / 30.0, 100.0 * eps);
  EXPECT_NEAR(modes.values[3].real(), 0.2, 100.0 * eps);
}

TEST(TouchstoneModes, responses_of_modes_are_chosen_by_their_own_names) {
  const Network network = read(
      "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Mixed-Mode Order] D1,2 C1,2\n[Network Data]\n1 1 0 2 0 3 0 4 0\n[End]\n");
  const Texts own{"SCD11"};
  EXPECT_EQ(polefit::select_responses(network, own).values, (Complexes{3.0}));
  const Texts of_ports{"S21"};
  EXPECT_THROW(polefit::select_responses(network, of_ports), polefit::Error);
}

TEST(TouchstoneModes, different_references_of_a_pair_are_refused) {
  EXPECT_EQ(io_error_of([] {
              read(
                  "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 2\n[Reference] 50 60\n[Mixed-Mode Order] "
                  "D1,2 C1,2\n"
                  "[Network Data]\n");
            }).found,
            "different references of the ports of D1,2");
}

TEST(TouchstoneVersions, references_on_the_option_line_are_version_1_1_and_2_1) {
  const Network older = read("# Hz S RI R 50 75\n1 1 0 2 0 3 0 4 0\n");
  EXPECT_EQ(older.matrix->references, (std::vector<double>{50, 75}));
  EXPECT_EQ(touchstone_of(older, {.version = 11}), "# Hz S RI R 50 75\n1 1 0 2 0 3 0 4 0\n");
  const std::string newer =
      "[Version] 2.1\n# Hz S RI R 50 75\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n[Number of "
      "Frequencies] 1\n"
      "[Network Data]\n1 1 0 3 0 2 0 4 0\n[End]\n";
  EXPECT_EQ(touchstone_of(older, {.version = 21}), newer);
  EXPECT_EQ(read(newer).matrix->references, older.matrix->references);
  EXPECT_EQ(read(newer).values, older.values);
}

TEST(TouchstoneVersions, what_version_2_should_have_and_has_not_is_told) {
  const Network network =
      read("[Version] 2.1\n# Hz S RI R 50\n[Number of Ports] 2\n[Network Data]\n1 11 0 21 0 12 0 22 0\n");
  EXPECT_EQ(network.values, (Complexes{11, 12, 21, 22}));
  EXPECT_EQ(network.warnings, (Texts{"f, line 4: [Network Data] of 2 ports without [Two-Port Data Order] "
                                     "before it; 21_12 is taken, as in "
                                     "versions 1.x",
                                     "f, line 5: the file ends without [End]; it may have been cut off"}));
}

TEST(TouchstoneDoubts, normalised_values_that_only_make_sense_plain_are_told) {
  const std::string doubt =
      " is read as normalised to R 50 ohms, as versions 1.x have it, and every port then has more than 100 "
      "kilohms at "
      "all frequencies; if the file means ";
  EXPECT_EQ(read("# Hz Y RI R 50\n1 2e-4 0\n2 1e-4 1e-4\n").warnings,
            Texts{"f: Y" + doubt + "siemens, its option line should say R 1"});
  EXPECT_EQ(read("# Hz Z RI R 50\n1 3e3 0\n2 1e4 0\n").warnings,
            Texts{"f: Z" + doubt + "ohms, its option line should say R 1"});
  for (const char* const plausible :
       {"# Hz Y RI R 50\n1 2e-4 0\n2 1e-2 0\n", "# Hz Z RI R 50\n1 3e3 0\n2 1e3 0\n",
        "# Hz Y RI R 1\n1 1e-7 0\n", "# Hz Y RI R 50\n1 1e-9 0\n", "# Hz Z RI R 50\n1 1 0\n",
        "# Hz Y RI R 50\n1 0 0\n", "# Hz S RI R 50\n1 1e-9 0\n"}) {
    EXPECT_EQ(read(plausible).warnings, Texts{}) << plausible;
  }
}

}  // namespace
