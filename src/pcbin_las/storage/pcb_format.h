// SPDX-License-Identifier: BSD-3-Clause
// The pcbin file format: a 68-byte file header, then frames to the end of the file. A frame is a
// 48-byte frame header and its point records. There is no padding; everything is little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pcbin_las/platform/api.h"

namespace modeling_app {

/// The file header: the first 68 bytes of a file. The counts are zero until the writer closes the
/// file; readers do not rely on them.
struct [[gnu::packed]] PcbHeader {
  std::uint8_t marker;         ///< offset 0: 0xFF
  std::uint8_t version;        ///< offset 1: 1
  std::uint16_t headerSize;    ///< offset 2: 68
  char magic[8];               ///< offset 4: "PCBIN", then three zero bytes that readers ignore
  std::uint8_t fixedBytes[4];  ///< offset 12: 1, 1, 0, 0; readers ignore them
  std::uint64_t frames;        ///< offset 16: number of frames
  std::uint64_t points;        ///< offset 24: number of points of all frames
  std::uint8_t reserved[36];   ///< offset 32: zero
};
static_assert(sizeof(PcbHeader) == 68 && offsetof(PcbHeader, reserved) == 32);

/// Record formats; the code is the record size in 4-byte words.
constexpr std::uint32_t kIrtFormat = 6;
constexpr std::uint32_t kRgbFormat = 10;

/// A frame header.
struct [[gnu::packed]] PcbFrameHeader {
  std::uint32_t format;      ///< offset 0: kIrtFormat or kRgbFormat
  std::uint32_t frameIndex;  ///< offset 4: running number from 0
  double timestamp;          ///< offset 8: seconds; of coloured frames since the Unix epoch
  float rotation[4];         ///< offset 16: lidar frames: quaternion w, x, y, z; coloured frames: 0
  float translation[3];      ///< offset 32: lidar frames: metres; coloured frames: 0
  std::uint32_t pointCount;  ///< offset 44: number of point records that follow
};
static_assert(sizeof(PcbFrameHeader) == 48 && offsetof(PcbFrameHeader, pointCount) == 44);

/// A point record of kIrtFormat.
struct [[gnu::packed]] IrtPointRecord {
  float x;           ///< offset 0
  float y;           ///< offset 4
  float z;           ///< offset 8
  float intensity;   ///< offset 12
  double timestamp;  ///< offset 16
};
static_assert(sizeof(IrtPointRecord) == 24 && offsetof(IrtPointRecord, timestamp) == 16);

/// A point record of kRgbFormat.
struct [[gnu::packed]] RgbPointRecord {
  float x;                  ///< offset 0
  float y;                  ///< offset 4
  float z;                  ///< offset 8
  float r;                  ///< offset 12: 0 to 255
  float g;                  ///< offset 16: 0 to 255
  float b;                  ///< offset 20: 0 to 255
  std::uint16_t intensity;  ///< offset 24
  std::uint16_t a;          ///< offset 26: 0 to 255
  double timestamp;         ///< offset 28: not aligned
  std::uint32_t sweepid;    ///< offset 36
};
static_assert(sizeof(RgbPointRecord) == 40 && offsetof(RgbPointRecord, sweepid) == 36);

/// The largest point blocks in bytes: the size is a 32-bit number, and a block of coloured points
/// can be rounded up to a multiple of 4096.
constexpr std::uint64_t kLargestIrtBlock = 4294967295;
constexpr std::uint64_t kLargestRgbBlock = 4294963200;

/// The header of a file without frames.
PCBIN_API PcbHeader emptyPcbHeader();

/// Whether the checked fields are right: marker, version, headerSize, the five letters of magic.
PCBIN_API bool isPcbHeader(const PcbHeader& header);

}  // namespace modeling_app
