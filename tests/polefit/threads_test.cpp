/// What several threads of one process do at once, each with threads of its own.

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "passive_networks.hpp"
#include "polefit/exports.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"

namespace polefit {
namespace {

/// With noise, so that searches end in more than one way.
Network network_of(std::uint64_t seed, std::size_t ports, std::size_t samples) {
  Network network = passive_networks::passive_network(seed, ports, samples, 'S');
  passive_networks::add_noise(network, seed % 2 == 0 ? 1e-4 : 1e-2, seed);
  return network;
}

Options options_of(int threads, bool orthogonal = false) {
  Options options;
  options.complex_pairs = 6;
  options.orthogonal = orthogonal;
  options.threads = threads;
  return options;
}

/// To the bit: of the numbers of a model file each has the digits to read the same double back.
std::string text_of(const Fit& found) {
  const Report& report = found.report;
  std::string text = to_json(found.model);
  for (const double value : {report.residual, report.condition_basis, report.condition_sigma, report.gain,
                             report.relative_error, report.largest_error}) {
    char number[40];
    std::snprintf(number, sizeof number, "%a ", value);
    text += number;
  }
  return text + std::to_string(report.iterations) + report.finding;
}

/// Something to be done with a number of threads, whose outcome is a text.
using Job = std::function<std::string(int threads)>;

std::vector<Job> jobs() {
  std::vector<Job> all;
  for (const std::uint64_t seed : {3U, 4U}) {
    const Network network = network_of(seed, 2 + seed % 2, 90);
    all.emplace_back([=](int threads) { return text_of(fit(network, options_of(threads))); });
    all.emplace_back([=](int threads) { return text_of(fit(network, options_of(threads, true))); });
    all.emplace_back([=](int threads) {
      return text_of(fit_to_error(network, {.error = 1e-3}, options_of(threads)).fit);
    });
    all.emplace_back([=](int threads) {
      const PassiveSearch found = fit_to_error_passively(network, {.error = 1e-2}, options_of(threads));
      return text_of(found.search.fit) + std::to_string(found.enforcement.rounds);
    });
    const Model model = fit(network, options_of(1)).model;
    all.emplace_back([=](int) { return spice_subcircuit(model, "model") + state_space_text(model); });
    all.emplace_back([=](int) {
      return csv_text(sampled(model, network.frequencies, "model")) +
             touchstone_text(sampled(model, network.frequencies, "model"));
    });
    all.emplace_back([=](int) { return to_json(model_from_json(to_json(model))); });
  }
  return all;
}

TEST(Threads, of_one_process_find_at_once_what_one_finds_alone) {
  const std::vector<Job> all = jobs();
  std::vector<std::string> expected;
  for (const Job& job : all) {
    expected.push_back(job(1));
  }

  constexpr std::size_t callers = 8;
  std::vector<std::vector<std::string>> found(callers, std::vector<std::string>(all.size()));
  std::barrier together(callers);
  {
    std::vector<std::jthread> running;
    for (std::size_t caller = 0; caller < callers; ++caller) {
      running.emplace_back([&, caller] {
        together.arrive_and_wait();
        // Each begins elsewhere, and half of them pass by the same jobs at the same time.
        for (std::size_t i = 0; i < all.size(); ++i) {
          const std::size_t job = (i + caller / 2) % all.size();
          found[caller][job] = all[job](static_cast<int>(1 + caller));
        }
      });
    }
  }
  for (std::size_t caller = 0; caller < callers; ++caller) {
    for (std::size_t job = 0; job < all.size(); ++job) {
      EXPECT_EQ(found[caller][job], expected[job]) << "job " << job << " with " << 1 + caller << " threads";
    }
  }
}

}  // namespace
}  // namespace polefit
