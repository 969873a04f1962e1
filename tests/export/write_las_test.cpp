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

using test::at;
using test::Bytes;

auto frameOf(const std::vector<norvo::PointRGBIST>& points) {
  auto frame = std::make_shared<modeling_app::PclRGBFrame>();
  frame->cloud = std::make_shared<norvo::RgbCloud>();
  frame->cloud->points.assign(points.begin(), points.end());
  return frame;
}

class WriteLas : public testing::Test {
 protected:
  WriteLas() {
    pontra::LasHeader header;
    pontra::LasHeaderInit(&header, pontra::kPointFormat3);
    header.xOffset = 1000;
    EXPECT_TRUE(writer_->open(header, dir_.path("map.las"), 1000));
  }

  /// The bytes of the records written.
  Bytes records() {
    writer_->close();
    return test::readFile(dir_.path("map.las")).substr(227);
  }

  test::TempDir dir_;
  std::shared_ptr<pontra::LasWriter> writer_ = std::make_shared<pontra::LasWriter>();
  test::CapturedLines captured_;
};

TEST_F(WriteLas, CopiesColoursAndTimeAndLeavesTheOffsetToTheHeader) {
  norvo::PointRGBIST point;
  std::tie(point.x, point.y, point.z) = std::tuple(1.0F, -1.5F, 0.002F);
  std::tie(point.r, point.g, point.b, point.a) = std::tuple(255, 128, 1, 77);
  std::tie(point.intensity, point.timestamp) = std::tuple(65535, 1700000000.123456);
  norvo::PGOResultMsg msg;
  msg.offset = {1000, 0, 0};
  EXPECT_EQ(write_las(writer_, frameOf({point}), msg), 0);
  EXPECT_EQ(records(), test::lasRecord({1000, -1500, 2, 65535, 255, 128, 1, 1700000000.123456}));
}

TEST_F(WriteLas, HoldsIntensitiesWithinTheirRange) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::pair<float, int> cases[] = {
      {12.9F, 12},       {0.5F, 0},         {-0.5F, 0},
      {-7, 0},           {65535.9F, 65535}, {65536, 65535},
      {1e30F, 65535},    {-1e30F, 0},       {std::numeric_limits<float>::quiet_NaN(), 0},
      {kInfinity, 65535}};
  std::vector<norvo::PointRGBIST> points(std::size(cases));
  for (std::size_t k = 0; k < points.size(); ++k) points[k].intensity = cases[k].first;
  EXPECT_EQ(write_las(writer_, frameOf(points), {}), 0);
  const Bytes bytes = records();
  for (std::size_t k = 0; k < points.size(); ++k)
    EXPECT_EQ(at<std::uint16_t>(bytes, 34 * k + 12), cases[k].second) << cases[k].first;
}

TEST_F(WriteLas, WritesThePointsWithAPoseInTheirOrderAndCountsAll) {
  norvo::PGOResultMsg msg;
  msg.lioPoses.resize(2);
  msg.pgoPoses.resize(2);
  msg.lioPoses[0].id = msg.pgoPoses[0].id = 0;
  std::vector<norvo::PointRGBIST> points(10);
  for (unsigned k = 0; k < 10; ++k) {
    points[k].x = static_cast<float>(k);
    points[k].sweepid = k == 0 ? 1 : k % 4 == 3 ? 2 : k == 9 ? 0xFFFFFFFF : 0;  // 0, 3, 7, 9 go
  }
  EXPECT_EQ(write_las(writer_, frameOf(points), msg), 0);
  const Bytes bytes = records();
  std::vector<int> steps;
  for (std::size_t k = 0; k < bytes.size() / 34; ++k)
    steps.push_back(at<std::int32_t>(bytes, 34 * k));
  EXPECT_THAT(steps, testing::ElementsAre(1000, 2000, 4000, 5000, 6000, 8000));
  EXPECT_EQ(captured_.lines().back(), "<I>TIME [write_las] refine pcl points(10) ok.");
}

TEST_F(WriteLas, RefinesManyPointsAsItRefinesEach) {
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
  std::vector<norvo::PointRGBIST> points(4000);
  for (unsigned k = 0; k < points.size(); ++k) {
    std::tie(points[k].x, points[k].y, points[k].z) =
        std::tuple(static_cast<float>(k) / 3, static_cast<float>(k % 77), -7.7F);
    points[k].sweepid = k < 1100 ? 0 : k < 1900 ? k % 3 : k < 3000 ? 3 : k < 3500 ? 2 : 1;
  }
  EXPECT_EQ(write_las(writer_, frameOf(points), msg), 0);
  Bytes expected;
  for (unsigned k = 0; k < points.size(); ++k) {
    if (const auto p = refinePoint(points[k], k, msg))
      for (const double value : {p->x(), p->y(), p->z()})
        test::append(expected, static_cast<std::int32_t>(std::lrint(value / 0.001)));
  }
  Bytes coordinates;
  const Bytes bytes = records();
  for (std::size_t k = 0; k < bytes.size(); k += 34) coordinates += bytes.substr(k, 12);
  EXPECT_EQ(coordinates, expected);
}

}  // namespace
