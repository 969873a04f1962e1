// SPDX-License-Identifier: BSD-3-Clause
// Refines points, converts frames to LAS records and loads pose files.
#include <array>

#include <benchmark/benchmark.h>

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/refine_point.h"
#include "pcbin_las/export/write_las.h"
#include "per_item.h"
#include "survey.h"

namespace {

constexpr unsigned kSweeps = 100;

norvo::PGOResultMsg somePoses() {
  const bench::TempDir directory;
  bench::writePoses(directory.file("pgo.csv"), kSweeps);
  norvo::PGOResultMsg poses;
  loadPgoFile(directory.file("pgo.csv"), poses);
  return poses;
}

/// A cloud with runs of `run` points of the same sweep.
auto cloudInRuns(std::int64_t run) {
  auto cloud = bench::sweepCloud(0, bench::kFramePoints);
  for (std::uint32_t i = 0; i < bench::kFramePoints; ++i)
    cloud->points[i].sweepid = i / static_cast<std::uint32_t>(run) % kSweeps;
  return cloud;
}

void refinePoints(benchmark::State& state) {
  const norvo::PGOResultMsg poses = somePoses();
  const auto cloud = cloudInRuns(state.range(0));
  SweepMotion motion;
  for ([[maybe_unused]] const auto step : state) {
    unsigned i = 0;
    for (const norvo::PointRGBIST& point : cloud->points)
      benchmark::DoNotOptimize(refinePoint(point, i++, poses, motion));
  }
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}
BENCHMARK(refinePoints)->ArgName("run")->Arg(bench::kFramePoints)->Arg(100)->Arg(1);

/// Frames in batches of ten, as in a conversion, so that their points are not in the fast caches.
void writeFrameAsLas(benchmark::State& state) {
  const norvo::PGOResultMsg poses = somePoses();
  std::array<std::shared_ptr<modeling_app::PclRGBFrame>, 10> frames;
  for (auto& frame : frames) {
    frame = std::make_shared<modeling_app::PclRGBFrame>();
    frame->cloud = cloudInRuns(state.range(0));
  }
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  const auto writer = std::make_shared<pontra::LasWriter>();
  writer->open(header, "/dev/null", 32U << 20);
  std::size_t next = 0;
  for ([[maybe_unused]] const auto step : state)
    write_las(writer, frames[next++ % frames.size()], poses);
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}
BENCHMARK(writeFrameAsLas)->ArgName("run")->Arg(bench::kFramePoints)->Arg(100)->Arg(1);

void loadPoses(benchmark::State& state) {
  const auto sweeps = static_cast<unsigned>(state.range(0));
  const bench::TempDir directory;
  bench::writePoses(directory.file("pgo.csv"), sweeps);
  for ([[maybe_unused]] const auto step : state) {
    norvo::PGOResultMsg poses;
    loadPgoFile(directory.file("pgo.csv"), poses);
    if (poses.pgoPoses.size() != sweeps) state.SkipWithError("poses are missing");
  }
  bench::reportPerItem(state, "per_line", state.iterations() * state.range(0));
}
BENCHMARK(loadPoses)->ArgName("lines")->Arg(50000)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
