// SPDX-License-Identifier: BSD-3-Clause
// Cells with a surface, and the holes in it.
#pragma once

#include <cstdint>
#include <vector>

#include "pcbin_las/picture/canvas.h"

namespace picture {

struct Cell {
  std::uint16_t height = 0;  ///< in units; 0 for an empty cell
  std::uint8_t level = 0;    ///< cells of the raster in it that show a surface, not a wall
  Colour colour = {};
};

/// Cells in rows from the top left.
struct CellGrid {
  CellGrid(int columnCount, int rowCount)
      : columns(columnCount), rows(rowCount), cells(index(0, rowCount)) {}

  std::size_t index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
  }
  const Cell& at(int column, int row) const { return cells[index(column, row)]; }

  int columns;
  int rows;
  std::vector<Cell> cells;
};

/// Fills holes of up to 2, 4 or 8 cells for 1, 2 or 3 levels, from the filled cells around them. A
/// lower surface that is seen through holes counts as empty. `width` is that of a cell in units of
/// height, `separate` the height in units between two surfaces.
void fillHoles(CellGrid& grid, int levels, int width, int separate);

}  // namespace picture
