// Frames of coloured points as LAS records.
#include "pcbin_las/export/write_las.h"

#include <limits>
#include <tuple>

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

TEST(WriteLas, WritesThePointsWithAPoseInTheirOrder) {
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
  const auto frame = std::make_shared<modeling_app::PclRGBFrame>();
  frame->cloud = std::make_shared<norvo::RgbCloud>();
  test::Bytes expected;
  for (const auto& [sweep, intensity, stored] : rows) {
    norvo::PointRGBIST& point = frame->cloud->points.emplace_back();
    const double time = 1700000000.123456 + static_cast<double>(frame->cloud->points.size());
    std::tie(point.x, point.y, point.z) = std::tuple(1.0F, -1.5F, 0.002F);
    std::tie(point.r, point.g, point.b, point.a) = std::tuple(255, 128, 1, 77);
    std::tie(point.intensity, point.timestamp, point.sweepid) = std::tuple(intensity, time, sweep);
    if (stored >= 0)
      expected += test::lasRecord({1000, -1500, sweep == 2 ? 1002 : 2,
                                   static_cast<std::uint16_t>(stored), 255, 128, 1, time});
  }

  const test::TempDir dir;
  const test::CapturedLines captured;
  const auto writer = std::make_shared<pontra::LasWriter>();
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  ASSERT_TRUE(writer->open(header, dir.path("map.las"), 1000));
  EXPECT_EQ(write_las(writer, frame, msg), 0);
  EXPECT_EQ(captured.lines().back(), "<I>TIME [write_las] refine pcl points(11) ok.");
  EXPECT_EQ(write_las(writer, std::make_shared<modeling_app::PclRGBFrame>(), msg), -1);
  EXPECT_EQ(captured.lines().back(), "<E>TIME [write_las,L#] frame points is null!");
  writer->close();
  EXPECT_EQ(test::readFile(dir.path("map.las")).substr(227), expected);
}

}  // namespace
