// SPDX-License-Identifier: BSD-3-Clause
// Replaces the fuzzer: runs a fuzz target with every file of the given directories.
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "support/temp_dir.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::printf("%s\n", entry.path().c_str());
      std::fflush(stdout);
      const std::string bytes = test::readFile(entry.path());
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  return count > 0 ? 0 : 1;
}
