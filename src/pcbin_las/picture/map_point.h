// SPDX-License-Identifier: BSD-3-Clause
// The points of a map as pictures use them.
#pragma once

#include <array>
#include <cstdint>

namespace picture {

/// Metres (or the unit of the map), x to the east, y to the north, z up.
using Position = std::array<double, 3>;

/// A point of a map. Colours have 8 or 16 bits, as in the file.
struct MapPoint {
  Position position;
  std::array<std::uint16_t, 3> colour;  ///< red, green, blue
};

/// A range of coordinates, both ends included.
struct Range {
  double low = 0;
  double high = 0;
  double size() const { return high - low; }
  /// False for NaN.
  bool contains(double value) const { return value >= low && value <= high; }
};

}  // namespace picture
