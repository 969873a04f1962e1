// SPDX-License-Identifier: BSD-3-Clause
// Each system call and each allocation fails in turn: nothing crashes or throws, and every loss is
// reported by a line or by a state of the object.
#include <atomic>
#include <filesystem>
#include <functional>
#include <string_view>

#include <gmock/gmock.h>

#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/app/lossless_repair.h"
#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/platform/tracer.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "support/fault_injection.h"
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

/// Counts error and warning lines without allocating memory.
struct CountingSink : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override {
    const std::string_view text(lines, size);
    for (const char* const tag : {"<E>", "<W>"})
      for (auto i = text.find(tag); i != text.npos; i = text.find(tag, i + 1)) ++count;
  }
  std::atomic<int> count = 0;
};

/// The error and warning lines since the last call.
int linesTold() {
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  static const auto sink = [tracer] {
    auto made = std::make_shared<CountingSink>();
    tracer->addSink(made);
    tracer->start();
    return made;
  }();
  tracer->flush();
  return sink->count.exchange(0);
}

/// Calls `run` with each call failing once and permanently, and with each allocation failing on a
/// disk that is full after the first write, until it makes fewer calls. `run` injects the faults
/// into the code under test only.
void sweep(const std::function<void(const std::vector<Fault>&)>& run) {
  for (const Call call : test::kEveryCall) {
    for (const bool forGood : {false, true}) {
      for (const bool fullDisk : {false, true}) {
        if (fullDisk && call != Call::kAllocate) continue;
        for (unsigned number = 1;; ++number) {
          SCOPED_TRACE(testing::Message()
                       << "call " << static_cast<int>(call) << ", number " << number
                       << ", for good " << forGood << ", full disk " << fullDisk);
          ASSERT_LT(number, 5000U);
          linesTold();
          std::vector<Fault> faults = {{call, number, forGood}};
          if (fullDisk) faults.push_back({Call::kWrite, 2, true});
          run(faults);
          if (testing::Test::HasFailure() || !FaultInjection::happened()) break;
        }
      }
    }
  }
}

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
    EXPECT_TRUE(frames == 3 || !faults[0].forGood || faults[0].call != Call::kAllocate || !opened ||
                reader.lastReadEnd() == ReadEnd::kNoMemory);
    EXPECT_TRUE(frames == 3 || linesTold() > 0);
    const bool once = faults[0].call == Call::kAllocate && !faults[0].forGood;
    EXPECT_TRUE(frames == 3 || !once || !opened) << "a frame that did not fit is read later";
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
    EXPECT_EQ(accepted, opened && faults[0].call != Call::kAllocate ? 3U : accepted);
    if (!opened || status.failed()) {
      EXPECT_TRUE(linesTold() > 0 || faults[0].call == Call::kAllocate);
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

/// Runs a mode of the program with `faults`; false when it throws, which main() reports.
bool runWith(const std::vector<Fault>& faults, const std::function<bool()>& mode) {
  const FaultInjection injection(faults);
  try {
    return mode();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// Checks that a LAS file declares no more than it holds, and equals `expected` (except its date)
/// unless a loss was reported (`told`).
void checkLas(const Bytes& las, Bytes expected, bool told) {
  const std::size_t count = las.size() >= 111 ? at<std::uint32_t>(las, 107) : 0;
  EXPECT_GE(las.size(), count > 0 ? 227 + 34 * count : 0);
  if (told) return;
  ASSERT_EQ(las.size(), expected.size());
  expected.replace(90, 4, las.substr(90, 4));
  EXPECT_TRUE(las == expected);
}

TEST(FaultSweep, ConversionReportsEveryLostPoint) {
  const test::TempDir dir;
  const std::string pcbin = dir.write("a.pcbin", test::rgbFile(3, 300));
  const std::string poses =
      dir.write("pgo.csv", test::poseLine(0, {}, {}) + test::poseLine(1, {}, {}) +
                               test::poseLine(2, {}, {.position = {1, 2, 3}}));
  const std::string path = dir.path("map.las");
  ASSERT_TRUE(pcbin_las(pcbin, poses, path));
  const Bytes expected = test::readFile(path);
  ASSERT_EQ(expected.size(), 227U + 34 * 900);
  sweep([&](const std::vector<Fault>& faults) {
    std::filesystem::remove(path);
    const bool done = runWith(faults, [&] { return pcbin_las(pcbin, poses, path); });
    checkLas(test::readFile(path), expected, linesTold() > 0 || !done);
  });
}

TEST(FaultSweep, RepairsReportEveryLostRecord) {
  const test::TempDir dir;
  Bytes las = test::lasFile(300).insert(227, 2000, 'v');
  test::patch(las, 96, std::uint32_t{2227});
  const std::string input = dir.write("a.las", las);
  const auto repaired = [&] {
    Bytes bytes;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
      if (entry.path() == input) continue;
      EXPECT_NE(entry.path().extension(), ".part");
      bytes = test::readFile(entry.path());
      std::filesystem::remove(entry.path());
    }
    return bytes;
  };
  las_repair(input);
  const Bytes expected = repaired();
  ASSERT_EQ(expected.substr(227), las.substr(227));
  sweep([&](const std::vector<Fault>& faults) {
    const bool done = runWith(faults, [&] { return las_repair(input), true; });
    const Bytes copy = repaired();
    checkLas(copy, expected, linesTold() > 0 || !done);
    const std::size_t kept = copy.empty() ? 0 : 2000 + 34 * at<std::uint32_t>(copy, 107);
    EXPECT_TRUE(copy.empty() || copy.substr(227, kept) == las.substr(227, kept));
  });
  lossless_repair(input);
  const Bytes whole = repaired();
  ASSERT_EQ(whole.substr(227), las.substr(227));
  sweep([&](const std::vector<Fault>& faults) {
    const bool done = runWith(faults, [&] { return lossless_repair(input) == 0; });
    const Bytes copy = repaired();
    EXPECT_TRUE(copy == whole || (copy.empty() && !done));
    EXPECT_TRUE(linesTold() > 0 || copy == whole || faults[0].call == Call::kAllocate);
  });
  EXPECT_TRUE(test::readFile(input) == las);
}

}  // namespace
