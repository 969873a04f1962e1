// SPDX-License-Identifier: BSD-3-Clause
// Printing lines.
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "pcbin_las/platform/date_time.h"
#include "pcbin_las/platform/tracer.h"

namespace {

class NullSink : public ferrun::TracerSink {
 public:
  void write(const char* lines, std::size_t size) override {
    benchmark::DoNotOptimize(lines);
    benchmark::DoNotOptimize(size);
  }
};

/// Prints the line of the LAS viewer for one point, with its time text.
void printLines(benchmark::State& state, const std::shared_ptr<ferrun::TracerSink>& sink) {
  ferrun::Tracer tracer;
  tracer.addSink(sink);
  tracer.start();
  unsigned index = 0;
  for ([[maybe_unused]] const auto step : state) {
    tracer.print(1, "<I>%s [%s] xyz:[%d, %d, %d] rgbi[%d, %d, %d, %d] timestamp: %.6f",
                 ferrun::DateTime::getDateTime().toString().c_str(), "las_view", index, -20000,
                 3125, 128, 64, 32, 4000, 1700000000.125 + index);
    ++index;
  }
  tracer.flush();
}

void printLineToNothing(benchmark::State& state) {
  printLines(state, std::make_shared<NullSink>());
}
BENCHMARK(printLineToNothing);

/// Prints through the tool's sink to /dev/null.
void printLineToStandardOutput(benchmark::State& state) {
  const int saved = ::dup(STDOUT_FILENO);
  const int nothing = ::open("/dev/null", O_WRONLY);
  if (::dup2(nothing, STDOUT_FILENO) < 0) std::abort();
  printLines(state, std::make_shared<ferrun::STDSink>());
  if (::dup2(saved, STDOUT_FILENO) < 0) std::abort();
  ::close(nothing);
  ::close(saved);
}
BENCHMARK(printLineToStandardOutput);

void makeTimeText(benchmark::State& state) {
  for ([[maybe_unused]] const auto step : state)
    benchmark::DoNotOptimize(ferrun::DateTime::getDateTime().toString());
}
BENCHMARK(makeTimeText);

}  // namespace
