// SPDX-License-Identifier: BSD-3-Clause
// Loads plugins into one process, their symbols global, and runs each: host FILE PLUGIN...
#include <cstdio>
#include <dlfcn.h>
#include <vector>

int main(int argc, char** argv) {
  using Run = int (*)(int, char**);
  std::vector<Run> runs;
  for (int i = 2; i < argc; ++i) {
    void* const plugin = dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL);
    void* const run = plugin != nullptr ? dlsym(plugin, "_Z3runiPPc") : nullptr;
    if (run == nullptr) {
      std::fprintf(stderr, "%s\n", dlerror());
      return 2;
    }
    runs.push_back(reinterpret_cast<Run>(run));
  }
  int failures = 0;
  for (const Run run : runs) failures += run(2, argv) == 0 ? 0 : 1;
  return failures;
}
