// Which part of a map a picture shows, and at which size.
#pragma once

#include <vector>

#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/picture.h"

namespace picture {

/// The range of `values`, which are not empty and get sorted, without those far away from the
/// others. At each end these are at most 1 % of them beyond a gap wider than half the range of the
/// others, and 0.05 % that lie further out than 5 % of it. Of less than 50 values none is left
/// out.
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
