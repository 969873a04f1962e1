// SPDX-License-Identifier: BSD-3-Clause
// The variable-length records between the header and the points of a LAS file: makes the one that
// names the coordinate system, and reads those of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "pcbin_las/las/las_reader.h"

namespace pontra {

/// The header of a variable-length record: 54 bytes, little-endian. `length` bytes of content
/// follow.
struct [[gnu::packed]] VariableLengthRecordHeader {
  std::uint16_t reserved;  ///< offset 0: 0; older files may hold a signature
  char userId[16];         ///< offset 2: zero-filled text
  std::uint16_t recordId;  ///< offset 18
  std::uint16_t length;    ///< offset 20: bytes after this header
  char description[32];    ///< offset 22: zero-filled text
};
static_assert(sizeof(VariableLengthRecordHeader) == 54 &&
              offsetof(VariableLengthRecordHeader, description) == 22);

/// One entry of a GeoTIFF key directory: 8 bytes (GeoTIFF 1.0, section 2.4).
struct [[gnu::packed]] GeoKey {
  std::uint16_t id;        ///< offset 0
  std::uint16_t location;  ///< offset 2: 0 when `value` is the value
  std::uint16_t count;     ///< offset 4: number of values
  std::uint16_t value;     ///< offset 6
};
static_assert(sizeof(GeoKey) == 8 && offsetof(GeoKey, value) == 6);

/// The record GeoKeyDirectoryTag for a projected system in metres: 86 bytes. It omits two keys.
/// GTRasterTypeGeoKey applies to rasters. VerticalUnitsGeoKey belongs to a vertical system, which
/// is not known here; with it GDAL assembles the system from its parts, without it GDAL uses the
/// complete definition of the code.
struct [[gnu::packed]] ProjectedSystemRecord {
  VariableLengthRecordHeader header;  ///< offset 0
  std::uint16_t directoryVersion;     ///< offset 54: 1
  std::uint16_t keyRevision;          ///< offset 56: 1
  std::uint16_t minorRevision;        ///< offset 58: 0
  std::uint16_t numberOfKeys;         ///< offset 60: 3
  GeoKey modelType;                   ///< offset 62: GTModelTypeGeoKey, a projected system
  GeoKey projectedSystem;             ///< offset 70: ProjectedCSTypeGeoKey, the EPSG code
  GeoKey linearUnit;                  ///< offset 78: ProjLinearUnitsGeoKey, the metre
};
static_assert(sizeof(ProjectedSystemRecord) == 86 &&
              offsetof(ProjectedSystemRecord, linearUnit) == 78);

/// The variable-length record that names the projected system `epsgCode`, 1024 to 32766, in metres:
/// the bytes to write between header and points.
std::string projectedSystemRecord(std::uint16_t epsgCode);

/// Reads the variable-length records that the header of `reader` declares and that lie whole
/// before the points, in order, and passes each to `visit`: its header and the content. Ends when
/// `visit` returns false. Returns the number of records passed. Call it before the reader's
/// findPoints(). Reads one record of at most 64 KiB at a time; prints nothing.
std::uint32_t visitVariableLengthRecords(
    LasReader& reader,
    const std::function<bool(const VariableLengthRecordHeader&, std::string_view)>& visit);

}  // namespace pontra
