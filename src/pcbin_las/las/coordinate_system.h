// SPDX-License-Identifier: BSD-3-Clause
// The coordinate system that a LAS file names in its variable-length records.
#pragma once

#include <string>
#include <string_view>

namespace pontra {

struct CoordinateSystem {
  std::string name = {};   ///< "EPSG:32632, WGS 84 / UTM zone 32N"; empty when none is named
  std::string unit = "m";  ///< of x and y: "m", "ft", "US survey ft" or "degrees"
};

/// The system in metres with this EPSG code; one without a name for code 0.
CoordinateSystem coordinateSystemOf(int epsgCode);

/// Finds the coordinate system in the bytes after the header of a LAS file: in the first record of
/// GeoTIFF keys, or else in the first one of well-known text. Ignores what is damaged or cut off.
CoordinateSystem findCoordinateSystem(std::string_view records);

}  // namespace pontra
