// SPDX-License-Identifier: BSD-3-Clause
// The point types in PCL's own algorithms, of which header templates alone are used.
#include "pcbin_las/storage/pcl_registration.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <pcl/common/impl/common.hpp>
#include <pcl/common/impl/io.hpp>
#include <pcl/conversions.h>
#include <pcl/point_types.h>

#include "pcbin_las/storage/frames.h"

namespace norvo {
namespace {

PointRGBIST colouredPoint() {
  PointRGBIST point;
  point.getVector3fMap() = Eigen::Vector3f(1.5F, -2, 3);
  point.rgba = 0x04030201;
  point.intensity = 65535;
  point.timestamp = 1767225600.0625;
  point.sweepid = 4000000000;
  return point;
}

TEST(PclRegistration, GivesAPclMessageWithEveryField) {
  RgbCloud cloud;
  cloud.push_back(PointRGBIST{});
  cloud.push_back(colouredPoint());
  pcl::PCLPointCloud2 message;
  pcl::toPCLPointCloud2(cloud, message);
  std::string fields;
  for (const auto& field : message.fields)
    fields += field.name + "@" + std::to_string(field.offset) + " ";
  EXPECT_EQ(fields, "x@0 y@4 z@8 rgba@16 intensity@20 timestamp@24 sweepid@32 ");
  EXPECT_EQ(message.point_step, 48U);
  ASSERT_EQ(message.data.size(), 96U);
  EXPECT_THAT(std::vector(message.data.begin() + 64, message.data.begin() + 68),
              testing::ElementsAre(1, 2, 3, 4));  // b, g, r, a
}

TEST(PclRegistration, LetsPclCopyAndMeasureClouds) {
  RgbCloud coloured;
  coloured.push_back(PointRGBIST{});
  coloured.push_back(colouredPoint());
  pcl::PointCloud<pcl::PointXYZI> copy;
  pcl::copyPointCloud(coloured, copy);
  ASSERT_EQ(copy.size(), 2U);
  EXPECT_EQ(copy[1].y, -2);
  EXPECT_EQ(copy[1].intensity, 65535);

  IrtCloud lidar;
  pcl::copyPointCloud(coloured, lidar);
  Eigen::Vector4f low;
  Eigen::Vector4f high;
  pcl::getMinMax3D(lidar, low, high);
  EXPECT_EQ(low.head<3>(), Eigen::Vector3f(0, -2, 0));
  EXPECT_EQ(high.head<3>(), Eigen::Vector3f(1.5F, 0, 3));
  EXPECT_EQ(lidar[1].timestamp, 1767225600.0625);
}

}  // namespace
}  // namespace norvo
