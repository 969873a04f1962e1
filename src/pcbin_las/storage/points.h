// The points of lidar frames and of coloured frames.
#pragma once

#include <cstdint>

#include "pcbin_las/platform/api.h"

namespace norvo {

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
};

/// One coloured point, with the same layout; the colour is PCL's packed word, blue in the lowest
/// byte.
struct alignas(16) PointRGBIST {
  union {
    float data[4] = {0, 0, 0, 1};
    struct {
      float x, y, z;  ///< metres
    };
  };
  std::uint8_t b = 0;
  std::uint8_t g = 0;
  std::uint8_t r = 0;
  std::uint8_t a = 0;         ///< stored, not used
  float intensity = 0;        ///< stored as a 16-bit integer
  double timestamp = 0;       ///< seconds; becomes the LAS GPS time
  std::uint32_t sweepid = 0;  ///< of the sweep that the point belongs to; selects its pose
};

}  // namespace norvo
