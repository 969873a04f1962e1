// SPDX-License-Identifier: BSD-3-Clause
// The points of lidar frames and of coloured frames.
#pragma once

#include <cstddef>
#include <cstdint>

#include <Eigen/Core>

#include "pcbin_las/platform/api.h"

namespace norvo {

/// The views of a point's coordinates that PCL's algorithms ask for: of x, y, z, or of all four
/// floats of `data`. They are valid as long as the point.
#define PCBIN_ADD_EIGEN_MAPS                                          \
  auto getVector3fMap() {                                             \
    return Eigen::Map<Eigen::Vector3f>(data);                         \
  }                                                                   \
  auto getVector3fMap() const {                                       \
    return Eigen::Map<const Eigen::Vector3f>(data);                   \
  }                                                                   \
  auto getVector4fMap() {                                             \
    return Eigen::Map<Eigen::Vector4f, Eigen::Aligned16>(data);       \
  }                                                                   \
  auto getVector4fMap() const {                                       \
    return Eigen::Map<const Eigen::Vector4f, Eigen::Aligned16>(data); \
  }                                                                   \
  auto getArray3fMap() {                                              \
    return Eigen::Map<Eigen::Array3f>(data);                          \
  }                                                                   \
  auto getArray3fMap() const {                                        \
    return Eigen::Map<const Eigen::Array3f>(data);                    \
  }                                                                   \
  auto getArray4fMap() {                                              \
    return Eigen::Map<Eigen::Array4f, Eigen::Aligned16>(data);        \
  }                                                                   \
  auto getArray4fMap() const {                                        \
    return Eigen::Map<const Eigen::Array4f, Eigen::Aligned16>(data);  \
  }

// Anonymous structs, which compilers know but the standard does not.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

/// One point of a lidar frame, with the layout of PCL's point types: 16-byte aligned, the
/// coordinates in a group of four floats.
struct alignas(16) PointIRT {
  union {
    float data[4] = {0, 0, 0, 1};
    struct {
      float x, y, z;  ///< metres
    };
  };
  float intensity = 0;   ///< of the return, in the sensor's own unit
  double timestamp = 0;  ///< seconds
  PCBIN_ADD_EIGEN_MAPS
};
static_assert(sizeof(PointIRT) == 32 && offsetof(PointIRT, timestamp) == 24);

/// One coloured point, with the same layout; the colour is PCL's packed word, blue in the lowest
/// byte.
struct alignas(16) PointRGBIST {
  union {
    float data[4] = {0, 0, 0, 1};
    struct {
      float x, y, z;  ///< metres
    };
  };
  union {
    struct {
      std::uint8_t b, g, r;
      std::uint8_t a;  ///< stored, not used
    };
    std::uint32_t rgba = 0;
  };
  float intensity = 0;        ///< stored as a 16-bit integer
  double timestamp = 0;       ///< seconds; becomes the LAS GPS time
  std::uint32_t sweepid = 0;  ///< of the sweep that the point belongs to; selects its pose
  PCBIN_ADD_EIGEN_MAPS
};
static_assert(sizeof(PointRGBIST) == 48 && offsetof(PointRGBIST, rgba) == 16 &&
              offsetof(PointRGBIST, timestamp) == 24 && offsetof(PointRGBIST, sweepid) == 32);

#pragma GCC diagnostic pop
#undef PCBIN_ADD_EIGEN_MAPS

}  // namespace norvo
