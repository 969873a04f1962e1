// SPDX-License-Identifier: BSD-3-Clause
// The coordinate system of a map and its unit, as shown to people.
#pragma once

#include <string>
#include <string_view>

namespace pontra {

struct MapSystem {
  std::string name = {};   ///< "EPSG:32632, WGS 84 / UTM zone 32N"; empty when none is named
  std::string unit = "m";  ///< of x and y: "m", "ft", "US survey ft" or "degrees"
};

/// The system in metres with this EPSG code; one without a name for code 0.
MapSystem mapSystemOf(int epsgCode);

/// Finds the system in the bytes after the header of a LAS file: by the GeoTIFF keys, or else by
/// the well-known text. Ignores what is damaged or cut off.
MapSystem findMapSystem(std::string_view records);

}  // namespace pontra
