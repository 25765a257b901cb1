/* Runs a target once over each file of a folder, as an ordinary test. */
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "world.hpp"

namespace {

void run(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
  // A block of exactly this size, so that a step outside is one outside the block.
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  if (LLVMFuzzerInitialize(&argc, &argv) != 0) {
    return 2;
  }
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  run("/dev/null");
  for (const auto& path : inputs) {
    fprintf(stderr, "%s\n", path.filename().c_str());
    run(path);
  }
  fprintf(stderr, "%zu inputs from %s, and the empty one\n", inputs.size(), argv[1]);
  return inputs.empty() ? 1 : 0;
}
