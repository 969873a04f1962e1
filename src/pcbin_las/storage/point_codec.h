// Between points and their records in a pcbin file. All values survive the way there and back, but
// for intensities and colours that are no small whole numbers.
#pragma once

#include "pcbin_las/platform/number.h"
#include "pcbin_las/storage/pcb_format.h"
#include "pcbin_las/storage/points.h"

namespace modeling_app {

/// The low bits of a float's integer part as 32 unsigned bits (negative and NaN: 0, too large: all
/// ones).
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
