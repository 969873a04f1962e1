// SPDX-License-Identifier: BSD-3-Clause
// The surface that a map shows from above: made from cells, closed, shaded, turned into pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_raster.h"

namespace picture {

/// A colour of the height scale; `part` is 0 for the lowest and 1 for the highest.
Colour heightColour(double part);

/// Heights and colours of cells, in rows from the top left.
struct CellGrid {
  CellGrid(int width, int height)
  : columns(width), rows(height), heights(size()), colours(size()) {}

  std::size_t size() const {
    return static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
  }
  std::size_t index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
  }

  int columns;
  int rows;
  std::vector<std::uint16_t> heights;  ///< in units; 0 for an empty cell
  std::vector<Colour> colours;
};

/// The heights and colours of the cells of a raster.
class MapSurface {
 public:
  /// The surface of the cells: the mean colour of the points within a small height of the highest,
  /// or a colour of the height scale. Single points that stand above all around them are left out.
  MapSurface(const MapRaster& raster, bool showsHeights);

  /// Closes small holes.
  void fill();

  /// Darkens the cells below higher ones, and makes dark cells lighter than the ground.
  void shade();

  /// The pixels of the view in rows from the top left: the colours of the cells that they cover, by
  /// area; `ground` where no cell has points.
  std::vector<Colour> pixels(const Colour& ground) const;

 private:
  MapView view_;
  double unit_;  ///< metres
  CellGrid grid_;
};

}  // namespace picture
