// SPDX-License-Identifier: BSD-3-Clause
// Reading and writing pcbin files.
#include <chrono>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "pcbin_las/storage/point_codec.h"
#include "per_item.h"
#include "survey.h"
#include "system_calls.h"
#include "timing.h"
#include "write_pcbin.h"

namespace {

using modeling_app::RgbPointRecord;

constexpr unsigned kBuffer = 4U << 20;  // bytes, as the conversion's reader and the pipeline use

void readFrame(benchmark::State& state) {
  const bench::TempDir directory;
  const std::string path = directory.file("survey.pcbin");
  bench::writeSurvey(path, 50, bench::kFramePoints);
  modeling_app::PcbReader reader;
  reader.open(path, kBuffer);
  const auto batch = static_cast<unsigned>(state.range(0));
  std::int64_t points = 0;
  for ([[maybe_unused]] const auto step : state) {
    const auto frames = reader.readPclRGB(batch);
    points += std::int64_t{bench::kFramePoints} * static_cast<std::int64_t>(frames.size());
    if (!frames.empty()) continue;
    state.PauseTiming();
    reader.close();
    reader.open(path, kBuffer);
    state.ResumeTiming();
  }
  bench::reportPerItem(state, "per_point", points);
}
BENCHMARK(readFrame)->ArgName("batch")->Arg(1)->Arg(10);

void decodePoints(benchmark::State& state) {
  const auto cloud = bench::sweepCloud(0, bench::kFramePoints);
  std::vector<RgbPointRecord> records;
  for (const auto& point : cloud->points) records.push_back(modeling_app::encodePoint(point));
  for ([[maybe_unused]] const auto step : state) {
    for (std::size_t i = 0; i < records.size(); ++i)
      modeling_app::decodePoint(records[i], cloud->points[i]);
    benchmark::DoNotOptimize(cloud->points.data());
    benchmark::ClobberMemory();
  }
  bench::reportPerItem(state, "per_point", state.iterations() * std::int64_t{bench::kFramePoints});
}
BENCHMARK(decodePoints);

void waitUntilWritten(const ferrun::AsyncTaskQueue& queue) {
  while (queue.size() > 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
}

/// The duration of a writePcl() call: while the worker is busy with earlier frames, or while it
/// sleeps because frames are queued slowly.
void writePclCall(benchmark::State& state) {
  const auto cloud = bench::sweepCloud(0, static_cast<unsigned>(state.range(0)));
  const bool slowly = state.range(1) != 0;
  const auto queue = std::make_shared<ferrun::AsyncTaskQueue>("frames");
  queue->init(1, {});
  modeling_app::PcbWriter writer(queue);
  writer.open("/dev/null", kBuffer);
  std::vector<double> times;
  for ([[maybe_unused]] const auto step : state) {
    const double start = bench::now();
    writer.writePcl(cloud);
    const double time = bench::now() - start;
    state.SetIterationTime(time);
    times.push_back(time);
    if (!slowly) continue;
    waitUntilWritten(*queue);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  waitUntilWritten(*queue);
  writer.close();
  state.counters["median"] = bench::median(times);
}
BENCHMARK(writePclCall)
    ->ArgNames({"points", "slowly"})
    ->ArgsProduct({{10, 20000, 200000}, {0, 1}})
    ->UseManualTime()
    ->Iterations(500);

constexpr unsigned kFrames = 100;

double writeFrames(const std::string& path, const std::shared_ptr<norvo::RgbCloud>& cloud) {
  ::unlink(path.c_str());
  const double start = bench::now();
  if (!writePcbin(path, kFrames, [&](unsigned) { return cloud; })) bench::fail(path.c_str());
  return bench::now() - start;
}

double writePlainly(const std::string& path, const std::vector<char>& bytes) {
  ::unlink(path.c_str());
  const double start = bench::now();
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file < 0) bench::fail(path.c_str());
  bench::writeAll(file, bytes.data(), bytes.size());
  ::close(file);
  return bench::now() - start;
}

/// The time to write frames and close the file, compared with one write(2) of the same size.
void writeFramesToDisk(benchmark::State& state) {
  const bench::TempDir directory;
  const auto cloud = bench::sweepCloud(0, bench::kFramePoints);
  const std::vector<char> bytes(
      std::size_t{kFrames} * (48 + bench::kFramePoints * sizeof(RgbPointRecord)), 'x');
  std::vector<double> ratios;
  for ([[maybe_unused]] const auto step : state) {
    const double plainly = writePlainly(directory.file("plain"), bytes);
    const double time = writeFrames(directory.file("survey.pcbin"), cloud);
    state.SetIterationTime(time);
    ratios.push_back(time / plainly);
  }
  bench::reportPerItem(state, "per_point",
                       state.iterations() * std::int64_t{kFrames} * bench::kFramePoints);
  state.counters["to_plain_write"] = bench::median(ratios);
}
BENCHMARK(writeFramesToDisk)->UseManualTime()->Iterations(11)->Unit(benchmark::kMillisecond);

}  // namespace
