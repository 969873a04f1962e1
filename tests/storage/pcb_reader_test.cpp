#include "storage/pcb_reader.h"

#include <set>
#include <thread>

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
  if (cloud.points.size() != count || cloud.width != count || cloud.height != 1) return false;
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
  const TempDir directory;
  const std::string path = directory.write("a", test::rgbFile(25, 3));
  const CapturedLines log;
  PcbReader reader;
  EXPECT_TRUE(reader.readPclRGB(10).empty()) << "never opened";
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(reader.open(path, 4U << 20));
    EXPECT_EQ(reader.totalFrames(), 25U);
    EXPECT_EQ(reader.totalPoints(), 75U);
    EXPECT_TRUE(reader.readPclRGB(0).empty());
    unsigned frame = 0;
    for (const std::size_t expected : {10U, 10U, 5U, 0U, 0U}) {
      const auto batch = reader.readPclRGB(10);
      ASSERT_EQ(batch.size(), expected);
      for (const auto& read : batch) {
        EXPECT_EQ(read->timestamp, 1e9 + frame);
        EXPECT_TRUE(holdsPoints(*read, 3 * frame, 3)) << frame;
        ++frame;
      }
    }
    EXPECT_TRUE(reader.open("/another", 1)) << "an open reader stays with its file";
    reader.close();
    EXPECT_EQ(reader.totalFrames() + reader.totalPoints(), 0U);
    EXPECT_TRUE(reader.readPclRGB(10).empty());
  }
  const char* const opened = "<I>TIME [PcbReader::open] pcbin open ok, frames: 25, points: 75.";
  EXPECT_THAT(log.lines(), ElementsAre(opened, opened));
}

TEST(PcbReader, ReadsLidarFramesWithTheirPose) {
  OpenReader reader(test::pcbHeader(0, 0) +
                    test::irtFrame(7, -1.5, {{1, -2, 3, 0.25F, 1e9}, {4, 5, 6, 7, 8}},
                                   {0.1F, 0.2F, 0.3F, 0.4F}, {10, 20, 30}));
  const auto frames = reader.readPcl(2);
  ASSERT_EQ(frames.size(), 1U);
  const modeling_app::PclFrame& frame = *frames[0];
  EXPECT_EQ(frame.timestamp, -1.5);
  EXPECT_EQ(frame.rotation.w(), 0.1F);
  EXPECT_EQ(frame.rotation.vec(), Eigen::Vector3f(0.2F, 0.3F, 0.4F));
  EXPECT_EQ(frame.translation, Eigen::Vector3f(10, 20, 30));
  ASSERT_EQ(frame.cloud->points.size(), 2U);
  EXPECT_EQ(frame.cloud->width, 2U);
  EXPECT_EQ(frame.cloud->height, 1U);
  const norvo::PointIRT& point = frame.cloud->points[0];
  EXPECT_THAT(point.data, ElementsAre(1, -2, 3, 1));
  EXPECT_EQ(point.intensity, 0.25F);
  EXPECT_EQ(point.timestamp, 1e9);
  EXPECT_EQ(frame.cloud->points[1].timestamp, 8);
}

TEST(PcbReader, ReadsFramesWithoutPoints) {
  const Bytes header = test::pcbHeader(0, 0);
  const auto rgb = OpenReader(header + test::rgbFrame(0, 1, {{}, {}}) + test::rgbFrame(1, 2, {}) +
                              test::rgbFrame(2, 3, {{}}))
                       .readPclRGB(10);
  ASSERT_EQ(rgb.size(), 3U);
  EXPECT_EQ(rgb[1]->cloud->points.size() + rgb[1]->cloud->width + rgb[1]->cloud->height, 0U);
  EXPECT_EQ(rgb[2]->cloud->points.size(), 1U);

  const auto irt =
      OpenReader(header + test::irtFrame(0, 1, {}) + test::irtFrame(1, 2, {{}})).readPcl(10);
  ASSERT_EQ(irt.size(), 2U);
  EXPECT_EQ(irt[0]->cloud->points.size() + irt[0]->cloud->width + irt[0]->cloud->height, 0U);
}

TEST(PcbReader, ReadsBlocksLargerThanAPiece) {
  for (const unsigned points : {104857U, 104858U, 220000U}) {
    // The frames outlive their reader.
    const auto frames = OpenReader(test::rgbFile(2, points)).readPclRGB(10);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_TRUE(holdsPoints(*frames[0], 0, points)) << points;
    EXPECT_TRUE(holdsPoints(*frames[1], points, points)) << points;
  }
  std::vector<test::IrtPoint> points(200'000);
  for (std::size_t i = 0; i < points.size(); ++i) points[i].timestamp = static_cast<double>(i);
  const auto frames = OpenReader(test::pcbHeader(0, 0) + test::irtFrame(0, 0, points)).readPcl(1);
  ASSERT_EQ(frames.size(), 1U);
  ASSERT_EQ(frames[0]->cloud->points.size(), points.size());
  for (std::size_t i = 0; i < points.size(); ++i)
    ASSERT_EQ(frames[0]->cloud->points[i].timestamp, static_cast<double>(i));
}

TEST(PcbReader, SkipsTheValuesOfNoFrameThatHoldsAWantedPoint) {
  OpenReader reader(test::rgbFile(5, 4));
  reader.skipValues(9);
  const auto frames = reader.readPclRGB(10);
  ASSERT_EQ(frames.size(), 5U);
  EXPECT_EQ(frames[1]->cloud->points.size(), 4U);
  for (unsigned i = 2; i < 5; ++i) EXPECT_TRUE(holdsPoints(*frames[i], 4 * i, 4)) << i;

  reader.skipValues(100);
  reader.close();
  ASSERT_TRUE(reader.open(reader.path, 0));
  EXPECT_TRUE(holdsPoints(*reader.readPclRGB(1).at(0), 0, 4)) << "another round begins anew";
}

TEST(PcbReader, LooksOnlyAtTheCheckedFieldsOfTheHeader) {
  Bytes bytes = test::rgbFile(1, 1);
  bytes.replace(9, 7, "ignored");
  bytes.replace(32, 36, Bytes(36, 'x'));
  test::patch<std::uint64_t>(bytes, 16, 0x1'0000'0005);
  test::patch<std::uint64_t>(bytes, 24, 0);
  OpenReader reader(bytes);
  EXPECT_EQ(reader.totalFrames(), 5U) << "the low 32 bits";
  EXPECT_EQ(reader.totalPoints(), 0U);
  EXPECT_EQ(reader.readPclRGB(10).size(), 1U) << "the counts do not bound reading";
}

TEST(PcbReader, RefusesFilesThatAreNoPcbinFiles) {
  const TempDir directory;
  const Bytes good = test::rgbFile(1, 1);
  const auto changed = [&](std::size_t offset, char value) {
    return Bytes(good).replace(offset, 1, 1, value);
  };
  const std::string path = directory.path("a");
  const std::string file = "<E>TIME [PcbReader::open,L#] file(" + path + ") ";
  const struct {
    Bytes contents;
    std::string line;
  } rows[] = {
      {changed(0, '\xFE'), file + "is not pcbin file!"},
      {changed(1, 2), file + "is not pcbin file!"},
      {changed(2, 69), file + "is not pcbin file!"},
      {changed(3, 1), file + "is not pcbin file!"},
      {changed(4, 'p'), file + "is not pcbin file!"},
      {changed(8, 'n'), file + "is not pcbin file!"},
      {"", file + "read header error, len: 0!"},
      {good.substr(0, 67), file + "read header error, len: 67!"},
  };
  for (const auto& row : rows) {
    directory.write("a", row.contents);
    const CapturedLines log;
    PcbReader reader;
    EXPECT_FALSE(reader.open(path, 0));
    EXPECT_THAT(log.lines(), ElementsAre(row.line));
    EXPECT_TRUE(reader.open(path, 0)) << "the file stays open until close()";
    reader.close();
    directory.write("a", good);
    EXPECT_TRUE(reader.open(path, 0));
    EXPECT_EQ(reader.readPclRGB(9).size(), 1U);
  }
}

TEST(PcbReader, RefusesWhatItCannotOpen) {
  const TempDir directory;
  const CapturedLines log;
  PcbReader reader;
  reader.close();
  EXPECT_FALSE(reader.open("", 0));
  EXPECT_FALSE(reader.open("/none", 0));
  EXPECT_FALSE(reader.open(directory.path(), 0));
  EXPECT_EQ(reader.totalFrames(), 0U);
  EXPECT_THAT(log.lines(), ElementsAre("<E>TIME [PcbReader::open,L#] file() not exists!",
                                       "<E>TIME [PcbReader::open,L#] file(/none) not exists!",
                                       "<E>TIME [PcbReader::open,L#] open file(" +
                                           directory.path() + ") error!"));
}

TEST(PcbReader, SharesItsFramesAmongThreads) {
  OpenReader reader(test::rgbFile(60, 50));
  std::set<double> seen;
  std::mutex mutex;
  const auto readAll = [&] {
    for (auto batch = reader.readPclRGB(2); !batch.empty(); batch = reader.readPclRGB(2)) {
      const std::lock_guard lock(mutex);
      for (const auto& frame : batch) {
        const auto number = static_cast<unsigned>(frame->timestamp - 1e9);
        EXPECT_TRUE(seen.insert(frame->timestamp).second && holdsPoints(*frame, 50 * number, 50));
      }
    }
  };
  std::thread other(readAll);
  readAll();
  other.join();
  EXPECT_EQ(seen.size(), 60U);
}

}  // namespace
