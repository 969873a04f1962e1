// SPDX-License-Identifier: BSD-3-Clause
// Makes the point types and their fields known to PCL: include this file, beside frames.h, where
// PCL converts, copies, filters or stores clouds of them (toPCLPointCloud2, VoxelGrid,
// savePCDFile), and before headers of PCL's algorithms. Nothing else of the library includes it.
//
// PCL's libraries contain its algorithms for PCL's own point types only. PCL_NO_PRECOMPILE, which
// this file defines, makes the headers of the algorithms contain their code. What an algorithm
// makes new points of keeps only the fields that it knows: pcl::VoxelGrid sets timestamp and
// sweepid to 0.
#pragma once

#ifndef PCL_NO_PRECOMPILE
#define PCL_NO_PRECOMPILE
#define PCBIN_DEFINED_NO_PRECOMPILE
#endif

#include <pcl/register_point_struct.h>
#include <pcl/type_traits.h>

#include "pcbin_las/storage/points.h"

#ifdef PCBIN_DEFINED_NO_PRECOMPILE
#undef PCBIN_DEFINED_NO_PRECOMPILE
namespace pcl {
template <typename PointT>
class PCLBase;
template <typename PointT>
class KdTree;
namespace search {
template <typename PointT>
class Search;
}  // namespace search
namespace octree {
class OctreeContainerPointIndices;
class OctreeContainerEmpty;
template <typename LeafContainerT, typename BranchContainerT>
class OctreeBase;
template <typename PointT, typename LeafContainerT, typename BranchContainerT, typename OctreeT>
class OctreePointCloud;
}  // namespace octree
}  // namespace pcl

namespace norvo {

/// Whether the class is complete: its header was included before.
template <class Algorithm>
concept IsIncluded = requires {
  sizeof(Algorithm);
};

using OctreeOfPoints =
    pcl::octree::OctreePointCloud<PointIRT, pcl::octree::OctreeContainerPointIndices,
                                  pcl::octree::OctreeContainerEmpty,
                                  pcl::octree::OctreeBase<pcl::octree::OctreeContainerPointIndices,
                                                          pcl::octree::OctreeContainerEmpty>>;

static_assert(
    !IsIncluded<pcl::PCLBase<PointIRT>> && !IsIncluded<pcl::KdTree<PointIRT>> &&
        !IsIncluded<pcl::search::Search<PointIRT>> && !IsIncluded<OctreeOfPoints>,
    "include pcbin_las/storage/pcl_registration.h before the headers of PCL's algorithms, or "
    "compile with -DPCL_NO_PRECOMPILE");

}  // namespace norvo
#endif

// clang-format off
POINT_CLOUD_REGISTER_POINT_STRUCT(norvo::PointIRT,
  (float, x, x)(float, y, y)(float, z, z)
  (float, intensity, intensity)(double, timestamp, timestamp))

POINT_CLOUD_REGISTER_POINT_STRUCT(norvo::PointRGBIST,
  (float, x, x)(float, y, y)(float, z, z)(std::uint32_t, rgba, rgba)
  (float, intensity, intensity)(double, timestamp, timestamp)(std::uint32_t, sweepid, sweepid))
// clang-format on
