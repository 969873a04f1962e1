// SPDX-License-Identifier: BSD-3-Clause
// The content of the variable-length record that says how the points of a file are compressed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "pcbin_las/laz/record_layout.h"

namespace laz {

/// User id and number of the variable-length record.
constexpr std::string_view kLaszipUserId = "laszip encoded";
constexpr std::uint16_t kLaszipRecordId = 22204;

/// Bit 7 of the point data format in the header of a file: its points are compressed.
constexpr std::uint8_t kCompressedBit = 0x80;

/// The points of each chunk but the last one, in the files that this program writes.
constexpr std::uint32_t kChunkPoints = 50000;

/// Instead of a number of points: each chunk has its own, which the chunk table lists.
constexpr std::uint32_t kVariousChunkPoints = 0xFFFFFFFF;

/// How the points of a file are compressed.
struct Compression {
  RecordLayout layout;
  std::uint32_t chunkPoints = kChunkPoints;  ///< at least 1, or kVariousChunkPoints
};

/// The content of the record for a file of chunks of kChunkPoints points.
std::string laszipRecord(RecordLayout layout);

/// Reads the content of a record. Empty when the points can be decoded; `compression` is then set.
/// Otherwise what it asks for, as the end of a sentence: "layered compression of point formats 6 to
/// 10".
std::string readLaszipRecord(std::span<const std::uint8_t> content, Compression& compression);

}  // namespace laz
