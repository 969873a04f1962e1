// SPDX-License-Identifier: BSD-3-Clause
// The part of a map that a picture shows, its cells and its pixels.
#pragma once

#include <limits>
#include <optional>
#include <vector>

#include "pcbin_las/picture/map_point.h"
#include "pcbin_las/picture/picture.h"

namespace picture {

/// A rectangle of the map. Lengths are in metres.
struct MapView {
  double left = 0;
  double top = 0;
  double pixelSize = 1;
  int width = 0;  ///< pixels
  int height = 0;
  double cellSize = 1;  ///< at least that of a pixel; the first cell begins at the top left
  int columns = 0;      ///< cells
  int rows = 0;
  double smallHeight = 1;  ///< points of a cell within this height below its highest are one surface
  Range heights;           ///< of most points in the rectangle
  Range slice = {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};

  double right() const { return left + width * pixelSize; }
  double bottom() const { return top - height * pixelSize; }
};

/// Points of a map to choose a view by.
struct Sample {
  std::vector<Position> positions;  ///< evenly distributed over the points
  std::uint64_t points = 0;         ///< that they stand for
  Range boundsX;                    ///< of all points, if they are known; or else not finite
  Range boundsY;
};

/// The range of `values`, which must not be empty, without those far away. At each end these are at
/// most 1 % of the values, beyond a gap wider than half the range of the others; at most 10 %,
/// beyond a gap of ten times the range; and at most 0.05 %, if they are further out than 5 % of the
/// range. No more than a tenth is left out at an end, so of nine values or fewer none.
Range robustRange(std::vector<double> values);

/// The view of `zoom`, or of the whole map, with at most `maxWidth` by `maxHeight` pixels. The
/// sample must have positions: with `zoom` those in its square, with `slice` those in the slice.
/// The width is 0 when the coordinates are too large, or too close together, to be drawn.
MapView chooseView(const Sample& sample, const std::optional<Area>& zoom, int maxWidth,
                   int maxHeight);

}  // namespace picture
