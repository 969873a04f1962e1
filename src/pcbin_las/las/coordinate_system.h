// SPDX-License-Identifier: BSD-3-Clause
// The coordinate system that the variable-length records of a LAS file describe.
#pragma once

#include <string>
#include <string_view>

#include "pcbin_las/las/variable_length_records.h"

namespace pontra {

/// A coordinate system as shown to people.
struct MapSystem {
  std::string name = {};   ///< "EPSG:32632, WGS 84 / UTM zone 32N"; empty when none is named
  std::string unit = "m";  ///< of x and y: "m", "ft", "US survey ft" or "degrees"
};

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

  /// The system that the GeoTIFF keys name, or else the WKT text, and its unit.
  MapSystem shown() const;

 private:
  std::string keys_;   ///< record 34735: the key directory
  std::string texts_;  ///< record 34737: the texts of the keys
  std::string wkt_;    ///< record 2112
};

/// The system of a file. Ignores records that are damaged or cut off. Call it before the reader's
/// findPoints().
MapSystem readMapSystem(LasReader& reader);

}  // namespace pontra
