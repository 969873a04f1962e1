// Runs two commands in turn, A B A B ..., and compares what they cost. Each run starts with an
// empty standard input and without the files of the run before.
//
//   run_pairs PAIRS REMOVE STDOUT -- A... [-- B...]
//
// REMOVE is a pattern of files to remove before each run, STDOUT the file that takes the standard
// output and that is made anew each time. Prints one line: of A and of B the median wall time and
// CPU time (user and system) in seconds and the peak memory in KiB, then the medians of the pairs'
// ratios A / B of wall time and of CPU time. Without B its numbers are 0.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <glob.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Cost {
  double wall = 0;  ///< seconds
  double cpu = 0;   ///< seconds
  long memory = 0;  ///< KiB
};

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

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
  const double start = now();
  const pid_t child = ::fork();
  if (child < 0) fail("fork");
  if (child == 0) execute(command, output);
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child) fail("wait4");
  const double end = now();
  if (status != 0) {
    std::fprintf(stderr, "%s failed with status %d\n", command[0], status);
    std::exit(1);
  }
  return {end - start, seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

template <class Value>
double median(const std::vector<Cost>& costs, Value value) {
  std::vector<double> values;
  values.reserve(costs.size());
  for (const Cost& cost : costs) values.push_back(static_cast<double>(value(cost)));
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  if (values.empty()) return 0;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void printCosts(const std::vector<Cost>& costs) {
  long peak = 0;
  for (const Cost& cost : costs) peak = std::max(peak, cost.memory);
  std::printf("%.6f %.6f %ld ", median(costs, [](const Cost& cost) { return cost.wall; }),
              median(costs, [](const Cost& cost) { return cost.cpu; }), peak);
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
  for (int pair = -1; pair < pairs; ++pair) {  // the first warms the page cache up
    const Cost costA = run(a, remove, output);
    const Cost costB = two ? run(b, remove, output) : Cost{};
    if (pair < 0) continue;
    costsA.push_back(costA);
    if (!two) continue;
    costsB.push_back(costB);
    ratios.push_back({costA.wall / costB.wall, costA.cpu / costB.cpu, 0});
  }
  removeFiles(remove);
  printCosts(costsA);
  printCosts(costsB);
  std::printf("%.4f %.4f\n", median(ratios, [](const Cost& ratio) { return ratio.wall; }),
              median(ratios, [](const Cost& ratio) { return ratio.cpu; }));
  return 0;
}
