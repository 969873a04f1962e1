// SPDX-License-Identifier: BSD-3-Clause
#include "support/bytes.h"

#include <cstdio>

namespace test {
namespace {

template <class Container>
void appendAll(Bytes& bytes, const Container& values) {
  for (const auto value : values) append(bytes, value);
}

}  // namespace

Bytes pcbHeader(std::uint64_t frames, std::uint64_t points) {
  Bytes bytes("\xFF\x01\x44\x00PCBIN\0\0\0\x01\x01\0\0", 16);
  append(bytes, frames);
  append(bytes, points);
  bytes.resize(68, '\0');
  return bytes;
}

Bytes frameHeader(std::uint32_t format, std::uint32_t index, double timestamp,
                  std::uint32_t pointCount, std::array<float, 4> rotation,
                  std::array<float, 3> translation) {
  Bytes bytes;
  append(bytes, format);
  append(bytes, index);
  append(bytes, timestamp);
  appendAll(bytes, rotation);
  appendAll(bytes, translation);
  append(bytes, pointCount);
  return bytes;
}

Bytes rgbFrame(std::uint32_t index, double timestamp, const std::vector<RgbPoint>& points) {
  Bytes bytes = frameHeader(10, index, timestamp, static_cast<std::uint32_t>(points.size()));
  for (const RgbPoint& point : points) {
    appendAll(bytes, std::array{point.x, point.y, point.z, point.r, point.g, point.b});
    append(bytes, point.intensity);
    append(bytes, point.a);
    append(bytes, point.timestamp);
    append(bytes, point.sweepid);
  }
  return bytes;
}

Bytes irtFrame(std::uint32_t index, double timestamp, const std::vector<IrtPoint>& points,
               std::array<float, 4> rotation, std::array<float, 3> translation) {
  Bytes bytes = frameHeader(6, index, timestamp, static_cast<std::uint32_t>(points.size()),
                            rotation, translation);
  for (const IrtPoint& point : points) {
    appendAll(bytes, std::array{point.x, point.y, point.z, point.intensity});
    append(bytes, point.timestamp);
  }
  return bytes;
}

Bytes rgbFile(unsigned frames, unsigned pointsPerFrame) {
  Bytes bytes = pcbHeader(frames, std::uint64_t{frames} * pointsPerFrame);
  unsigned k = 0;
  for (unsigned frame = 0; frame < frames; ++frame) {
    std::vector<RgbPoint> points;
    for (unsigned i = 0; i < pointsPerFrame; ++i, ++k) {
      const auto number = static_cast<float>(k);
      points.push_back({number, number + 0.25F, number + 0.5F, static_cast<float>(k % 256), 1, 2,
                        static_cast<std::uint16_t>(k), 0, static_cast<double>(k), frame});
    }
    bytes += rgbFrame(frame, 1e9 + frame, points);
  }
  return bytes;
}

std::string poseLine(unsigned id, const Pose& lio, const Pose& pgo) {
  std::string line = std::to_string(1000.5 + id) + "," + std::to_string(id) + ",1000,2000,30";
  const auto addAll = [&line](const auto& values) {
    for (const double value : values) {
      char text[32];
      std::snprintf(text, sizeof(text), ",%.9g", value);
      line += text;
    }
  };
  addAll(lio.position);
  addAll(std::array{0.1, 0.2, 0.3});
  addAll(lio.quaternion);
  addAll(pgo.position);
  addAll(std::array{0.4, 0.5, 0.6});
  addAll(pgo.quaternion);
  addAll(std::array{0.7, 0.8, 0.9});
  return line + "\n";
}

Bytes lasHeader(std::uint32_t count) {
  Bytes bytes(227, '\0');
  bytes.replace(0, 4, "LASF");
  patch<std::uint8_t>(bytes, 24, 1);
  patch<std::uint8_t>(bytes, 25, 2);
  patch<std::uint16_t>(bytes, 94, 227);
  patch<std::uint32_t>(bytes, 96, 227);
  patch<std::uint8_t>(bytes, 104, 3);
  patch<std::uint16_t>(bytes, 105, 34);
  patch<std::uint32_t>(bytes, 107, count);
  for (const std::size_t offset : {131U, 139U, 147U}) patch<double>(bytes, offset, 0.001);
  patch<double>(bytes, 155, 1000);
  patch<double>(bytes, 163, 2000);
  patch<double>(bytes, 171, 30);
  return bytes;
}

Bytes lasRecord(const LasRecord& record) {
  Bytes bytes;
  appendAll(bytes, std::array{record.x, record.y, record.z});
  append(bytes, record.intensity);
  bytes += Bytes("\x09\0\0\0\0\0", 6);
  append(bytes, record.gpsTime);
  appendAll(bytes, std::array{record.red, record.green, record.blue});
  return bytes;
}

Bytes lasFile(std::uint32_t count) {
  Bytes bytes = lasHeader(count);
  for (std::uint32_t k = 0; k < count; ++k) {
    const auto number = static_cast<std::int32_t>(k);
    const auto small = static_cast<std::uint16_t>(k);
    bytes +=
        lasRecord({10 * number, -number, number + 1, small, small, 2, 3, static_cast<double>(k)});
  }
  return bytes;
}

}  // namespace test
