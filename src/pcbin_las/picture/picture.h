// SPDX-License-Identifier: BSD-3-Clause
// Pictures of LAS files: the points as seen from above, as a PNG file.
#pragma once

#include <optional>
#include <string>

namespace picture {

/// A square part of a map, in the map's coordinates and unit.
struct Area {
  double x = 0;      ///< of the centre
  double y = 0;      ///< of the centre
  double width = 0;  ///< of the square, greater than 0
};

/// A range of heights, in the map's coordinates and unit. Both ends belong to it.
struct Slice {
  double low = 0;
  double high = 0;  ///< greater than `low`
};

constexpr int kSmallestSize = 200;  ///< pixels
constexpr int kLargestSize = 1600;  ///< pixels

/// What a picture shows.
struct Request {
  std::optional<Area> zoom = {};    ///< the whole map without this
  std::optional<Slice> slice = {};  ///< all heights without this
  int size = kLargestSize;     ///< pixels on the longer side, kSmallestSize to kLargestSize
};

/// False when the program was built without libpng: then no picture can be drawn.
bool isSupported();

bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request);

}  // namespace picture
