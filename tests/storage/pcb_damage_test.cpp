// pcbin files that are cut, damaged or too large.
#include <filesystem>
#include <sys/resource.h>
#include <tuple>

#include <gmock/gmock.h>

#include "pcbin_las/platform/str_util.h"
#include "storage/open_reader.h"
#include "support/faulty_io.h"
#include "support/log_lines.h"
#include "support/shortage.h"

namespace {

using ferrun::StrUtil;
using test::Bytes;
using test::CapturedLines;
using test::Lines;
using test::OpenReader;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;

const char kRgbError[] = "<E>TIME [PclBinary::readPclRGB,L#] ";
const char kIrtError[] = "<E>TIME [PclBinary::readPcl,L#] ";

std::string rgbReadError(const OpenReader& reader, long length, long size, long points) {
  return kRgbError + StrUtil::format("file(%s) read error, len: %ld, total size: %ld, points: %ld!",
                                     reader.path.c_str(), length, size, points);
}

std::string irtReadError(const OpenReader& reader, long length, long size, long points) {
  return kIrtError +
         StrUtil::format("file(%s) read msg data error, len: %ld, chunk size: %ld, pointnums: %ld!",
                         reader.path.c_str(), length, size, points);
}

/// The number of frames that the reader finds in the rest of its file.
std::size_t countFrames(OpenReader& reader, bool lidar) {
  return lidar ? reader.readPcl(100).size() : reader.readPclRGB(100).size();
}

TEST(PcbDamage, ACutAnywhereInAFrameKeepsTheFramesBefore) {
  for (const bool lidar : {false, true}) {
    const Bytes first = lidar ? test::irtFrame(0, 1, {{}}) : test::rgbFrame(0, 1, {{}});
    const Bytes last = lidar ? test::irtFrame(1, 2, {{}, {}}) : test::rgbFrame(1, 2, {{}, {}});
    for (std::size_t cut = 0; cut <= last.size(); ++cut) {
      OpenReader reader(test::pcbHeader(2, 3) + first + last.substr(0, cut));
      const CapturedLines log;
      EXPECT_EQ(countFrames(reader, lidar), cut == last.size() ? 2U : 1U) << cut;
      Lines expected;
      if (cut > 0 && cut < 48)
        expected.push_back((lidar ? kIrtError : kRgbError) + ("file(" + reader.path) +
                           ") broken, cannot read header!");
      // A lidar frame's header at the end of the file counts as the end of the data.
      if (cut >= (lidar ? 49 : 48) && cut < last.size())
        expected = {lidar ? irtReadError(reader, static_cast<long>(cut) - 48, 48, 2)
                          : rgbReadError(reader, 0, 80, 2)};
      EXPECT_THAT(log.lines(), ElementsAreArray(expected)) << cut;
    }
  }
}

TEST(PcbDamage, ACutInALargeBlockTellsWhatThePiecesGave) {
  constexpr long kPoints = 220'000, kSize = kPoints * 40, kPiece = 4194304;
  const Bytes file = test::rgbFile(1, kPoints);
  for (const long kept : {0L, 100L, kPiece, 2 * kPiece, kSize - 1}) {
    OpenReader reader(file.substr(0, 68 + 48 + static_cast<std::size_t>(kept)));
    const CapturedLines log;
    EXPECT_TRUE(reader.readPclRGB(1).empty());
    Lines expected = {rgbReadError(reader, std::min(kept, 2 * kPiece), kSize, kPoints)};
    if (kept < 2 * kPiece)  // a whole piece is missing
      expected.insert(expected.begin(), "<W>TIME [PclBinary::readPclRGB,L#] read data len: 0!");
    EXPECT_THAT(log.lines(), ElementsAreArray(expected)) << kept;
  }
}

TEST(PcbDamage, AnotherFormatEndsTheReadWithThePlaceAndTheHeader) {
  const Bytes lidar = test::irtFrame(0x01020304, 1, {{}}, {1, 2, -2, 0.5F}, {1, 2, 0.5F});
  OpenReader reader(test::pcbHeader(0, 0) + test::rgbFrame(0, 0, {{}}) + lidar);
  const CapturedLines log;
  EXPECT_EQ(reader.readPclRGB(10).size(), 1U);
  EXPECT_THAT(log.lines(),
              ElementsAre(kRgbError + Bytes("pcl frame[16909060] format(6) read error, pos: 156, "
                                            "header[06 00 00 00 04 03 02 01 "
                                            "00 00 00 00 00 00 F0 3F "
                                            "00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F "
                                            "00 00 80 3F 00 00 00 40 00 00 00 3F "
                                            "01 00 00 00]!")));

  OpenReader other(test::pcbHeader(0, 0) + lidar + test::frameHeader(0xFFFFFFFF, 3, 0, 0));
  const CapturedLines otherLog;
  EXPECT_EQ(other.readPcl(10).size(), 1U);
  EXPECT_THAT(otherLog.lines(),
              ElementsAre(kIrtError + Bytes("pcl frame[3] format(4294967295) error!")));
}

TEST(PcbDamage, AFalsePointCountTakesNoMemory) {
  // Whether a lidar frame, its point count, the bytes of its block that are read.
  const std::tuple<bool, std::uint32_t, long> rows[] = {
      {false, 107'374'080, 80},                           // the largest block
      {false, 107'374'081, 0},  {false, 107'374'183, 0},  // 24 bytes more than 2^32
      {false, 0xFFFFFFFF, 0},   {true, 178'956'970, 80},  // the largest block
      {true, 178'956'971, 0},                             // 8 bytes more than 2^32
      {true, 0xFFFFFFFF, 0},
  };
  const auto mostMemory = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  const long before = mostMemory();
  for (const auto& [lidar, count, told] : rows) {
    const long points = count;
    OpenReader reader(test::pcbHeader(0, 0) +
                      (lidar ? test::irtFrame(0, 0, {{}}) : test::rgbFrame(0, 0, {{}})) +
                      test::frameHeader(lidar ? 6 : 10, 1, 0, count) + Bytes(80, '\0'));
    const CapturedLines log;
    EXPECT_EQ(countFrames(reader, lidar), 1U);
    EXPECT_EQ(log.lines().back(), lidar ? irtReadError(reader, told, 24 * points, points)
                                        : rgbReadError(reader, told, 40 * points, points));
  }
  EXPECT_LT(mostMemory() - before, 150'000) << "kilobytes";
}

TEST(PcbDamage, AFrameThatDoesNotFitIntoMemoryIsReportedAndCanBeReadLater) {
  constexpr std::uint32_t kPoints = 400'000;
  for (const std::uint32_t format : {6U, 10U}) {
    const bool lidar = format == 6;
    OpenReader reader(test::pcbHeader(0, 0) +
                      (lidar ? test::irtFrame(0, 0, {{}}) : test::rgbFrame(0, 0, {{}})) +
                      test::frameHeader(format, 0, 0, kPoints));
    const std::uint64_t small = std::filesystem::file_size(reader.path);
    std::filesystem::resize_file(reader.path, small + std::uint64_t{kPoints} * 4 * format);
    const CapturedLines log;
    {
      const test::LittleMemory shortage(4U << 20);
      if (!shortage.works()) GTEST_SKIP() << "memory cannot be limited here";
      EXPECT_EQ(lidar ? reader.readPcl(10).size() : reader.readPclRGB(10).size(), 1U);
    }
    EXPECT_EQ(reader.lastReadEnd(), modeling_app::ReadEnd::kNoMemory);
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::HasSubstr(") no memory for a frame of 400000 points!")));
    EXPECT_EQ(countFrames(reader, lidar), 1U);
  }
}

TEST(PcbDamage, AReadErrorIsToldAndKeepsTheFramesBefore) {
  OpenReader reader(test::rgbFile(40, 500));
  const test::FaultyFile faulty(reader.path, {.longestTransfer = 5000, .end = 600'000});
  const CapturedLines log;
  EXPECT_EQ(reader.readPclRGB(100).size(), (600'000U - 68) / (48 + 500 * 40));
  EXPECT_THAT(log.lines(),
              testing::AllOf(Contains("<E>TIME [File::readData,L#] file(" + reader.path +
                                      ") read error: Input/output error!"),
                             Contains(rgbReadError(reader, 0, 20'000, 500))));
}

}  // namespace
