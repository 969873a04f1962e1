// SPDX-License-Identifier: BSD-3-Clause
// The part of a map that a picture shows, and its size in pixels.
#pragma once

#include <vector>

#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/picture.h"

namespace picture {

/// Sorts `values`, which must not be empty, and returns their range without outliers. At each end
/// outliers are at most 1 % of the values, beyond a gap wider than half the range of the others;
/// and the outermost 0.05 %, if they are further out than 5 % of the range. No outliers are removed
/// from fewer than 50 values.
Range robustRange(std::vector<double>& values);

/// A rectangle of the map and its pixels.
struct MapView {
  double left = 0;       ///< metres
  double top = 0;        ///< metres
  double pixelSize = 1;  ///< metres
  int width = 0;         ///< pixels
  int height = 0;        ///< pixels
  Range heights;         ///< metres: of most points in the rectangle

  double right() const { return left + width * pixelSize; }
  double bottom() const { return top - height * pixelSize; }
};

/// The view of `zoom`, or of the whole map, with at most `maxWidth` by `maxHeight` pixels.
/// `positions` is the sample of `input`, not empty. The width is 0 when the coordinates
/// are too large, or too close together, to be drawn.
MapView chooseView(const LasInput& input, const std::vector<Position>& positions,
                   const std::optional<Area>& zoom, int maxWidth, int maxHeight);

}  // namespace picture
