// SPDX-License-Identifier: BSD-3-Clause
// The points of a map as pictures use them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>

namespace picture {

/// x to the east, y to the north, z up: in metres, or in the unit of the map's coordinate system.
using Position = std::array<double, 3>;

/// A point of a map. Colours have 8 or 16 bits, as in the file.
struct MapPoint {
  Position position;
  std::array<std::uint16_t, 3> colour;  ///< red, green, blue
};

using TakePoints = std::function<void(std::span<const MapPoint>)>;

/// A range of coordinates, both ends included.
struct Range {
  double low;
  double high;

  double size() const { return high - low; }

  /// False for NaN.
  bool contains(double value) const { return value >= low && value <= high; }

  /// Extends the range; not by NaN.
  void include(double value) { include(Range{value, value}); }
  void include(const Range& other) {
    *this = {std::min(low, other.low), std::max(high, other.high)};
  }
};

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr Range kNoValues = {kInfinite, -kInfinite};  ///< to be extended by include()
constexpr Range kAllValues = {-kInfinite, kInfinite};

}  // namespace picture
