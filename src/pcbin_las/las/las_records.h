// SPDX-License-Identifier: BSD-3-Clause
// The public header block and the point data record of format 3, as defined by the ASPRS LAS 1.2
// standard. The program writes the header in bytes 0 to 226, at most one variable-length record,
// and 34-byte point records to the end of the file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pontra {

/// The public header block: the first 227 bytes of a file (little-endian).
struct [[gnu::packed]] LasHeader {
  char fileSignature[4];                    ///< offset 0: "LASF"
  std::uint16_t sourceID;                   ///< offset 4
  std::uint16_t globalEncoding;             ///< offset 6
  std::uint8_t projectID[16];               ///< offset 8: GUID
  std::uint8_t versionMajor;                ///< offset 24: 1
  std::uint8_t versionMinor;                ///< offset 25: 2
  char systemIdentifier[32];                ///< offset 26: zero-filled text
  char generatingSoftware[32];              ///< offset 58: zero-filled text
  std::uint16_t creationDayOfYear;          ///< offset 90: 1 to 366, UTC
  std::uint16_t creationYear;               ///< offset 92: four digits
  std::uint16_t headerSize;                 ///< offset 94: 227
  std::uint32_t pointDataOffset;            ///< offset 96: of the first point record
  std::uint32_t numberOfVLR;                ///< offset 100
  std::uint8_t pointDataFormatID;           ///< offset 104
  std::uint16_t pointDataRecordLength;      ///< offset 105: bytes
  std::uint32_t numberOfPointRecords;       ///< offset 107
  std::uint32_t numberOfPointsByReturn[5];  ///< offset 111: first return first
  double xScaleFactor;                      ///< offset 131: coordinate = X × scale factor + offset
  double yScaleFactor;                      ///< offset 139
  double zScaleFactor;                      ///< offset 147
  double xOffset;                           ///< offset 155
  double yOffset;                           ///< offset 163
  double zOffset;                           ///< offset 171
  double maxX;                              ///< offset 179: bounds of the coordinates
  double minX;                              ///< offset 187
  double maxY;                              ///< offset 195
  double minY;                              ///< offset 203
  double maxZ;                              ///< offset 211
  double minZ;                              ///< offset 219
};
static_assert(sizeof(LasHeader) == 227 && offsetof(LasHeader, minZ) == 219);

/// One point data record, format 3: 34 bytes (little-endian).
struct [[gnu::packed]] LasPointRecord {
  std::int32_t x;               ///< offset 0: in scale-factor steps, without the header's offset
  std::int32_t y;               ///< offset 4
  std::int32_t z;               ///< offset 8
  std::uint16_t intensity;      ///< offset 12
  std::uint8_t returnByte;      ///< offset 14: see the functions below
  std::uint8_t classification;  ///< offset 15: class in bits 0 to 4, flags in bits 5 to 7
  std::int8_t scanAngleRank;    ///< offset 16: degrees, -90 to 90
  std::uint8_t userData;        ///< offset 17
  std::uint16_t pointSourceID;  ///< offset 18
  double gpsTime;               ///< offset 20: seconds
  std::uint16_t red;            ///< offset 28
  std::uint16_t green;          ///< offset 30
  std::uint16_t blue;           ///< offset 32
};
static_assert(sizeof(LasPointRecord) == 34 && offsetof(LasPointRecord, blue) == 32);

/// The fields of LasPointRecord::returnByte.
constexpr int returnNumber(std::uint8_t returnByte) {
  return returnByte & 0x07;
}
constexpr int numberOfReturns(std::uint8_t returnByte) {
  return returnByte >> 3 & 0x07;
}
constexpr int scanDirectionFlag(std::uint8_t returnByte) {
  return returnByte >> 6 & 0x01;
}
constexpr int edgeOfFlightLine(std::uint8_t returnByte) {
  return returnByte >> 7;
}

/// A point data record format number; only 3 is supported.
using PointDataFormat = std::uint32_t;
constexpr PointDataFormat kPointFormat3 = 3;

/// Overwrites every field of `header` with the defaults for `format`: LAS 1.2, no points, scale
/// factors 0.001, offsets 0, this program as generating software and today (UTC) as creation date.
/// False, with the header unchanged, for a format other than 3.
bool LasHeaderInit(LasHeader* header, const PointDataFormat& format);

/// Whether `header` declares LAS 1.2 with records of point format 3 and 34 bytes.
bool isLas12Format3(const LasHeader& header);

}  // namespace pontra
