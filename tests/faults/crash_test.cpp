// SPDX-License-Identifier: BSD-3-Clause
// The file on disk when the program ends after or within any of its writes.
#include <filesystem>
#include <functional>

#include <gmock/gmock.h>

#include "pcbin_las/app/batch.h"
#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "support/fault_injection.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;

/// The states of the file that `write` writes.
std::vector<Bytes> statesOf(const std::function<void()>& write) {
  const test::WriteRecording recording;
  write();
  return recording.states();
}

TEST(Crash, LeavesALasFileThatAnnouncesNoMoreThanItHolds) {
  const test::TempDir dir;
  const std::string pcbin = dir.write("a", test::rgbFile(3, 5000));
  const std::string las = dir.write("a.las", test::lasFile(9000));
  const std::tuple<const char*, std::function<void()>, std::size_t> rows[] = {
      {"conversion", [&] { pcbin_las(pcbin, "", dir.path("b.las")); }, 15000},
      {"repair", [&] { las_repair(las); }, 9000},
      {"writer whose header is due after ten records",
       [&] {
         pontra::LasWriter writer;
         pontra::LasHeader header;
         pontra::LasHeaderInit(&header, pontra::kPointFormat3);
         writer.open(header, dir.path("c.las"), 340);
         for (int k = 0; k < 705; ++k) writer.writePoint({1.0 * k, 0, 0, 0, 0, 0, 0, 0});
       },
       705},
  };
  EXPECT_EQ(pontra::LasWriter::kBufferSize, 32U << 20) << "what a killed conversion may lose";
  for (const auto& [name, write, records] : rows) {
    SCOPED_TRACE(name);
    const std::vector<Bytes> states = statesOf(write);
    ASSERT_GE(states.size(), 300U);
    std::size_t most = 0;
    for (const Bytes& state : states) {
      const std::size_t count = state.size() >= 111 ? at<std::uint32_t>(state, 107) : 0;
      ASSERT_GE(state.size(), count > 0 ? 227 + 34 * count : 0);
      most = std::max(most, count);
    }
    EXPECT_EQ(most, records);
    EXPECT_EQ(states.back().size(), 227U + 34 * records);
  }
}

TEST(Crash, LeavesTheWholeFramesOfAPcbinFileReadable) {
  const test::TempDir dir;
  const std::vector<Bytes> states = statesOf([&] {
    modeling_app::PcbWriter writer(std::make_shared<ferrun::AsyncTaskQueue>("not started"));
    ASSERT_TRUE(writer.open(dir.path("a"), 1000));
    for (const std::size_t size : {0U, 1U, 100U, 7U}) {
      const auto cloud = std::make_shared<norvo::RgbCloud>();
      cloud->points.resize(size);
      writer.writePcl(cloud);
    }
  });
  ASSERT_GE(states.size(), 100U);
  std::size_t most = 0;
  for (const Bytes& state : states) {
    std::size_t frames = 0;
    for (std::size_t end = 68; end + 48 <= state.size(); ++frames) {
      end += 48 + std::size_t{40} * at<std::uint32_t>(state, end + 44);
      if (end > state.size()) break;
    }
    modeling_app::PcbReader reader;
    ASSERT_EQ(reader.open(dir.write("b", state), 0), state.size() >= 68);
    ASSERT_EQ(reader.readPclRGB(10).size(), frames) << state.size();
    ASSERT_LE(reader.totalFrames(), frames);
    most = std::max<std::size_t>(most, reader.totalFrames());
  }
  EXPECT_EQ(most, 4U);
}

TEST(Crash, ABatchRunPublishesOnlyAWholeSyncedFile) {
  const test::TempDir dir;
  Conversion conversion;
  conversion.pcbinPath = dir.write("a", test::rgbFile(12, 4000));
  conversion.lasPath = dir.path("a.las");
  BatchSink sink(4);
  const auto run = [&](const test::Fault& fault, bool& happened) {
    dir.write("a.las", "before");
    const test::FaultInjection injection({fault});
    const BatchStatus status = batch_convert(conversion, {}, sink);
    happened = test::FaultInjection::happened();
    return status;
  };
  for (const test::Call call : test::kEveryCall) {
    unsigned published = 0;
    bool happened = true;
    for (unsigned number = 1; happened; ++number) {
      const std::size_t smallest = call == test::Call::kAllocate ? 100'000 : 0;  // a frame
      const BatchStatus status = run({call, number, false, smallest}, happened);
      const Bytes las = test::readFile(conversion.lasPath);
      ASSERT_EQ(las == "before", status == kNothingWritten) << static_cast<int>(call) << number;
      ASSERT_TRUE(las == "before" || las.size() == 227U + 34 * 48000);
      ASSERT_TRUE(call != test::Call::kSync || number > 1 || las == "before");
      published += happened && las != "before";
    }
    if (call == test::Call::kRead || call == test::Call::kAllocate || call == test::Call::kWrite) {
      EXPECT_EQ(published, call == test::Call::kWrite ? 2U : 0U)
          << "when the last header was written again, and when the last line got lost";
    }
  }
}

TEST(Crash, AConversionForAScriptEndsAtAFailedWrite) {
  const test::TempDir dir;
  Conversion conversion;
  conversion.pcbinPath = dir.write("a", test::rgbFile(12, 4000));
  conversion.lasPath = dir.path("a.las");
  for (const auto& [style, frames] : {std::pair{Style::kScript, 10U}, {Style::kDialogue, 12U}}) {
    const test::FaultyFile full(dir.write("a.las", ""), {.end = 1000});
    ConversionResult result;
    EXPECT_TRUE(convertSurvey(conversion, style, result));
    EXPECT_TRUE(result.writeFailed);
    EXPECT_EQ(result.framesFound, frames);
  }
}

}  // namespace
