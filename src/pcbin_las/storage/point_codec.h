// SPDX-License-Identifier: BSD-3-Clause
// Encoding of points as the records of a pcbin file, and decoding. Encoding and decoding preserves
// a point, except for an intensity that is not an integer from 0 to 65535.
#pragma once

#include <cstdint>

#include "pcbin_las/platform/number.h"
#include "pcbin_las/storage/pcb_format.h"
#include "pcbin_las/storage/points.h"

namespace modeling_app {

/// The low bits of `value` as an unsigned 32-bit integer: truncated, 0 for negative values and NaN,
/// 4294967295 for values beyond the range.
template <class Integer>
constexpr Integer lowBits(float value) {
  return static_cast<Integer>(ferrun::saturatingTruncate<std::uint32_t>(value));
}

inline IrtPointRecord encodePoint(const norvo::PointIRT& point) {
  return {point.x, point.y, point.z, point.intensity, point.timestamp};
}

inline RgbPointRecord encodePoint(const norvo::PointRGBIST& point) {
  return {.x = point.x,
          .y = point.y,
          .z = point.z,
          .r = static_cast<float>(point.r),
          .g = static_cast<float>(point.g),
          .b = static_cast<float>(point.b),
          .intensity = lowBits<std::uint16_t>(point.intensity),
          .a = point.a,
          .timestamp = point.timestamp,
          .sweepid = point.sweepid};
}

/// Overwrites all of `point`.
inline void decodePoint(const IrtPointRecord& record, norvo::PointIRT& point) {
  point.x = record.x;
  point.y = record.y;
  point.z = record.z;
  point.data[3] = 1;
  point.intensity = record.intensity;
  point.timestamp = record.timestamp;
}

inline void decodePoint(const RgbPointRecord& record, norvo::PointRGBIST& point) {
  point.x = record.x;
  point.y = record.y;
  point.z = record.z;
  point.data[3] = 1;
  point.r = lowBits<std::uint8_t>(record.r);
  point.g = lowBits<std::uint8_t>(record.g);
  point.b = lowBits<std::uint8_t>(record.b);
  point.a = static_cast<std::uint8_t>(record.a);
  point.intensity = record.intensity;
  point.timestamp = record.timestamp;
  point.sweepid = record.sweepid;
}

}  // namespace modeling_app
