// SPDX-License-Identifier: BSD-3-Clause
// Runs two commands in turn, A B A B ..., and compares their cost. Each run has an empty standard
// input; the output files of the previous run are removed first.
//
//   run_pairs PAIRS REMOVE STDOUT -- A... [-- B...]
//
// REMOVE is a pattern of files to remove before each run. STDOUT is the file for the standard
// output, created for each run. Prints one line: for A and for B the median wall time and CPU time
// (user and system) in seconds and the peak memory in KiB, then the median ratios A / B of the
// pairs, of wall time and of CPU time, and A's median user time in seconds. Without B, its numbers
// are 0.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <glob.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "system_calls.h"
#include "timing.h"

namespace {

struct Cost {
  double wall = 0;  ///< seconds
  double cpu = 0;   ///< seconds
  long memory = 0;  ///< KiB
  double user = 0;  ///< seconds, part of cpu
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

void removeFiles(const char* pattern) {
  glob_t found{};
  if (::glob(pattern, 0, nullptr, &found) == 0) {
    for (std::size_t i = 0; i < found.gl_pathc; ++i) ::unlink(found.gl_pathv[i]);
  }
  ::globfree(&found);
}

[[noreturn]] void execute(char** command, const char* output) {
  const int input = ::open("/dev/null", O_RDONLY);
  const int lines = ::open(output, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (::dup2(input, STDIN_FILENO) < 0 || ::dup2(lines, STDOUT_FILENO) < 0) ::_exit(126);
  ::execvp(command[0], command);
  ::_exit(127);
}

Cost run(char** command, const char* remove, const char* output) {
  removeFiles(remove);
  if (std::strcmp(output, "/dev/null") != 0) ::unlink(output);
  const double start = bench::now();
  const pid_t child = ::fork();
  if (child < 0) bench::fail("fork");
  if (child == 0) execute(command, output);
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child) bench::fail("wait4");
  const double end = bench::now();
  if (status != 0) {
    std::fprintf(stderr, "%s failed with status %d\n", command[0], status);
    std::exit(1);
  }
  const double user = seconds(usage.ru_utime);
  return {end - start, user + seconds(usage.ru_stime), usage.ru_maxrss, user};
}

/// The median of one member of `costs`.
template <class Member>
double medianOf(const std::vector<Cost>& costs, Member member) {
  std::vector<double> values;
  values.reserve(costs.size());
  for (const Cost& cost : costs) values.push_back(cost.*member);
  return bench::median(values);
}

void printCosts(const std::vector<Cost>& costs) {
  long peak = 0;
  for (const Cost& cost : costs) peak = std::max(peak, cost.memory);
  std::printf("%.6f %.6f %ld ", medianOf(costs, &Cost::wall), medianOf(costs, &Cost::cpu), peak);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6 || std::strcmp(argv[4], "--") != 0) {
    std::fprintf(stderr, "usage: %s PAIRS REMOVE STDOUT -- A... [-- B...]\n", argv[0]);
    return 2;
  }
  const int pairs = std::atoi(argv[1]);
  const char* const remove = argv[2];
  const char* const output = argv[3];
  char** const a = argv + 5;
  char** b = a;
  while (*b != nullptr && std::strcmp(*b, "--") != 0) ++b;
  const bool two = *b != nullptr;
  if (two) *b++ = nullptr;  // ends A's arguments
  if (*a == nullptr || (two && *b == nullptr)) return 2;

  std::vector<Cost> costsA;
  std::vector<Cost> costsB;
  std::vector<Cost> ratios;
  for (int pair = -1; pair < pairs; ++pair) {  // pair -1 fills the page cache
    const Cost costA = run(a, remove, output);
    const Cost costB = two ? run(b, remove, output) : Cost{};
    if (pair < 0) continue;
    costsA.push_back(costA);
    if (!two) continue;
    costsB.push_back(costB);
    ratios.push_back({costA.wall / costB.wall, costA.cpu / costB.cpu});
  }
  removeFiles(remove);
  printCosts(costsA);
  printCosts(costsB);
  std::printf("%.4f %.4f %.6f\n", medianOf(ratios, &Cost::wall), medianOf(ratios, &Cost::cpu),
              medianOf(costsA, &Cost::user));
  return 0;
}
