// SPDX-License-Identifier: BSD-3-Clause
// The files of the LAS writer, complete and after failures.
#include "pcbin_las/las/las_writer.h"

#include <cerrno>
#include <cmath>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "las/las_file_checks.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using pontra::LasPoint;
using pontra::LasWriter;
using test::at;
using test::Bytes;
using test::expectWholeLas;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr unsigned kFourRecords = 4 * 34;

pontra::LasHeader headerWithOffset() {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xOffset = 1000;
  header.yOffset = -2000.5;
  header.zOffset = 30.25;
  return header;
}

LasPoint pointAt(double x, double y, double z) {
  return {x, y, z, 0, 0, 0, 0, 0};
}

std::int32_t recordX(const Bytes& las, std::size_t k) {
  return at<std::int32_t>(las, 227 + 34 * k);
}

TEST(LasWriter, WritesHeaderAndRecordsByteForByte) {
  const test::TempDir dir;
  const std::string path = dir.write("map.las", Bytes(5000, 'x'));  // longer than the new file
  const test::CapturedLines captured;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), path, 33554432));
  EXPECT_TRUE(writer.writePoint({1.234, -1.5, 0.002, 255, 128, 0x0102, 0xFFFE, 1.5}));
  EXPECT_TRUE(writer.writePoint({0, 0, -0.001, 0, 0, 0, 0, -2}));
  EXPECT_TRUE(writer.close());

  const Bytes bytes = test::readFile(path);
  expectWholeLas(bytes, 2);
  EXPECT_EQ(bytes.substr(227), Bytes("\xD2\x04\0\0\x24\xFA\xFF\xFF\x02\0\0\0\xFE\xFF\x09\0\0\0\0\0"
                                     "\0\0\0\0\0\0\xF8\x3F\xFF\0\x80\0\x02\x01"
                                     "\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\0\0\x09\0\0\0\0\0"
                                     "\0\0\0\0\0\0\0\xC0\0\0\0\0\0\0",
                                     68));
  pontra::LasHeader expected = headerWithOffset();
  expected.numberOfPointRecords = expected.numberOfPointsByReturn[0] = 2;
  expected.maxX = 1234 * 0.001 + 1000;
  expected.minX = 1000;
  expected.maxY = -2000.5;
  expected.minY = -1500 * 0.001 - 2000.5;
  expected.maxZ = 2 * 0.001 + 30.25;
  expected.minZ = -1 * 0.001 + 30.25;
  EXPECT_EQ(bytes.substr(0, 227), Bytes(reinterpret_cast<const char*>(&expected), 227));
  EXPECT_TRUE(captured.lines().empty());
}

TEST(LasWriter, KeepsItsFileWhenOpenedAgain) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kFourRecords));
  writer.writePoint(pointAt(1, 2, 3));
  EXPECT_FALSE(writer.open(headerWithOffset(), dir.path("b.las"), kFourRecords));
  EXPECT_TRUE(writer.close());
  expectWholeLas(test::readFile(dir.path("a.las")), 1);
  EXPECT_THAT(captured.lines(),
              testing::ElementsAre("<E>TIME [LasWriter::open,L#] file(" + dir.path("b.las") +
                                   "): the writer is open for file(" + dir.path("a.las") + ")!"));
}

TEST(LasWriter, StoresTheNearestStep) {
  const std::pair<double, std::int32_t> cases[] = {
      {0.12345, 123}, {0.1236, 124}, {-1.2346, -1235},           {-0.0004, 0},
      {0.0004999, 0}, {0.000501, 1}, {2147483.647, 2147483647},  {2147483.6474, 2147483647},
      {-1.0, -1000},  {1.0, 1000},   {-2147483.648, -2147483648}};
  const test::TempDir dir;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kFourRecords));
  for (const auto& [x, steps] : cases) EXPECT_TRUE(writer.writePoint(pointAt(x, -x / 2, x / 3)));
  writer.close();
  const Bytes bytes = test::readFile(dir.path("a.las"));
  expectWholeLas(bytes, std::size(cases));
  for (std::size_t k = 0; k < std::size(cases); ++k)
    EXPECT_EQ(recordX(bytes, k), cases[k].second) << cases[k].first;
}

TEST(LasWriter, WritesManyPointsAsItWritesEach) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  std::vector<LasPoint> points;
  for (int n = 0; n < 3000; ++n) {
    const double half = n % 7 - 3.5;  // halves round to the even step
    points.push_back(
        {half / 4, -half * n, 1e8 - n * 0.3, 1, 2, 3, static_cast<std::uint16_t>(n), n * 0.25});
  }
  points[515].x = -900;  // bounds at odd and at even places of a block
  points[516].y = 1e8;
  points[517].z = 2e8;
  points[518].z = -2e8;
  points[300].x = kNan;
  points[812].y = -kInfinity;
  points[1300].z = 2147483647.5 / 4;
  points[2000].z = -2147483648.5 / 4;  // the lowest that fits
  pontra::LasHeader header = headerWithOffset();
  header.xScaleFactor = header.yScaleFactor = header.zScaleFactor = 0.25;
  for (const unsigned bufferSize : {1U, 500U * 34, 1U << 20}) {
    LasWriter one;
    LasWriter many;
    ASSERT_TRUE(one.open(header, dir.path("one.las"), bufferSize));
    ASSERT_TRUE(many.open(header, dir.path("many.las"), bufferSize));
    for (const LasPoint& point : points) one.writePoint(point);
    many.writePoints(points.size(), [&points](std::size_t i) { return points[i]; });
    EXPECT_TRUE(one.close() && many.close());
    const Bytes bytes = test::readFile(dir.path("many.las"));
    expectWholeLas(bytes, points.size() - 3);
    EXPECT_EQ(bytes, test::readFile(dir.path("one.las"))) << bufferSize;
    for (std::size_t k = 0; k < 300; ++k)
      EXPECT_EQ(recordX(bytes, k), std::lrint(points[k].x / 0.25)) << k;
  }
  EXPECT_THAT(captured.lines(), testing::Each(testing::HasSubstr(" 3 points ")));
}

TEST(LasWriter, RefusesCoordinatesThatDoNotFitAndReportsTheirNumber) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kFourRecords));
  EXPECT_TRUE(writer.writePoint(pointAt(1, 2, 3)));
  for (const double bad : {kNan, kInfinity, -kInfinity, 2147483.648, -2147483.6490, 1e300}) {
    EXPECT_FALSE(writer.writePoint(pointAt(bad, 0, 0))) << bad;
    EXPECT_FALSE(writer.writePoint(pointAt(0, bad, 0))) << bad;
    EXPECT_FALSE(writer.writePoint(pointAt(0, 0, bad))) << bad;
  }
  EXPECT_TRUE(writer.writePoint(pointAt(4, 5, 6)));
  EXPECT_TRUE(writer.close());
  const Bytes bytes = test::readFile(dir.path("a.las"));
  expectWholeLas(bytes, 2);
  EXPECT_EQ(at<double>(bytes, 187), 1001);
  EXPECT_THAT(captured.lines(),
              testing::ElementsAre(testing::AllOf(
                  testing::StartsWith("<W>TIME [LasWriter::close,L#] "),
                  testing::HasSubstr(dir.path("a.las")), testing::HasSubstr(" 18 points "))));
}

TEST(LasWriter, WritesOneFileAfterAnotherWithAnyBufferSizeAndScaleFactor) {
  const test::TempDir dir;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("full.las"), kFourRecords));
  {
    const test::FaultyFile full(dir.path("full.las"), {.end = 300});
    for (const double x : {kNan, 1.0, 2.0, 3.0, 4.0, 5.0}) writer.writePoint(pointAt(x, 0, 0));
    EXPECT_FALSE(writer.close());
  }
  const test::CapturedLines captured;
  for (const unsigned bufferSize : {0U, 33U, kFourRecords}) {
    pontra::LasHeader header = headerWithOffset();
    header.yScaleFactor = -0.002;
    ASSERT_TRUE(writer.open(header, dir.path("a.las"), bufferSize));
    for (int n = 0; n < 5; ++n) EXPECT_TRUE(writer.writePoint(pointAt(n, n, n)));
    EXPECT_TRUE(writer.close());
    expectWholeLas(test::readFile(dir.path("a.las")), 5);
  }
  EXPECT_TRUE(captured.lines().empty());
}

TEST(LasWriter, UpdatesTheHeaderOnDiskWithEachBuffer) {
  const test::TempDir dir;
  {
    LasWriter writer;
    ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kFourRecords));
    for (int n = 1; n <= 9; ++n) {
      writer.writePoint(pointAt(n % 3 - n, n, -n));
      const Bytes onDisk = test::readFile(dir.path("a.las"));
      expectWholeLas(onDisk, static_cast<std::size_t>(n - 1) / 4 * 4);
    }
  }
  expectWholeLas(test::readFile(dir.path("a.las")), 9);  // the destructor has closed it
}

TEST(LasWriter, CountsInTheHeaderAtTheIntervalsOfItsBufferSize) {
  constexpr unsigned kInterval = 30000;  // records; more than one write to the disk
  const test::TempDir dir;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kInterval * 34 + 33));
  for (unsigned n = 0; n < 2 * kInterval; ++n) {
    writer.writePoint(pointAt(n % 1000, 0, 0));
    if (n != kInterval - 1 && n != kInterval) continue;
    const Bytes onDisk = test::readFile(dir.path("a.las"));
    EXPECT_EQ(at<std::uint32_t>(onDisk, 107), n == kInterval ? kInterval : 0);
    if (n == kInterval) expectWholeLas(onDisk, kInterval);
  }
}

TEST(LasWriter, FreesUnusedReservedDiskSpace) {
  const test::TempDir dir;
  LasWriter writer;
  ASSERT_TRUE(writer.open(headerWithOffset(), dir.path("a.las"), kFourRecords));
  writer.expectPoints(4000000000);
  for (int n = 0; n < 10; ++n) writer.writePoint(pointAt(n, 0, 0));
  EXPECT_TRUE(writer.close());
  struct stat status {};
  ASSERT_EQ(::stat(dir.path("a.las").c_str(), &status), 0);
  EXPECT_LE(status.st_blocks * 512, 65536);
  expectWholeLas(test::readFile(dir.path("a.las")), 10);
}

TEST(LasWriter, LeavesWholeRecordsAndAValidHeaderAfterAFailedWrite) {
  const test::TempDir dir;
  const std::string path = dir.path("a.las");
  for (std::size_t end = 227; end < 227 + 34 * 10; end += 17) {
    const test::CapturedLines captured;
    {
      LasWriter writer;
      ASSERT_TRUE(writer.open(headerWithOffset(), path, kFourRecords));
      const test::FaultyFile full(
          path,
          {.longestTransfer = 50, .everyOther = EINTR, .end = static_cast<std::int64_t>(end)});
      for (int n = 0; n < 10; ++n) writer.writePoint(pointAt(n % 4, n, -n));
      EXPECT_FALSE(writer.close());
    }
    const Bytes bytes = test::readFile(path);
    expectWholeLas(bytes, (end - 227) / 34);
    for (std::size_t k = 0; k < (end - 227) / 34; ++k)
      EXPECT_EQ(recordX(bytes, k), static_cast<std::int32_t>(k % 4 * 1000));
    EXPECT_THAT(captured.lines(),
                testing::ElementsAre("<E>TIME [File::writeData,L#] file(" + path +
                                         ") write error: No space left on device!",
                                     testing::HasSubstr(std::to_string(10 - (end - 227) / 34) +
                                                        " points not written, lost")));
  }
}

TEST(LasWriter, TriesTheLastHeaderAgainAndCountsWhatItLacks) {
  const test::TempDir dir;
  const std::string path = dir.path("a.las");
  for (const bool forGood : {false, true}) {
    const test::CapturedLines captured;
    LasWriter writer;
    ASSERT_TRUE(writer.open(headerWithOffset(), path, kFourRecords));
    for (int n = 0; n < 6; ++n) writer.writePoint(pointAt(n, n, -n));
    {
      const test::FaultInjection injection({{test::Call::kWrite, 2, forGood}});  // 1: the records
      EXPECT_EQ(writer.close(), !forGood);
    }
    const Bytes bytes = test::readFile(path);
    EXPECT_EQ(test::at<std::uint32_t>(bytes, 107), forGood ? 4U : 6U);
    EXPECT_EQ(writer.header().numberOfPointRecords, forGood ? 4U : 6U);
    EXPECT_EQ(captured.lines().size(), forGood ? 2U : 1U);
    EXPECT_THAT(captured.lines(),
                testing::Contains(testing::HasSubstr(": 2 points not written, lost to a failed"))
                    .Times(forGood ? 1 : 0));
  }
}

}  // namespace
