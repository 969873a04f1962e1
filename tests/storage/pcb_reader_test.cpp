#include "pcbin_las/storage/pcb_reader.h"

#include <gmock/gmock.h>

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

TEST(PcbReader, RefusesWhatIsNoPcbinFileAndSaysWhy) {
  const TempDir directory;
  const Bytes good = test::rgbFile(1, 1);
  const std::string path = directory.path("a");
  const std::string error = "<E>TIME [PcbReader::open,L#] ";
  const std::pair<Bytes, std::string> rows[] = {
      {"\xFE" + good.substr(1), "is not pcbin file!"},
      {good.substr(0, 4) + "pCBIN" + good.substr(9), "is not pcbin file!"},
      {"", "read header error, len: 0!"},
      {good.substr(0, 67), "read header error, len: 67!"},
  };
  for (const auto& [contents, found] : rows) {
    directory.write("a", contents);
    const CapturedLines log;
    PcbReader reader;
    EXPECT_FALSE(reader.open(path, 0));
    EXPECT_THAT(log.lines(), ElementsAre(error + "file(" + path + ") " + found));
    EXPECT_TRUE(reader.open(path, 0)) << "the file stays open until close()";
  }
  const CapturedLines log;
  for (const std::string& name : {std::string(), std::string("/none"), directory.path()})
    EXPECT_FALSE(PcbReader().open(name, 0));
  EXPECT_THAT(log.lines(),
              ElementsAre(error + "file() not exists!", error + "file(/none) not exists!",
                          error + "file(" + directory.path() + ") cannot be read: Is a directory!",
                          error + "open file(" + directory.path() + ") error!"));
}

}  // namespace
