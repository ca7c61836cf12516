/// Runs a fuzz target on the files of the folders it is given: the corpus as a test, without a fuzzer.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz.hpp"

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      files.push_back(std::filesystem::absolute(entry.path()));
    }
  }
  if (files.empty()) {
    std::cerr << "no corpus to replay\n";
    return 1;
  }
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::cerr << file.filename().string() << '\n';  // the last name is the one that failed
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  }
  return 0;
}
