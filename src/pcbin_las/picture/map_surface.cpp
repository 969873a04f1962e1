// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_surface.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace picture {
namespace {

/// The offsets of the eight cells around a cell; opposite ones are four apart.
std::array<std::ptrdiff_t, 8> around(std::ptrdiff_t width) {
  return {-width - 1, -width, -width + 1, 1, width + 1, width, width - 1, -1};
}

Colour meanColour(const Cell& cell, const Layer& layer) {
  const bool both = &layer == &cell.top && cell.below.step() + 1 == cell.top.step();
  const unsigned count = layer.count + (both ? cell.below.count : 0U);
  Colour colour;
  for (std::size_t i = 0; i < colour.size(); ++i) {
    const unsigned sum = layer.sums[i] + (both ? cell.below.sums[i] : 0U);
    colour[i] = static_cast<std::uint8_t>((sum + count / 2) / count);
  }
  return colour;
}

/// Whether the highest point of a cell that has others, or of a cell among filled ones, has no
/// other within a step of height in its cell and the eight around it.
bool isSpeckle(const Cell* cell, const std::array<std::ptrdiff_t, 8>& steps) {
  const Layer& top = cell->top;
  if (top.count != 1 || cell->below.step() + 1 == top.step()) return false;
  int filled = 0;
  int higher = 0;
  for (const std::ptrdiff_t step : steps) {
    const Cell& other = cell[step];
    if (std::abs(other.top.step() - top.step()) <= 1) return false;
    if (std::abs(other.below.step() - top.step()) <= 1) return false;
    if (other.below.step() > top.step()) return false;  // may have further points at this height
    filled += other.top.count > 0 ? 1 : 0;
    higher += other.top.step() > top.step() ? 1 : 0;
  }
  return cell->below.count > 0 || (filled >= 5 && higher == 0);
}

}  // namespace

Colour heightColour(double part) {
  static constexpr double kStops[][3] = {
      {46, 64, 120}, {42, 134, 148}, {110, 176, 98}, {232, 200, 92}, {245, 240, 225}};
  constexpr int kSteps = static_cast<int>(std::size(kStops)) - 1;
  const double position = std::clamp(part, 0.0, 1.0) * kSteps;
  const int stop = std::min(static_cast<int>(position), kSteps - 1);
  Colour colour{};
  for (std::size_t i = 0; i < colour.size(); ++i)
    colour[i] = static_cast<std::uint8_t>(
        std::lround(std::lerp(kStops[stop][i], kStops[stop + 1][i], position - stop)));
  return colour;
}

MapSurface::MapSurface(const MapRaster& raster, bool showsHeights)
    : view_(raster.view()),
      unit_(raster.metres(1) - raster.metres(0)),
      grid_(view_.columns, view_.rows) {
  const std::vector<Cell>& cells = raster.cells();
  const auto steps = around(view_.columns);
  const double span = std::max(view_.heights.size(), 1e-9);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const Cell& cell = cells[i];
    if (cell.top.count == 0) continue;
    const auto column = static_cast<int>(i % static_cast<std::size_t>(view_.columns));
    const auto row = static_cast<int>(i / static_cast<std::size_t>(view_.columns));
    const bool inside =
        column > 0 && column + 1 < view_.columns && row > 0 && row + 1 < view_.rows;
    const Layer& layer = inside && isSpeckle(&cell, steps) ? cell.below : cell.top;
    if (layer.count == 0) continue;
    grid_.heights[i] = layer.height;
    grid_.colours[i] = showsHeights
                      ? heightColour((raster.metres(layer.height) - view_.heights.low) / span)
                      : meanColour(cell, layer);
  }
}

/// A grid of cells twice as wide and high: the means of the filled cells in them.
CellGrid halved(const CellGrid& grid) {
  CellGrid half((grid.columns + 1) / 2, (grid.rows + 1) / 2);
  for (int row = 0; row < half.rows; ++row) {
    for (int column = 0; column < half.columns; ++column) {
      unsigned filled = 0;
      unsigned height = 0;
      std::array<unsigned, 3> sums = {};
      for (int y = 2 * row; y < std::min(2 * row + 2, grid.rows); ++y) {
        for (int x = 2 * column; x < std::min(2 * column + 2, grid.columns); ++x) {
          const std::size_t i = grid.index(x, y);
          if (grid.heights[i] == 0) continue;
          ++filled;
          height += grid.heights[i];
          for (std::size_t k = 0; k < 3; ++k) sums[k] += grid.colours[i][k];
        }
      }
      if (filled == 0) continue;
      const std::size_t i = half.index(column, row);
      half.heights[i] = static_cast<std::uint16_t>(height / filled);
      for (std::size_t k = 0; k < 3; ++k)
        half.colours[i][k] = static_cast<std::uint8_t>((sums[k] + filled / 2) / filled);
    }
  }
  return half;
}

void fillFrom(const CellGrid& half, CellGrid& grid, unsigned enough) {
  for (int row = 0; row < grid.rows; ++row) {
    const int y = std::clamp(row / 2 + (row % 2 == 0 ? -1 : 1), 0, half.rows - 1);
    for (int column = 0; column < grid.columns; ++column) {
      const std::size_t i = grid.index(column, row);
      if (grid.heights[i] != 0) continue;
      const int x = std::clamp(column / 2 + (column % 2 == 0 ? -1 : 1), 0, half.columns - 1);
      const std::array<std::pair<std::size_t, unsigned>, 4> parts = {
          {{half.index(column / 2, row / 2), 9},
           {half.index(x, row / 2), 3},
           {half.index(column / 2, y), 3},
           {half.index(x, y), 1}}};
      unsigned weights = 0;
      unsigned height = 0;
      std::array<unsigned, 3> sums = {};
      for (const auto& [cell, weight] : parts) {
        if (half.heights[cell] == 0) continue;
        weights += weight;
        height += weight * half.heights[cell];
        for (std::size_t k = 0; k < 3; ++k) sums[k] += weight * half.colours[cell][k];
      }
      if (weights < enough) continue;
      grid.heights[i] = static_cast<std::uint16_t>(height / weights);
      for (std::size_t k = 0; k < 3; ++k)
        grid.colours[i][k] = static_cast<std::uint8_t>((sums[k] + weights / 2) / weights);
    }
  }
}

void fillHoles(CellGrid& grid, int level, int levels) {
  if (level == levels) return;
  CellGrid half = halved(grid);
  fillHoles(half, level + 1, levels);
  static const std::string w = getenv("WT") ? getenv("WT") : "DDG";
  fillFrom(half, grid, unsigned(w[size_t(level)]-'A'+10));
}

void MapSurface::fill() {
  static const int kLevels = getenv("LEVELS") ? atoi(getenv("LEVELS")) : 3;
  fillHoles(grid_, 0, kLevels);
}

void MapSurface::shade() {
  constexpr double kDarkest = 0.45;
  constexpr int kDim = 96;  // brighter colours stay as they are
  const double perUnit = unit_ / view_.cellSize;  // slope
  for (int row = 0; row < view_.rows; ++row) {
    for (int column = 0; column < view_.columns; ++column) {
      const auto i = static_cast<std::size_t>(row) * static_cast<std::size_t>(view_.columns) +
                     static_cast<std::size_t>(column);
      if (grid_.heights[i] == 0) continue;
      const auto rise = [&](int dx, int dy) {
        const int x = column + dx;
        const int y = row + dy;
        if (x < 0 || y < 0 || x >= view_.columns || y >= view_.rows) return 0.0;
        return std::max(0, grid_.heights[grid_.index(x, y)] - grid_.heights[i]) * perUnit;
      };
      double sum = 0;
      for (const auto& [dx, dy] : {std::pair(1, 0), {1, 1}, {0, 1}, {-1, 1}}) {
        const double a = std::min(std::max(rise(dx, dy), rise(2 * dx, 2 * dy) / 2), 1.0);
        const double b = std::min(std::max(rise(-dx, -dy), rise(-2 * dx, -2 * dy) / 2), 1.0);
        sum += std::abs(a * a - b * b);
      }
      const double light = 1 - (1 - kDarkest) * std::min(sum / 3, 1.0);
      Colour& colour = grid_.colours[i];
      int brightest = 0;
      for (std::uint8_t& channel : colour) {
        channel = static_cast<std::uint8_t>(channel * light + 0.5);
        brightest = std::max<int>(brightest, channel);
      }
      const int more = std::max(kDim - brightest, 0) / 2;
      for (std::uint8_t& channel : colour) channel = static_cast<std::uint8_t>(channel + more);
    }
  }
}

std::vector<Colour> MapSurface::pixels(const Colour& ground) const {
  /// The one or two cells that a row or column of pixels covers, the weights add up to 256.
  struct Cover {
    std::size_t first;
    std::size_t second;
    unsigned firstWeight;
  };
  const auto covers = [&](int pixels, int cells) {
    std::vector<Cover> result(static_cast<std::size_t>(pixels));
    const double perPixel = view_.pixelSize / view_.cellSize;
    for (int i = 0; i < pixels; ++i) {
      const double begin = i * perPixel;
      const double inFirst = std::floor(begin) + 1 - begin;
      const int first = std::min(static_cast<int>(begin), cells - 1);
      const int second = std::min(first + 1, cells - 1);
      result[static_cast<std::size_t>(i)] = {
          static_cast<std::size_t>(first), static_cast<std::size_t>(second),
          static_cast<unsigned>(std::lround(std::min(inFirst / perPixel, 1.0) * 256))};
    }
    return result;
  };
  const std::vector<Cover> across = covers(view_.width, view_.columns);
  const std::vector<Cover> down = covers(view_.height, view_.rows);
  std::vector<Colour> result;
  result.reserve(across.size() * down.size());
  const auto colourOf = [&](std::size_t cell) -> const Colour& {
    return grid_.heights[cell] == 0 ? ground : grid_.colours[cell];
  };
  const auto columns = static_cast<std::size_t>(view_.columns);
  for (const Cover& y : down) {
    for (const Cover& x : across) {
      const Colour& a = colourOf(y.first * columns + x.first);
      const Colour& b = colourOf(y.first * columns + x.second);
      const Colour& c = colourOf(y.second * columns + x.first);
      const Colour& d = colourOf(y.second * columns + x.second);
      Colour& pixel = result.emplace_back();
      for (std::size_t i = 0; i < 3; ++i) {
        const unsigned upper = a[i] * x.firstWeight + b[i] * (256 - x.firstWeight);
        const unsigned lower = c[i] * x.firstWeight + d[i] * (256 - x.firstWeight);
        pixel[i] = static_cast<std::uint8_t>(
            (upper * y.firstWeight + lower * (256 - y.firstWeight) + 32768) >> 16);
      }
    }
  }
  return result;
}

}  // namespace picture
