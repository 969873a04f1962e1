// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/cell_grid.h"

#include <algorithm>
#include <cstdlib>
#include <span>

namespace picture {
namespace {

/// A weighted mean of cells.
struct Mean {
  unsigned weight = 0;
  unsigned height = 0;
  std::array<unsigned, 3> colour = {};

  void add(const Cell& cell, unsigned factor) {
    if (cell.height == 0) return;
    weight += factor;
    height += factor * cell.height;
    for (std::size_t i = 0; i < colour.size(); ++i) colour[i] += factor * cell.colour[i];
  }

  void store(Cell& cell) const {
    cell.height = static_cast<std::uint16_t>(height / weight);
    for (std::size_t i = 0; i < colour.size(); ++i)
      cell.colour[i] = static_cast<std::uint8_t>((colour[i] + weight / 2) / weight);
  }
};

/// Cells twice as wide and high: the means of the four cells in each that are filled and less than
/// `rise` below the highest of them.
CellGrid halved(const CellGrid& grid, int rise) {
  CellGrid half((grid.columns + 1) / 2, (grid.rows + 1) / 2);
  for (int row = 0; row < half.rows; ++row) {
    for (int column = 0; column < half.columns; ++column) {
      const int right = std::min(2 * column + 1, grid.columns - 1);
      const int bottom = std::min(2 * row + 1, grid.rows - 1);
      const std::array four = {&grid.at(2 * column, 2 * row), &grid.at(right, 2 * row),
                               &grid.at(2 * column, bottom), &grid.at(right, bottom)};
      const int highest = (*std::ranges::max_element(four, {}, &Cell::height))->height;
      if (highest == 0) continue;
      Cell& cell = half.cells[half.index(column, row)];
      Mean mean;
      for (const Cell* const part : four) {
        if (part->height + rise <= highest) continue;
        mean.add(*part, 1);
        cell.level = static_cast<std::uint8_t>(cell.level + part->level);
      }
      mean.store(cell);
    }
  }
  return half;
}

/// How holes of one size are filled.
struct Filling {
  unsigned enough;  ///< sixteenths that the filled ones of the four larger cells must weigh
  int sparse;       ///< a surface with more cells than this in a larger one has no holes
};

/// Fills empty cells by linear interpolation of the grid of half the size, and those that one
/// sparse surface there is more than `rise` above: a lower surface, seen through holes.
void fillFrom(const CellGrid& half, CellGrid& grid, const Filling& filling, int rise) {
  const auto other = [](int place, int size) {  // the nearest cell there that does not cover it
    return std::clamp(place / 2 + (place % 2 == 0 ? -1 : 1), 0, size - 1);
  };
  for (int row = 0; row < grid.rows; ++row) {
    const int y = other(row, half.rows);
    for (int column = 0; column < grid.columns; ++column) {
      Cell& cell = grid.cells[grid.index(column, row)];
      const Cell& own = half.at(column / 2, row / 2);
      const bool isEmpty = cell.height == 0;
      if (!isEmpty && own.height <= cell.height + rise) continue;
      const int x = other(column, half.columns);
      Mean mean;
      const auto add = [&](const Cell& part, unsigned weight) {
        if (isEmpty || (part.height > cell.height + rise && part.level > 0 &&
                        part.level <= filling.sparse && std::abs(part.height - own.height) <= rise))
          mean.add(part, weight);
      };
      add(own, 9);
      add(half.at(x, row / 2), 3);
      add(half.at(column / 2, y), 3);
      add(half.at(x, y), 1);
      if (mean.weight < filling.enough) continue;
      mean.store(cell);
      cell.level = 1;
    }
  }
}

/// Fills holes from cells twice as wide, in which those of the other `fillings` were filled before.
void fill(CellGrid& grid, std::span<const Filling> fillings, int width, int separate) {
  if (fillings.empty()) return;
  const int rise = 2 * width + separate;  // more than a slope of 45 degrees
  CellGrid half = halved(grid, rise);
  fill(half, fillings.subspan(1), 2 * width, separate);
  fillFrom(half, grid, fillings[0], rise);
}

}  // namespace

void fillHoles(CellGrid& grid, int levels, int width, int separate) {
  // Large holes are filled only where all cells around are filled, so that corners stay.
  static constexpr Filling kFillings[] = {{13, 4}, {16, 14}, {16, 32}};
  fill(grid, std::span(kFillings).first(static_cast<std::size_t>(levels)), width, separate);
}

}  // namespace picture
