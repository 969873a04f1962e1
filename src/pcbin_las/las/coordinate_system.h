// SPDX-License-Identifier: BSD-3-Clause
// Names the coordinate system that the variable-length records of a LAS file describe.
#pragma once

#include <string>
#include <string_view>

#include "pcbin_las/las/variable_length_records.h"

namespace pontra {

/// Whether the record's user ID is that of the records that describe a coordinate system.
bool describesCoordinateSystem(const VariableLengthRecordHeader& record);

/// Collects the records of a file that describe its coordinate system, and names it.
class CoordinateSystem {
 public:
  /// Looks at a variable-length record of the file.
  void add(const VariableLengthRecordHeader& record, std::string_view content);

  /// The system that the GeoTIFF keys name: "EPSG:32632, WGS 84 / UTM zone 32N", with a vertical
  /// system behind " + ". The keys' own text when they have no code; empty when there are none.
  std::string ofGeoKeys() const;

  /// The system that the WKT text names, in the same form; empty when there is none.
  std::string ofWkt() const;

 private:
  std::string keys_;   ///< record 34735: the key directory
  std::string texts_;  ///< record 34737: the texts of the keys
  std::string wkt_;    ///< record 2112
};

}  // namespace pontra
