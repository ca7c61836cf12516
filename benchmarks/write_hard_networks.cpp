/// Writes networks on which it is hard to find the order as Touchstone files, and prints their names.
/// Usage: write_hard_networks FOLDER [NETWORK...], by default all.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "polefit/hard_networks.hpp"

namespace {

void write(const std::filesystem::path& folder, const std::string& name) {
  const polefit::Network network = polefit::hard_networks::made(name).network;
  polefit::write_touchstone(network, (folder / network.file).string());
  std::printf("%s\n", network.file.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: write_hard_networks FOLDER [NETWORK...]\n");
    return 2;
  }
  try {
    std::vector<std::string> names(argv + 2, argv + argc);
    if (names.empty()) {
      for (const polefit::hard_networks::Recipe& recipe : polefit::hard_networks::recipes()) {
        names.push_back(recipe.name);
      }
    }
    std::filesystem::create_directories(argv[1]);
    for (const std::string& name : names) {
      write(argv[1], name);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "write_hard_networks: %s\n", error.what());
    return 1;
  }
}
