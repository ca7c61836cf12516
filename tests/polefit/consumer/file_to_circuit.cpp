#include <cstdio>
#include <polefit/exports.hpp>
#include <polefit/network.hpp>

int main() {
  try {
    const polefit::Network network = polefit::read_network("filter.s2p");
    const polefit::Search search = polefit::fit_to_error(network, {.error = 1e-4});
    std::printf("%zu poles, error %.1e\n", search.fit.model.poles.size(), search.error);
    polefit::write_spice(search.fit.model, "filter.cir", "filter");
    return search.end == polefit::SearchEnd::target_met ? 0 : 1;
  } catch (const polefit::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
