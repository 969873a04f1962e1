// SPDX-License-Identifier: BSD-3-Clause
// The part of a map that a picture shows, its cells and its pixels.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "pcbin_las/picture/picture.h"

namespace picture {

/// A rectangle of the map. Lengths are in the unit of the map.
struct MapView {
  double left = 0;
  double top = 0;
  double pixelSize = 1;
  int width = 0;  ///< pixels
  int height = 0;
  double cellSize = 1;
  int columns = 0;  ///< cells; kBorder of them at each side are outside the rectangle
  int rows = 0;
  double smallHeight =
      1;               ///< points of a cell within this height below its highest are one surface
  Range heights = {};  ///< of most points in the rectangle
  Range slice = kAllValues;  ///< the heights to draw

  Range x() const { return {left, left + width * pixelSize}; }
  Range y() const { return {top - height * pixelSize, top}; }

  static constexpr int kBorder = 8;
};

/// Points of a map to choose a view by.
struct MapSample {
  /// Adds the points: those in the square and the slice of the request, evenly distributed, to the
  /// positions.
  void add(std::span<const MapPoint> points);

  Range x = kAllValues;  ///< the square
  Range y = kAllValues;
  Range slice = kAllValues;
  std::vector<Position> positions = {};
  std::uint64_t count = 0;  ///< points in the square and the slice
  std::uint64_t every = 1;  ///< of so many of them, one position is kept
  std::array<Range, 3> bounds = {kNoValues, kNoValues, kNoValues};  ///< z: of those in the square
  unsigned colourBits = 0;  ///< bitwise or of the colours of all points
};

/// A sample for a request.
MapSample makeSample(const Request& request);

/// The range of `values`, which must not be empty, without those far away. At each end these are at
/// most 1 % of the values, beyond a gap wider than half the range of the others; at most 10 %,
/// beyond a gap of ten times the range; and at most 0.05 %, if they are further out than half the
/// range. Of nine values or fewer, none is far away.
Range robustRange(std::vector<double> values);

/// The space for a view.
struct Frame {
  int width;             ///< pixels, at most
  int height;            ///< pixels, at most
  double cellsPerPixel;  ///< at most, in width and in height; at least 1
};

/// The view of the square of a request, or of the map within `bounds` without points far away.
/// `sample` must have positions; they stand for `count` points. The cells are so large that most
/// have a point. The width is 0 when the coordinates are too large, or too close together, to be
/// drawn.
MapView chooseView(const MapSample& sample, std::uint64_t count, const std::array<Range, 3>& bounds,
                   const Request& request, const Frame& frame);

}  // namespace picture
