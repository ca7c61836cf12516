#include "polefit/whole_fit.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <optional>
#include <string>

#include "polefit/error.hpp"
#include "polefit/passive_networks.hpp"

namespace {

using namespace polefit;
using passive_networks::Kind;

/// Of S whose models exceed 1.
Network violating() { return passive_networks::passive_network(Kind::ladder, 4, 2, 150, 'S'); }

struct Interrupted {};

/// Calls of the hook before `action` came to its end.
int calls_of(const std::function<void(std::function<void()>)>& action) {
  int calls = 0;
  action([&] { ++calls; });
  return calls;
}

/// Whether what the hook throws at its call with that number comes out.
bool comes_out(int call, const std::function<void(std::function<void()>)>& action) {
  try {
    action([&call] {
      if (--call == 0) {
        throw Interrupted();
      }
    });
  } catch (const Interrupted&) {
    return true;
  }
  return false;
}

TEST(WholeFit, of_samples_is_that_of_their_network) {
  const Network network = violating();
  for (const std::optional<std::size_t> poles :
       {std::optional<std::size_t>(), std::optional<std::size_t>(8)}) {
    const WholeFit of_network = whole_fit(network, {.poles = poles});
    const WholeFit of_data = whole_fit(network.data(), network.matrix, {.poles = poles});
    EXPECT_EQ(of_network.fit.model.poles, of_data.fit.model.poles);
    EXPECT_EQ(of_network.fit.model.residues, of_data.fit.model.residues);
    EXPECT_TRUE(of_data.fit.model.passivity->passive);
    EXPECT_EQ(of_data.fit.model.network->parameter, 'S');
  }
}

TEST(WholeFit, of_no_matrix_is_the_plain_fit_and_has_no_passivity) {
  const Network network = violating();
  const WholeFit found = whole_fit(network.data(), std::nullopt);
  EXPECT_EQ(found.fit.model.residues, fit_to_error(network.data(), {}).fit.model.residues);
  EXPECT_FALSE(found.to_be_passive);
  EXPECT_FALSE(found.passivity);
  EXPECT_TRUE(converged(found));
}

TEST(WholeFit, choices_that_contradict_each_other_are_refused) {
  const Network network = violating();
  const auto kind_of = [&](const WholeFitOptions& options, const std::optional<NetworkMatrix>& matrix) {
    try {
      whole_fit(network.data(), matrix, options);
    } catch (const Error& error) {
      return std::optional(error.kind());
    }
    return std::optional<ErrorKind>();
  };
  EXPECT_EQ(kind_of({.poles = 4, .real_poles = 5}, network.matrix), ErrorKind::bad_option);
  EXPECT_EQ(kind_of({.poles = 4, .real_poles = 1}, network.matrix), ErrorKind::bad_option);
  EXPECT_EQ(kind_of({.poles = 4, .error = 0.0}, network.matrix), ErrorKind::bad_option);
  EXPECT_EQ(kind_of({.error = std::numeric_limits<double>::infinity()}, network.matrix),
            ErrorKind::bad_option);
  EXPECT_EQ(kind_of({.passive = true}, std::nullopt), ErrorKind::bad_shape);
  Options unstable;
  unstable.stable = false;
  EXPECT_EQ(kind_of({.passive = true, .options = unstable}, network.matrix), ErrorKind::bad_option);
  EXPECT_EQ(kind_of({.poles = 4, .options = unstable}, network.matrix), std::nullopt);
}

TEST(WholeFit, a_matrix_that_is_none_is_refused) {
  const Network network = violating();
  const auto message = [&](auto spoil) {
    NetworkMatrix matrix = *network.matrix;
    spoil(matrix);
    try {
      whole_fit(network.data(), matrix, {.poles = 4});
    } catch (const Error& error) {
      return error.kind() == ErrorKind::bad_shape ? std::string(error.what()) : "another kind";
    }
    return std::string("none");
  };
  EXPECT_EQ(message([](NetworkMatrix&) {}), "none");
  EXPECT_EQ(message([](NetworkMatrix& matrix) { matrix.parameter = 'Q'; }),
            "network.parameter is none of S, Y and Z");
  EXPECT_EQ(message([](NetworkMatrix& matrix) { matrix.references[1] = -50.0; }),
            "network.references[1] is not a finite number above 0");
  EXPECT_EQ(message([](NetworkMatrix& matrix) { matrix.elements.pop_back(); }),
            "there are 3 matrix elements, expected 4, one a response");
}

TEST(WholeFit, what_the_hook_throws_comes_out_of_every_stage) {
  const Network network = violating();
  for (const std::optional<std::size_t> poles :
       {std::optional<std::size_t>(), std::optional<std::size_t>(8)}) {
    const auto action = [&](std::function<void()> hook) {
      WholeFitOptions options{.poles = poles};
      options.options.check_in = std::move(hook);
      whole_fit(network, options);
    };
    const int calls = calls_of(action);
    EXPECT_GE(calls, 3);
    for (int call = 1; call <= calls; ++call) {
      EXPECT_TRUE(comes_out(call, action)) << call;
    }
    EXPECT_FALSE(comes_out(calls + 1, action));
  }
}

TEST(WholeFit, an_enforcement_checks_in_once_a_round) {
  const Network network = violating();
  const Model model = fit(network, {}).model;
  std::size_t rounds = 0;
  const int calls = calls_of([&](std::function<void()> hook) {
    rounds = enforce_passivity(model, network, {.check_in = std::move(hook)}).report.rounds;
  });
  ASSERT_GE(rounds, 1U);
  EXPECT_EQ(static_cast<std::size_t>(calls), rounds);
}

}  // namespace
