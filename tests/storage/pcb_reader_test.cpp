// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcb_reader.h"

#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "pcbin_las/platform/trace_macros.h"
#include "storage/open_reader.h"
#include "support/log_lines.h"

namespace {

using modeling_app::PcbReader;
using test::Bytes;
using test::CapturedLines;
using test::OpenReader;
using test::TempDir;
using testing::ElementsAre;

/// Whether the points of the frame are those of rgbFile() from number `first` on.
bool holdsPoints(const modeling_app::PclRGBFrame& frame, unsigned first, unsigned count) {
  const norvo::RgbCloud& cloud = *frame.cloud;
  if (cloud.points.size() != count || cloud.width != count || cloud.height != std::min(count, 1U))
    return false;
  for (unsigned k = first; k < first + count; ++k) {
    const norvo::PointRGBIST& p = cloud.points[k - first];
    const auto number = static_cast<float>(k);
    const bool same = p.x == number && p.y == number + 0.25F && p.z == number + 0.5F &&
                      p.r == k % 256 && p.g == 1 && p.b == 2 && p.a == 0 &&
                      p.intensity == static_cast<float>(k % 65536) && p.timestamp == k &&
                      p.sweepid == first / count && p.data[3] == 1;
    if (!same) return false;
  }
  return true;
}

TEST(PcbReader, ReadsTheFramesBatchAfterBatch) {
  const CapturedLines log;
  OpenReader reader(test::rgbFile(25, 3));
  EXPECT_EQ(reader.totalFrames(), 25U);
  EXPECT_EQ(reader.totalPoints(), 75U);
  for (int round = 0; round < 2; ++round) {
    unsigned frame = 0;
    for (const std::size_t expected : {10U, 10U, 5U, 0U, 0U}) {
      const auto batch = reader.readPclRGB(10);
      ASSERT_EQ(batch.size(), expected);
      for (const auto& read : batch) {
        EXPECT_EQ(read->timestamp, 1e9 + frame);
        EXPECT_TRUE(holdsPoints(*read, 3 * frame++, 3));
      }
    }
    reader.close();
    EXPECT_EQ(reader.totalFrames() + reader.totalPoints(), 0U);
    EXPECT_TRUE(reader.readPclRGB(10).empty());
    ASSERT_TRUE(reader.open(reader.path, 0));
  }
  const char* const opened = "<I>TIME [PcbReader::open] pcbin open ok, frames: 25, points: 75.";
  EXPECT_THAT(log.lines(), ElementsAre(opened, opened, opened));
}

TEST(PcbReader, ReadsLidarFramesWithTheirPose) {
  OpenReader reader(test::pcbHeader(0, 0) + test::irtFrame(6, 0, {}) +
                    test::irtFrame(7, -1.5, {{1, -2, 3, 0.25F, 1e9}, {4, 5, 6, 7, 8}},
                                   {0.1F, 0.2F, 0.3F, 0.4F}, {10, 20, 30}));
  const auto frames = reader.readPcl(10);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0]->cloud->points.size() + frames[0]->cloud->height, 0U);
  const modeling_app::PclFrame& frame = *frames[1];
  EXPECT_EQ(frame.timestamp, -1.5);
  EXPECT_EQ(frame.rotation.w(), 0.1F);
  EXPECT_EQ(frame.rotation.vec(), Eigen::Vector3f(0.2F, 0.3F, 0.4F));
  EXPECT_EQ(frame.translation, Eigen::Vector3f(10, 20, 30));
  ASSERT_EQ(frame.cloud->points.size(), 2U);
  const norvo::PointIRT& point = frame.cloud->points[0];
  EXPECT_THAT(point.data, ElementsAre(1, -2, 3, 1));
  EXPECT_EQ(point.intensity, 0.25F);
  EXPECT_EQ(point.timestamp, 1e9);
  EXPECT_EQ(frame.cloud->points[1].timestamp, 8);

  std::vector<test::IrtPoint> large(200'000);  // more than one piece of a block
  large.front().x = 1;
  large.back().x = 2;
  OpenReader largeReader(test::pcbHeader(0, 0) + test::irtFrame(0, 0, large));
  const auto largeCloud = largeReader.readPcl(1).at(0)->cloud;
  EXPECT_EQ(largeCloud->points.front().x, 1);
  EXPECT_EQ(largeCloud->points.back().x, 2);
}

TEST(PcbReader, ReadsFramesWithoutPointsAndBlocksLargerThanAPiece) {
  for (const unsigned points : {0U, 104857U, 104858U, 220000U}) {
    // The frames outlive their reader.
    const auto frames = OpenReader(test::rgbFile(2, points)).readPclRGB(10);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_TRUE(holdsPoints(*frames[0], 0, points)) << points;
    EXPECT_TRUE(holdsPoints(*frames[1], points, points)) << points;
  }
}

TEST(PcbReader, ReadsASmallFrameAfterALargeOneThatIsNotUsedAnyMore) {
  OpenReader coloured(test::pcbHeader(0, 0) +
                      test::rgbFrame(0, 0, std::vector<test::RgbPoint>(90)) +
                      test::rgbFrame(1, 0, std::vector<test::RgbPoint>(3)));
  OpenReader lidar(test::pcbHeader(0, 0) + test::irtFrame(0, 0, std::vector<test::IrtPoint>(90)) +
                   test::irtFrame(1, 0, std::vector<test::IrtPoint>(3)));
  for (const std::size_t size : {90U, 3U}) {
    EXPECT_EQ(coloured.readPclRGB(1).at(0)->cloud->points.size(), size);
    EXPECT_EQ(lidar.readPcl(1).at(0)->cloud->points.size(), size);
  }
}

TEST(PcbReader, ChecksTheFirstNineBytesOfTheFileHeader) {
  const TempDir directory;
  const Bytes file = test::rgbFile(3, 2);
  const std::string path = directory.path("a");
  const CapturedLines log;
  for (std::size_t byte = 0; byte < 68; ++byte) {
    Bytes changed = file;
    changed[byte] ^= '\x7F';
    PcbReader reader;
    EXPECT_EQ(reader.open(directory.write("a", changed), 0), byte >= 9) << byte;
    if (byte < 9)
      EXPECT_EQ(log.lines().back(),
                "<E>TIME [PcbReader::open,L#] file(" + path + ") is not pcbin file!");
    else
      EXPECT_EQ(reader.readPclRGB(9).size(), 3U) << byte;
    EXPECT_TRUE(reader.open("none", 0)) << "the file stays open until close()";
  }
}

TEST(PcbReader, ReportsWhyAFileCannotBeOpened) {
  const TempDir directory;
  const std::string error = "<E>TIME [PcbReader::open,L#] ";
  const std::string path = directory.write("a", test::pcbHeader(0, 0).substr(0, 67));
  const CapturedLines log;
  for (const std::string& name : {std::string(), std::string("/none"), directory.path(), path})
    EXPECT_FALSE(PcbReader().open(name, 0));
  directory.write("a", "");
  EXPECT_FALSE(PcbReader().open(path, 0));
  EXPECT_THAT(log.lines(),
              ElementsAre(error + "file() not exists!", error + "file(/none) not exists!",
                          error + "file(" + directory.path() + ") cannot be read: Is a directory!",
                          error + "open file(" + directory.path() + ") error!",
                          error + "file(" + path + ") read header error, len: 67!",
                          error + "file(" + path + ") read header error, len: 0!"));
}

TEST(PcbReader, GivesEachFrameToOneOfSeveralThreads) {
  constexpr unsigned kFrames = 300;
  const CapturedLines log;
  OpenReader reader(test::rgbFile(kFrames, 5));
  std::vector<std::atomic<int>> seen(kFrames);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&] {
      unsigned last = 0;
      for (auto frames = reader.readPclRGB(3); !frames.empty(); frames = reader.readPclRGB(3)) {
        EXPECT_EQ(reader.totalFrames(), kFrames);
        for (const auto& frame : frames) {
          const unsigned sweep = frame->cloud->points.at(0).sweepid;
          EXPECT_TRUE(holdsPoints(*frame, 5 * sweep, 5));
          EXPECT_GE(sweep, last);
          last = sweep;
          ++seen.at(sweep);
          TRACE_INFO("test", "%s", std::string(sweep, 'x').c_str());
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(seen, testing::Each(testing::Eq(1)));
  EXPECT_THAT(log.lines(), testing::SizeIs(kFrames + 1));
}

}  // namespace
