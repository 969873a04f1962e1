// SPDX-License-Identifier: BSD-3-Clause
// Frames of coloured points as LAS records.
#include "pcbin_las/export/write_las.h"

#include <cmath>
#include <limits>
#include <tuple>

#include <gmock/gmock.h>

#include "pcbin_las/export/refine_point.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

class WriteLas : public testing::Test {
 protected:
  WriteLas() {
    pontra::LasHeader header;
    pontra::LasHeaderInit(&header, pontra::kPointFormat3);
    EXPECT_TRUE(writer_->open(header, dir_.path("map.las"), 1000));
    frame_->cloud = std::make_shared<norvo::RgbCloud>();
  }

  /// The bytes of the records written.
  test::Bytes records() {
    writer_->close();
    return test::readFile(dir_.path("map.las")).substr(227);
  }

  test::TempDir dir_;
  test::CapturedLines captured_;
  std::shared_ptr<pontra::LasWriter> writer_ = std::make_shared<pontra::LasWriter>();
  std::shared_ptr<modeling_app::PclRGBFrame> frame_ = std::make_shared<modeling_app::PclRGBFrame>();
};

TEST_F(WriteLas, WritesThePointsWithAPoseInTheirOrder) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  // Sweep, intensity, and the intensity of the record, -1 for no record.
  const std::tuple<std::uint32_t, float, int> rows[] = {
      {1, 0, -1},     {0, 12.9F, 12},       {0, -0.5F, 0},        {3, 0, -1},
      {2, -7, 0},     {0, 65535.9F, 65535}, {2, 65536, 65535},    {0xFFFFFFFF, 0, -1},
      {2, -1e30F, 0}, {0, kNan, 0},         {0, kInfinity, 65535}};
  norvo::PGOResultMsg msg;
  msg.offset = {1000, 0, 0};  // the header's, not added to points
  msg.lioPoses.resize(3);
  msg.pgoPoses.resize(3);
  for (const std::uint32_t sweep : {0U, 2U})
    msg.lioPoses[sweep].id = msg.pgoPoses[sweep].id = sweep;
  msg.pgoPoses[2].translation = {0, 0, 1};
  test::Bytes expected;
  for (const auto& [sweep, intensity, stored] : rows) {
    norvo::PointRGBIST& point = frame_->cloud->points.emplace_back();
    const double time = 1700000000.123456 + static_cast<double>(frame_->cloud->points.size());
    std::tie(point.x, point.y, point.z) = std::tuple(1.0F, -1.5F, 0.002F);
    std::tie(point.r, point.g, point.b, point.a) = std::tuple(255, 128, 1, 77);
    std::tie(point.intensity, point.timestamp, point.sweepid) = std::tuple(intensity, time, sweep);
    if (stored >= 0)
      expected += test::lasRecord({1000, -1500, sweep == 2 ? 1002 : 2,
                                   static_cast<std::uint16_t>(stored), 255, 128, 1, time});
  }

  EXPECT_EQ(write_las(writer_, frame_, msg), 0);
  EXPECT_EQ(captured_.lines().back(), "<I>TIME [write_las] refine pcl points(11) ok.");
  frame_->cloud = nullptr;
  EXPECT_EQ(write_las(writer_, frame_, msg), -1);
  EXPECT_EQ(captured_.lines().back(), "<E>TIME [write_las,L#] frame points is null!");
  EXPECT_EQ(records(), expected);
}

TEST_F(WriteLas, WritesColourSourceIdAndTimeAsAsked) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  // Colour, time stamp and sweep of a point, and those of its record. A point without a valid time
  // keeps its place.
  const std::tuple<std::uint8_t, double, std::uint32_t, std::uint16_t, double, std::uint16_t>
      rows[] = {{1, 0, 0, 257, 0, 0},
                {255, 1782036000.5, 65535, 65535, 466071218.5, 65535},
                {0, 315964800, 65536, 0, -1e9, 0},
                {2, 315964799.9, 7, 514, 0, 7},
                {1, 4102444800, 4294967295, 257, 2786480018, 65535},
                {0, 4102444800.1, 1, 0, 0, 1},
                {0, kNan, 2, 0, 0, 2}};
  test::Bytes expected;
  for (const auto& [colour, time, sweep, red, gpsTime, sourceId] : rows) {
    norvo::PointRGBIST& point = frame_->cloud->points.emplace_back();
    std::tie(point.r, point.timestamp, point.sweepid) = std::tuple(colour, time, sweep);
    expected += test::lasRecord({0, 0, 0, 0, red, 0, 0, gpsTime});
    test::patch(expected, expected.size() - 16, sourceId);
  }
  FrameTally tally;
  const PointOptions options = {.clock = pontra::Clock::kUnix, .rgb16 = true, .sourceId = true};
  EXPECT_TRUE(writeFrame(*writer_, *frame_, {}, options, tally));
  EXPECT_EQ(tally.times.missing, 4U);
  EXPECT_EQ(tally.times.first, 466071218.5);
  EXPECT_EQ(tally.times.last, 2786480018);
  EXPECT_EQ(records(), expected);
}

TEST_F(WriteLas, RefinesAllPointsOfAFrameLikeOnePoint) {
  norvo::PGOResultMsg msg;
  msg.lioPoses.resize(4);
  msg.pgoPoses.resize(4);
  for (const std::uint32_t sweep : {0U, 1U, 3U}) {
    const auto turn = static_cast<float>(sweep);
    msg.lioPoses[sweep].id = msg.pgoPoses[sweep].id = sweep;
    msg.lioPoses[sweep].translation = {turn, 2, -3};
    msg.lioPoses[sweep].rotation = {0.5F, 0.5F, -0.1F, 0.7F};
    msg.pgoPoses[sweep].translation = {10, turn, 0.5F};
    msg.pgoPoses[sweep].rotation = {0.9F, 0.1F, 0.3F, turn / 5};
  }
  auto& points = frame_->cloud->points;
  points.resize(4000);
  for (unsigned k = 0; k < points.size(); ++k) {
    std::tie(points[k].x, points[k].y, points[k].z) =
        std::tuple(static_cast<float>(k) / 3, static_cast<float>(k % 77), -7.7F);
    points[k].sweepid = k < 1100 ? 0 : k < 1900 ? k % 3 : k < 3000 ? 3 : k < 3500 ? 2 : 1;
  }
  FrameTally tally;
  EXPECT_EQ(write_las(writer_, frame_, msg, {}, tally), 0);
  EXPECT_EQ(tally.noPose, 267U + 500U);
  test::Bytes expected;
  for (unsigned k = 0; k < points.size(); ++k) {
    if (const auto p = refinePoint(points[k], k, msg))
      for (const double value : {p->x(), p->y(), p->z()})
        test::append(expected, static_cast<std::int32_t>(std::lrint(value / 0.001)));
  }
  test::Bytes coordinates;
  const test::Bytes bytes = records();
  for (std::size_t k = 0; k < bytes.size(); k += 34) coordinates += bytes.substr(k, 12);
  EXPECT_EQ(coordinates, expected);
}

}  // namespace
