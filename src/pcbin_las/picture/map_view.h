// SPDX-License-Identifier: BSD-3-Clause
// The part of a map that a picture shows, its cells and its pixels.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "pcbin_las/picture/map_point.h"
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

  double right() const { return left + width * pixelSize; }
  double bottom() const { return top - height * pixelSize; }
  Range x() const { return {left, right()}; }
  Range y() const { return {bottom(), top}; }

  static constexpr int kBorder = 8;
};

/// Points of a map to choose a view by.
class MapSample {
 public:
  /// A sample of the points in a square and in a slice.
  MapSample(const std::optional<Area>& zoom, const std::optional<Slice>& slice);

  void add(std::span<const MapPoint> points);

  /// Positions of points in the square and in the slice, evenly distributed over those added.
  const std::vector<Position>& positions() const { return positions_; }

  /// The number of points in the square and in the slice.
  std::uint64_t points() const { return points_; }

  /// The bounds of the points in the square, of all heights.
  const std::array<Range, 3>& bounds() const { return bounds_; }

  /// The ranges of x and y of all points.
  const std::array<Range, 2>& extent() const { return extent_; }

  /// Bitwise or of the colours of all points.
  unsigned colourBits() const { return colourBits_; }

 private:
  static constexpr std::size_t kMostPositions = std::size_t{1} << 16;

  Range x_ = kAllValues;
  Range y_ = kAllValues;
  Range z_ = kAllValues;
  std::uint64_t points_ = 0;
  std::uint64_t every_ = 1;  ///< of so many points, one position is kept
  std::array<Range, 3> bounds_ = {kNoValues, kNoValues, kNoValues};
  std::array<Range, 2> extent_ = {kNoValues, kNoValues};
  unsigned colourBits_ = 0;
  std::vector<Position> positions_;
};

/// The range of `values`, which must not be empty, without those far away. At each end these are at
/// most 1 % of the values, beyond a gap wider than half the range of the others; at most 10 %,
/// beyond a gap of ten times the range; and at most 0.05 %, if they are further out than 5 % of the
/// range. Of nine values or fewer, none is far away.
Range robustRange(std::vector<double> values);

/// The space for a view.
struct Frame {
  int width;             ///< pixels, at most
  int height;            ///< pixels, at most
  double cellsPerPixel;  ///< at most, in width and in height; at least 1
};

/// The view of `zoom`, or of the map within `bounds` without points far away. `sample` must have
/// positions; they stand for `points` points. The cells are so large that most have a point. The
/// width is 0 when the coordinates are too large, or too close together, to be drawn.
MapView chooseView(const MapSample& sample, std::uint64_t points,
                   const std::array<Range, 3>& bounds, const std::optional<Area>& zoom,
                   const Frame& frame);

}  // namespace picture
