// SPDX-License-Identifier: BSD-3-Clause
// The surface that a map shows from above: taken from cells, closed, shaded, turned into pixels.
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
  CellGrid(int columnCount, int rowCount)
      : columns(columnCount),
        rows(rowCount),
        heights(index(0, rowCount)),
        colours(index(0, rowCount)) {}

  std::size_t index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
  }

  int columns;
  int rows;
  std::vector<std::uint16_t> heights;  ///< in units; 0 for an empty cell
  std::vector<Colour> colours;
};

/// The surface of the cells of a raster: the mean colour of the points within a small height of the
/// highest, or with `showsHeights` a colour of the height scale. Leaves out speckles: single points
/// that stand above their cell, or above the cells around an otherwise empty one, and have no other
/// point within a small height in the nine cells.
CellGrid makeSurface(const MapRaster& raster, bool showsHeights);

/// Fills holes that are surrounded by filled cells, from the cells around them: of up to 2, 4 or 8
/// cells for 1, 2 or 3 levels.
void fillHoles(CellGrid& surface, int levels);

/// Darkens cells beside higher ones: fully where a step is as high as the cells are wide. `unit` is
/// the height of a unit in cells.
void shadeEdges(CellGrid& surface, double unit);

/// Makes near-black cells lighter, so that they differ from the ground.
void lightenDarkCells(CellGrid& surface);

/// The pixels of the view in rows from the top left: the colours of the cells that they cover, by
/// area; `ground` where a cell is empty.
std::vector<Colour> drawPixels(const CellGrid& surface, const MapView& view, const Colour& ground);

}  // namespace picture
