// SPDX-License-Identifier: BSD-3-Clause
// Builds the bytes of pcbin, pose and LAS files field by field, without the program's own structs.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace test {

/// The contents of a file.
using Bytes = std::string;

template <class Number>
void append(Bytes& bytes, Number value) {
  char image[sizeof(Number)];
  std::memcpy(image, &value, sizeof(Number));
  bytes.append(image, sizeof(Number));
}

/// Overwrites the bytes at `offset` with the image of `value`.
template <class Number>
void patch(Bytes& bytes, std::size_t offset, Number value) {
  std::memcpy(bytes.data() + offset, &value, sizeof(Number));
}

/// The number whose image is at `offset`.
template <class Number>
Number at(const Bytes& bytes, std::size_t offset) {
  Number value;
  std::memcpy(&value, bytes.data() + offset, sizeof(Number));
  return value;
}

/// The 68-byte header of a pcbin file.
Bytes pcbHeader(std::uint64_t frames, std::uint64_t points);

/// A coloured point of a pcbin file.
struct RgbPoint {
  float x = 0, y = 0, z = 0;
  float r = 0, g = 0, b = 0;
  std::uint16_t intensity = 0, a = 0;
  double timestamp = 0;
  std::uint32_t sweepid = 0;
};

/// A lidar point of a pcbin file.
struct IrtPoint {
  float x = 0, y = 0, z = 0, intensity = 0;
  double timestamp = 0;
};

/// A frame header of 48 bytes; rotation is w, x, y, z.
Bytes frameHeader(std::uint32_t format, std::uint32_t index, double timestamp,
                  std::uint32_t pointCount, std::array<float, 4> rotation = {},
                  std::array<float, 3> translation = {});

/// A whole frame of format 10 or 6.
Bytes rgbFrame(std::uint32_t index, double timestamp, const std::vector<RgbPoint>& points);
Bytes irtFrame(std::uint32_t index, double timestamp, const std::vector<IrtPoint>& points,
               std::array<float, 4> rotation = {1, 0, 0, 0}, std::array<float, 3> translation = {});

/// A pcbin file of `frames` coloured frames with `pointsPerFrame` points each. Point number k of
/// the file is at (k, k + 0.25, k + 0.5) with colour (k mod 256, 1, 2), intensity k mod 65536, time
/// k and the frame's number as sweep.
Bytes rgbFile(unsigned frames, unsigned pointsPerFrame);

/// A position and a quaternion w, x, y, z.
struct Pose {
  std::array<double, 3> position = {0, 0, 0};
  std::array<double, 4> quaternion = {1, 0, 0, 0};
};

/// A pose file's data line of 28 fields, with its line break; the offset is (1000, 2000, 30).
std::string poseLine(unsigned id, const Pose& lio, const Pose& pgo);

/// A LAS record of 34 bytes with return byte 0x09.
struct LasRecord {
  std::int32_t x = 0, y = 0, z = 0;
  std::uint16_t intensity = 0, red = 0, green = 0, blue = 0;
  double gpsTime = 0;
};

/// The 227-byte header of a LAS 1.2 file of format 3: `count` records, scale factors 0.001, offsets
/// (1000, 2000, 30), bounds 0.
Bytes lasHeader(std::uint32_t count);
Bytes lasRecord(const LasRecord& record);

/// A LAS file of `count` records; record k has X = 10k, Y = -k, Z = k + 1, intensity k, colour (k,
/// 2, 3) and time k.
Bytes lasFile(std::uint32_t count);

}  // namespace test
