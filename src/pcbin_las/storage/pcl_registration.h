// SPDX-License-Identifier: BSD-3-Clause
// Makes the fields of the point types known to PCL: include this file, beside frames.h, where PCL
// converts, copies or stores clouds of them (toPCLPointCloud2, copyPointCloud, savePCDFile).
// Nothing else of the library includes it.
#pragma once

#include <pcl/register_point_struct.h>
#include <pcl/type_traits.h>

#include "pcbin_las/storage/points.h"

// clang-format off
POINT_CLOUD_REGISTER_POINT_STRUCT(norvo::PointIRT,
  (float, x, x)(float, y, y)(float, z, z)
  (float, intensity, intensity)(double, timestamp, timestamp))

POINT_CLOUD_REGISTER_POINT_STRUCT(norvo::PointRGBIST,
  (float, x, x)(float, y, y)(float, z, z)(std::uint32_t, rgba, rgba)
  (float, intensity, intensity)(double, timestamp, timestamp)(std::uint32_t, sweepid, sweepid))
// clang-format on
