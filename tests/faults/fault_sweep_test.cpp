// SPDX-License-Identifier: BSD-3-Clause
// Each system call and each allocation fails in turn: nothing crashes or throws, and every loss is
// reported by a line or by a state of the object.
#include <filesystem>

#include <gmock/gmock.h>

#include "faults/sweep.h"
#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/app/lossless_repair.h"
#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "support/temp_dir.h"

namespace {

using modeling_app::PcbReader;
using modeling_app::PcbWriter;
using modeling_app::ReadEnd;
using test::at;
using test::Bytes;
using test::Call;
using test::Fault;
using test::FaultInjection;
using test::hits;
using test::linesTold;
using test::runWith;
using test::sweep;

TEST(FaultSweep, ReaderReportsEveryLostFrame) {
  const test::TempDir dir;
  const std::string path = dir.write("a", test::rgbFile(3, 300));
  sweep([&](const std::vector<Fault>& faults) {
    PcbReader reader;
    modeling_app::PclRGBFrames read[6];
    bool opened = false;
    std::size_t rounds = 0;
    {
      const FaultInjection injection(faults);
      opened = reader.open(path, 0);
      do {
        read[rounds] = reader.readPclRGB(2);
      } while (++rounds < std::size(read) && reader.lastReadEnd() != ReadEnd::kReadError);
    }
    std::size_t frames = 0;
    for (const auto& batch : read)
      for (const auto& frame : batch)
        EXPECT_EQ(frame->cloud->points.at(299).sweepid, frames++) << "in order, whole";
    EXPECT_TRUE(frames == 3 || !opened || reader.lastReadEnd() != ReadEnd::kEndOfFile);
    EXPECT_TRUE(frames == 3 || linesTold() > 0);
    if (faults.size() != 1 || faults[0].call != Call::kAllocate || !opened) return;
    EXPECT_TRUE(frames == 3 || faults[0].forGood) << "a frame that did not fit is read later";
    EXPECT_TRUE(frames == 3 || reader.lastReadEnd() == ReadEnd::kNoMemory);
  });
}

TEST(FaultSweep, WriterReportsEveryLostFrame) {
  const test::TempDir dir;
  const std::string path = dir.path("a");
  const auto cloud = std::make_shared<norvo::RgbCloud>();
  cloud->points.resize(100);
  sweep([&](const std::vector<Fault>& faults) {
    std::filesystem::remove(path);
    bool opened = false;
    unsigned accepted = 0;
    modeling_app::WriteStatus status;
    {
      const FaultInjection injection(faults);
      try {
        PcbWriter writer;
        opened = writer.open(path, 1000);
        for (int k = 0; k < 3; ++k) accepted += writer.writePcl(cloud);
        while (writer.totalFrames() < accepted) ferrun::Thread::msleep(1);
        writer.close();
        status = writer.writeStatus();
      } catch (const std::bad_alloc&) {  // by the constructor, as documented
        EXPECT_FALSE(opened);
      }
    }
    const Bytes file = test::readFile(path);
    const std::size_t whole = file.size() < 68 ? 0 : (file.size() - 68) / (48 + 100 * 40);
    EXPECT_LE(status.frames, whole);
    const bool failedOnce = faults.size() == 1 && !faults[0].forGood && hits(faults, Call::kWrite);
    EXPECT_TRUE(!opened || !failedOnce || status.frames + 1 >= accepted) << "only one is lost";
    EXPECT_EQ(accepted, opened && !hits(faults, Call::kAllocate) ? 3U : accepted);
    if (!opened || status.failed()) {
      EXPECT_TRUE(linesTold() > 0 || hits(faults, Call::kAllocate));
      return;
    }
    EXPECT_EQ(status.frames, accepted);
    ASSERT_EQ(whole, accepted);
    EXPECT_EQ(file.substr(0, 68), test::pcbHeader(accepted, std::uint64_t{100} * accepted));
    PcbReader reader;
    ASSERT_TRUE(reader.open(path, 0));
    EXPECT_EQ(reader.readPclRGB(10).size(), accepted);
  });
}

/// Checks that a LAS file declares no more than it holds, and holds records from the beginning of
/// `expected`; all of them, and the same header except for its date, unless a loss was `told`.
void checkLas(const Bytes& las, Bytes expected, bool told) {
  const std::size_t begin = at<std::uint32_t>(expected, 96);
  const std::size_t count = las.size() >= 111 ? at<std::uint32_t>(las, 107) : 0;
  if (count > 0) {
    ASSERT_GE(las.size(), begin + 34 * count);
    EXPECT_EQ(las.substr(96, 11), expected.substr(96, 11));
    EXPECT_TRUE(
        las.compare(227, begin + 34 * count - 227, expected, 227, begin + 34 * count - 227) == 0);
  }
  if (told) return;
  ASSERT_EQ(las.size(), expected.size());
  expected.replace(90, 4, las.substr(90, 4));
  EXPECT_TRUE(las == expected);
}

TEST(FaultSweep, ConversionReportsEveryLostPoint) {
  const test::TempDir dir;
  Conversion conversion;
  conversion.pcbinPath = dir.write("a.pcbin", test::rgbFile(3, 300));
  conversion.pgoPath = dir.write("pgo.csv", test::poseLine(0, {}, {}) + test::poseLine(1, {}, {}) +
                                                test::poseLine(2, {}, {.position = {1, 2, 3}}));
  conversion.epsg = 32632;
  for (const bool compress : {false, true}) {
    SCOPED_TRACE(compress);
    conversion.lasPath = dir.path(compress ? "map.laz" : "map.las");
    conversion.compress = compress;
    Bytes expected;
    sweep([&](const std::vector<Fault>& faults) {
      std::filesystem::remove(conversion.lasPath);
      ConversionResult result;
      const bool done = runWith(
          faults, [&] { return convertSurvey(conversion, Style::kDialogue, result); }, false);
      const Bytes las = test::readFile(conversion.lasPath);
      if (faults.empty()) expected = las;
      const bool told = linesTold() > 0 || !done;
      EXPECT_TRUE(told || result.written == 900);
      if (!compress) return checkLas(las, expected, told);
      EXPECT_TRUE(told || las.substr(94) == expected.substr(94));
    });
  }
}

TEST(FaultSweep, RepairsReportEveryLostRecord) {
  const test::TempDir dir;
  Conversion conversion;
  conversion.pcbinPath = dir.write("a.pcbin", test::rgbFile(1, 300));
  conversion.lasPath = dir.path("a.las");
  conversion.epsg = 32632;
  ConversionResult result;
  ASSERT_TRUE(convertSurvey(conversion, Style::kDialogue, result));
  std::filesystem::remove(conversion.pcbinPath);
  const std::string& input = conversion.lasPath;
  Bytes las = test::readFile(input);
  constexpr std::uint32_t kBetween = 1'100'000;  // read in two pieces
  las.insert(at<std::uint32_t>(las, 96), kBetween, 'v');
  test::patch(las, 96, at<std::uint32_t>(las, 96) + kBetween);
  dir.write("a.las", las);
  for (const bool lossless : {false, true}) {
    SCOPED_TRACE(lossless);
    Bytes expected;
    sweep([&](const std::vector<Fault>& faults) {
      const bool done = runWith(
          faults,
          [&] {
            if (lossless) return lossless_repair(input) == 0;
            las_repair(input);
            return true;
          },
          false);
      const std::vector<std::string> names = dir.names();
      ASSERT_TRUE(names.size() <= 2 && !names[0].starts_with('.')) << "a temporary file is left";
      const Bytes copy = names.size() == 2 ? test::readFile(dir.path(names[0])) : "";
      if (names.size() == 2) std::filesystem::remove(dir.path(names[0]));
      if (faults.empty()) expected = copy;
      const bool told = linesTold() > 0;
      if (!lossless) return checkLas(copy, expected, told || !done);
      EXPECT_TRUE(copy == expected || (copy.empty() && !done));
      EXPECT_TRUE(told || copy == expected || hits(faults, Call::kAllocate));
    });
    EXPECT_TRUE(expected.substr(227) == las.substr(227));
  }
  EXPECT_TRUE(test::readFile(input) == las);
}

}  // namespace
