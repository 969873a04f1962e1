// SPDX-License-Identifier: BSD-3-Clause
// Encoding and appending LAS points.
#include <benchmark/benchmark.h>

#include "pcbin_las/las/las_writer.h"
#include "per_item.h"
#include "survey.h"

namespace {

void writePoints(benchmark::State& state, const std::string& path) {
  const auto cloud = bench::sweepCloud(0, bench::kFramePoints);
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  pontra::LasWriter writer;
  if (!writer.open(header, path, 32U << 20)) state.SkipWithError("no file");
  for ([[maybe_unused]] const auto step : state) {
    for (const norvo::PointRGBIST& point : cloud->points)
      writer.writePoint({point.x, point.y, point.z, point.r, point.g, point.b, 7, point.timestamp});
  }
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}

void writePointsToNothing(benchmark::State& state) {
  writePoints(state, "/dev/null");
}
BENCHMARK(writePointsToNothing);

void writePointsToDisk(benchmark::State& state) {
  const bench::TempDir directory;
  writePoints(state, directory.file("map.las"));
}
BENCHMARK(writePointsToDisk)->Iterations(500);

}  // namespace
