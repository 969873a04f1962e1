// SPDX-License-Identifier: BSD-3-Clause
// The point data records of LAS formats 0 to 3, split into the items that are coded one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace laz {

/// The 20 bytes with which a record of every format begins (little-endian).
struct [[gnu::packed]] PositionFields {
  std::int32_t x;               ///< offset 0
  std::int32_t y;               ///< offset 4
  std::int32_t z;               ///< offset 8
  std::uint16_t intensity;      ///< offset 12
  std::uint8_t returnByte;      ///< offset 14: return number in bits 0 to 2, number of returns in
                                ///< bits 3 to 5, scan direction flag in bit 6
  std::uint8_t classification;  ///< offset 15
  std::uint8_t scanAngle;       ///< offset 16
  std::uint8_t userData;        ///< offset 17
  std::uint16_t sourceId;       ///< offset 18
};
static_assert(sizeof(PositionFields) == 20 && offsetof(PositionFields, sourceId) == 18);

/// A colour of 6 bytes (little-endian).
struct [[gnu::packed]] ColourFields {
  std::uint16_t red;    ///< offset 0
  std::uint16_t green;  ///< offset 2
  std::uint16_t blue;   ///< offset 4
};
static_assert(sizeof(ColourFields) == 6 && offsetof(ColourFields, blue) == 4);

/// Which fields follow the first 20 bytes of a record: the time in formats 1 and 3, then the colour
/// in formats 2 and 3.
struct RecordLayout {
  static constexpr int kFormats = 4;  ///< formats 0 to 3 are supported
  static constexpr std::size_t kLongestRecord = 34;

  bool hasTime = true;
  bool hasColour = true;

  /// The layout of point data record format `format`, 0 to 3.
  static constexpr RecordLayout ofFormat(int format) {
    return {.hasTime = (format & 1) != 0, .hasColour = (format & 2) != 0};
  }

  /// Size of a record in bytes: 20, 28, 26 or 34.
  constexpr std::size_t size() const {
    return sizeof(PositionFields) + (hasTime ? sizeof(std::uint64_t) : 0) +
           (hasColour ? sizeof(ColourFields) : 0);
  }
};

/// The fields of one record. What its layout lacks is 0.
struct Point {
  PositionFields position{};
  std::uint64_t time = 0;  ///< the bits of a double
  ColourFields colour{};

  /// Copies the fields from the bytes of a record.
  void load(const std::uint8_t* record, RecordLayout layout) {
    std::memcpy(&position, record, sizeof(position));
    record += sizeof(position);
    if (layout.hasTime) {
      std::memcpy(&time, record, sizeof(time));
      record += sizeof(time);
    }
    if (layout.hasColour) std::memcpy(&colour, record, sizeof(colour));
  }

  /// Copies the fields into the bytes of a record.
  void store(std::uint8_t* record, RecordLayout layout) const {
    std::memcpy(record, &position, sizeof(position));
    record += sizeof(position);
    if (layout.hasTime) {
      std::memcpy(record, &time, sizeof(time));
      record += sizeof(time);
    }
    if (layout.hasColour) std::memcpy(record, &colour, sizeof(colour));
  }
};

}  // namespace laz
