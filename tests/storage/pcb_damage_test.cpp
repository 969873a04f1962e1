// SPDX-License-Identifier: BSD-3-Clause
// pcbin files that are cut off, damaged or too large.
#include <filesystem>
#include <sys/resource.h>
#include <tuple>

#include <gmock/gmock.h>

#include "storage/open_reader.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"

namespace {

using test::Bytes;
using test::CapturedLines;
using test::Lines;
using test::OpenReader;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;

/// The line about a point block of which the reader found `length` bytes.
std::string blockError(const OpenReader& reader, bool lidar, long length, long points) {
  const std::string numbers[] = {std::to_string(length), std::to_string((lidar ? 24 : 40) * points),
                                 std::to_string(points)};
  return lidar ? "<E>TIME [PclBinary::readPcl,L#] file(" + reader.path +
                     ") read msg data error, len: " + numbers[0] + ", chunk size: " + numbers[1] +
                     ", pointnums: " + numbers[2] + "!"
               : "<E>TIME [PclBinary::readPclRGB,L#] file(" + reader.path +
                     ") read error, len: " + numbers[0] + ", total size: " + numbers[1] +
                     ", points: " + numbers[2] + "!";
}

Bytes frameOfTwo(bool lidar, std::uint32_t index) {
  return lidar ? test::irtFrame(index, 1, {{1, 2, 3, 4, 5}, {}})
               : test::rgbFrame(index, 1, {{1, 2, 3}, {}});
}

TEST(PcbDamage, FramesBeforeACutAreRead) {
  for (const bool lidar : {false, true}) {
    const Bytes last = frameOfTwo(lidar, 1);
    for (std::size_t cut = 0; cut <= last.size(); ++cut) {
      OpenReader reader(test::pcbHeader(2, 4) + frameOfTwo(lidar, 0) + last.substr(0, cut));
      const CapturedLines log;
      EXPECT_THAT(reader.frameSizes(lidar), SizeIs(cut == last.size() ? 2 : 1)) << cut;
      EXPECT_THAT(reader.frameSizes(lidar), SizeIs(0)) << cut;
      const bool whole = cut == 0 || cut == last.size();
      EXPECT_EQ(reader.lastReadEnd() == modeling_app::ReadEnd::kEndOfFile, whole) << cut;
      Lines expected;
      if (cut > 0 && cut < 48)
        expected = {std::string("<E>TIME [PclBinary::readPcl") + (lidar ? "" : "RGB") +
                    ",L#] file(" + reader.path + ") broken, cannot read header!"};
      // A lidar frame's header at the end of the file counts as the end of the data.
      if (cut >= (lidar ? 49 : 48) && cut < last.size())
        expected = {blockError(reader, lidar, lidar ? static_cast<long>(cut) - 48 : 0, 2)};
      EXPECT_THAT(log.lines(), ElementsAreArray(expected)) << cut;
      expected.resize(1);
      EXPECT_EQ(reader.lastError(), expected[0].substr(expected[0].find("] ") + 1).erase(0, 1));
    }
  }
}

TEST(PcbDamage, OnlyFormatAndPointCountOfAFrameHeaderMatter) {
  for (const bool lidar : {false, true}) {
    const Bytes frame = frameOfTwo(lidar, 0);
    for (std::size_t byte = 0; byte < 48; ++byte) {
      Bytes second = frame;
      second[byte] ^= '\x7F';
      OpenReader reader(test::pcbHeader(3, 6) + frame + second + frame);
      const CapturedLines log;
      const bool matters = byte < 4 || byte >= 44;
      EXPECT_THAT(reader.frameSizes(lidar), SizeIs(matters ? 1 : 3)) << byte;
      EXPECT_EQ(log.lines().empty(), !matters) << byte;
    }
  }
}

TEST(PcbDamage, CutInALargeBlockReportsThePiecesRead) {
  constexpr long kPoints = 220'000, kSize = kPoints * 40, kPiece = 4194304;
  const Bytes file = test::rgbFile(1, kPoints);
  for (const long kept : {0L, 100L, kPiece, 2 * kPiece, kSize - 1}) {
    OpenReader reader(file.substr(0, 68 + 48 + static_cast<std::size_t>(kept)));
    const CapturedLines log;
    EXPECT_TRUE(reader.readPclRGB(1).empty());
    Lines expected = {blockError(reader, false, std::min(kept, 2 * kPiece), kPoints)};
    if (kept < 2 * kPiece)  // a whole piece is missing
      expected.insert(expected.begin(), "<W>TIME [PclBinary::readPclRGB,L#] read data len: 0!");
    EXPECT_THAT(log.lines(), ElementsAreArray(expected)) << kept;
  }
}

TEST(PcbDamage, FrameOfAnotherFormatIsReportedWithItsHeader) {
  const Bytes lidar = test::irtFrame(0x01020304, 1, {{}}, {1, 2, -2, 0.5F}, {1, 2, 0.5F});
  OpenReader reader(test::pcbHeader(0, 0) + test::rgbFrame(0, 0, {{}}) + lidar);
  OpenReader other(test::pcbHeader(0, 0) + lidar + test::frameHeader(0xFFFFFFFF, 3, 0, 0));
  const CapturedLines log;
  EXPECT_THAT(reader.frameSizes(false), ElementsAre(1));
  EXPECT_THAT(other.frameSizes(true), ElementsAre(1));
  EXPECT_THAT(
      log.lines(),
      ElementsAre("<E>TIME [PclBinary::readPclRGB,L#] pcl frame[16909060] format(6) read error, "
                  "pos: 156, header[06 00 00 00 04 03 02 01 00 00 00 00 00 00 F0 3F "
                  "00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F "
                  "00 00 80 3F 00 00 00 40 00 00 00 3F 01 00 00 00]!",
                  "<E>TIME [PclBinary::readPcl,L#] pcl frame[3] format(4294967295) error!"));
}

TEST(PcbDamage, FalsePointCountTakesNoMemory) {
  // Whether a lidar frame, its point count, the bytes of its block that are read.
  const std::tuple<bool, std::uint32_t, long> rows[] = {
      {false, 107'374'080, 80},                           // the largest block
      {false, 107'374'081, 0},  {false, 107'374'183, 0},  // 24 bytes more than 2^32
      {false, 0xFFFFFFFF, 0},   {true, 178'956'970, 80},  // the largest block
      {true, 178'956'971, 0},                             // 8 bytes more than 2^32
      {true, 0xFFFFFFFF, 0},
  };
  const auto peakMemory = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  const long before = peakMemory();
  for (const auto& [lidar, count, length] : rows) {
    OpenReader reader(test::pcbHeader(0, 0) + frameOfTwo(lidar, 0) +
                      test::frameHeader(lidar ? 6 : 10, 1, 0, count) + Bytes(80, '\0'));
    const CapturedLines log;
    EXPECT_THAT(reader.frameSizes(lidar), ElementsAre(2));
    EXPECT_EQ(log.lines().back(), blockError(reader, lidar, length, count));
  }
  EXPECT_LT(peakMemory() - before, 150'000) << "kilobytes";
}

TEST(PcbDamage, FrameThatDoesNotFitInMemoryIsReportedAndCanBeReadLater) {
  constexpr std::uint32_t kPoints = 400'000;
  for (const bool lidar : {false, true}) {
    const std::uint32_t format = lidar ? 6 : 10;
    OpenReader reader(test::pcbHeader(0, 0) + frameOfTwo(lidar, 0) +
                      test::frameHeader(format, 1, 0, kPoints));
    std::filesystem::resize_file(reader.path,
                                 std::filesystem::file_size(reader.path) + kPoints * 4 * format);
    unsigned number = 1;
    for (;; ++number) {
      const CapturedLines log;
      std::vector<std::size_t> sizes;
      {
        const test::FaultInjection injection({{test::Call::kAllocate, number, false, 1U << 20}});
        sizes = reader.frameSizes(lidar);
        if (!test::FaultInjection::happened()) break;
      }
      EXPECT_THAT(sizes, ElementsAre(2));
      EXPECT_EQ(reader.lastReadEnd(), modeling_app::ReadEnd::kNoMemory);
      EXPECT_THAT(log.lines(),
                  ElementsAre(testing::HasSubstr(") no memory for a frame of 400000 points!")));
      EXPECT_THAT(reader.frameSizes(lidar), ElementsAre(kPoints));
      reader.close();
      ASSERT_TRUE(reader.open(reader.path, 0));
    }
    EXPECT_GT(number, 1U);
  }
}

TEST(PcbDamage, ReadErrorKeepsTheFramesBefore) {
  OpenReader reader(test::rgbFile(40, 500));
  const test::FaultyFile faulty(reader.path, {.longestTransfer = 5000, .end = 600'000});
  const CapturedLines log;
  EXPECT_THAT(reader.readPclRGB(100), SizeIs((600'000U - 68) / (48 + 500 * 40)));
  EXPECT_THAT(log.lines(),
              testing::AllOf(Contains("<E>TIME [File::readData,L#] file(" + reader.path +
                                      ") read error: Input/output error!"),
                             Contains(blockError(reader, false, 0, 500))));
}

}  // namespace
