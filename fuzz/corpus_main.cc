// Runs a fuzz target once over each file of the folders given, for builds without libFuzzer.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_target.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
      std::printf("%s\n", entry.path().c_str());
      std::fflush(stdout);
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++inputs;
    }
    if (inputs == 0) {
      std::fprintf(stderr, "%s: no input in this folder\n", argv[i]);
      return 1;
    }
  }
  if (vam::requirements == 0) {
    std::fputs("the target requires nothing of the code that it runs\n", stderr);
    return 1;
  }
  return argc > 1 ? 0 : 1;
}
