// Refines points, converts frames to LAS records and loads pose files.
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

/// Refines points in runs of `run` points of the same sweep.
void refinePoints(benchmark::State& state) {
  const norvo::PGOResultMsg poses = somePoses();
  const auto cloud = bench::sweepCloud(0, bench::kFramePoints);
  const auto run = static_cast<std::uint32_t>(state.range(0));
  for (std::uint32_t i = 0; i < bench::kFramePoints; ++i)
    cloud->points[i].sweepid = i / run % kSweeps;
  SweepMotion motion;
  for ([[maybe_unused]] const auto step : state) {
    unsigned i = 0;
    for (const norvo::PointRGBIST& point : cloud->points)
      benchmark::DoNotOptimize(refinePoint(point, i++, poses, motion));
  }
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}
BENCHMARK(refinePoints)->ArgName("run")->Arg(bench::kFramePoints)->Arg(100)->Arg(1);

void writeFrameAsLas(benchmark::State& state) {
  const norvo::PGOResultMsg poses = somePoses();
  const auto frame = std::make_shared<modeling_app::PclRGBFrame>();
  frame->cloud = bench::sweepCloud(0, bench::kFramePoints);
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  const auto writer = std::make_shared<pontra::LasWriter>();
  writer->open(header, "/dev/null", 32U << 20);
  for ([[maybe_unused]] const auto step : state) write_las(writer, frame, poses);
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}
BENCHMARK(writeFrameAsLas);

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
