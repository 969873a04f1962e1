// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_surface.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace picture {
namespace {

Colour meanColour(const Layer& layer, const Layer* next) {
  Colour colour;
  const unsigned count = layer.count + (next == nullptr ? 0U : next->count);
  for (std::size_t i = 0; i < colour.size(); ++i) {
    const unsigned sum = layer.sums[i] + (next == nullptr ? 0U : next->sums[i]);
    colour[i] = static_cast<std::uint8_t>((sum + count / 2) / count);
  }
  return colour;
}

/// Whether the layers are neighbouring steps of height.
bool isOneSurface(const Layer& top, const Layer& below) {
  return below.count > 0 && below.step() + 1 == top.step();
}

/// Whether the highest point of a cell that is not at the edge of the raster is a speckle.
bool isSpeckle(const MapRaster& raster, std::size_t cell) {
  constexpr int kEnoughAround = 3;  // to know that the point stands above them
  const Layer* const tops = &raster.tops()[cell];
  const Layer* const belows = &raster.belows()[cell];
  const int step = tops->step();
  if (tops->count != 1 || isOneSurface(*tops, *belows)) return false;
  const int columns = raster.view().columns;
  int filled = 0;
  bool highest = true;
  for (const int row : {-columns, 0, columns}) {
    for (const int place : {row - 1, row, row + 1}) {
      if (place == 0 || tops[place].count == 0) continue;
      for (const Layer& layer : {tops[place], belows[place]})
        if (layer.count > 0 && std::abs(layer.step() - step) <= 1) return false;
      if (belows[place].step() > step) return false;  // may have more points, at this height too
      highest = highest && tops[place].step() < step;
      ++filled;
    }
  }
  return belows->count > 0 || (filled >= kEnoughAround && highest);
}

/// A weighted mean of cells.
struct Mixture {
  unsigned weight = 0;
  unsigned height = 0;
  std::array<unsigned, 3> colour = {};

  void add(const CellGrid& grid, std::size_t cell, unsigned factor) {
    if (grid.heights[cell] == 0) return;
    weight += factor;
    height += factor * grid.heights[cell];
    for (std::size_t i = 0; i < colour.size(); ++i) colour[i] += factor * grid.colours[cell][i];
  }

  void store(CellGrid& grid, std::size_t cell) const {
    grid.heights[cell] = static_cast<std::uint16_t>(height / weight);
    for (std::size_t i = 0; i < colour.size(); ++i)
      grid.colours[cell][i] = static_cast<std::uint8_t>((colour[i] + weight / 2) / weight);
  }
};

/// A grid of cells twice as wide and high: each is the mean of the filled cells in it.
CellGrid halved(const CellGrid& grid) {
  CellGrid half((grid.columns + 1) / 2, (grid.rows + 1) / 2);
  for (int row = 0; row < half.rows; ++row) {
    for (int column = 0; column < half.columns; ++column) {
      Mixture mean;
      for (int y = 2 * row; y < std::min(2 * row + 2, grid.rows); ++y) {
        for (int x = 2 * column; x < std::min(2 * column + 2, grid.columns); ++x)
          mean.add(grid, grid.index(x, y), 1);
      }
      if (mean.weight > 0) mean.store(half, half.index(column, row));
    }
  }
  return half;
}

/// Fills empty cells by linear interpolation of the grid of half the size, where the filled ones of
/// the four cells there weigh at least `enough` sixteenths.
void fillFrom(const CellGrid& half, CellGrid& grid, unsigned enough) {
  const auto other = [](int place, int size) {  // the nearest cell there that does not cover it
    return std::clamp(place / 2 + (place % 2 == 0 ? -1 : 1), 0, size - 1);
  };
  for (int row = 0; row < grid.rows; ++row) {
    const int y = other(row, half.rows);
    for (int column = 0; column < grid.columns; ++column) {
      const std::size_t cell = grid.index(column, row);
      if (grid.heights[cell] != 0) continue;
      const int x = other(column, half.columns);
      Mixture mean;
      mean.add(half, half.index(column / 2, row / 2), 9);
      mean.add(half, half.index(x, row / 2), 3);
      mean.add(half, half.index(column / 2, y), 3);
      mean.add(half, half.index(x, y), 1);
      if (mean.weight >= enough) mean.store(grid, cell);
    }
  }
}

/// Fills from grids of half the size, as often as `enough` has weights (see fillFrom()).
void fillLevels(CellGrid& grid, std::span<const unsigned> enough) {
  if (enough.empty()) return;
  CellGrid half = halved(grid);
  fillLevels(half, enough.subspan(1));
  fillFrom(half, grid, enough[0]);
}

/// How far a cell is to be darkened, 0 to 1. Steps on opposite sides cancel each other, so that the
/// lower parts of a wall stay as bright as the higher ones.
float edgeAt(const std::uint16_t* cell, int columns, float unit) {
  const auto rise = [=](std::ptrdiff_t step) {
    const int near = cell[step] - cell[0];
    const int far = (cell[2 * step] - cell[0]) / 2;
    const float slope = std::min(static_cast<float>(std::max({near, far, 0})) * unit, 1.0F);
    return slope * slope;
  };
  float sum = 0;
  for (const int step : {1, columns + 1, columns, columns - 1})
    sum += std::abs(rise(step) - rise(-step));
  return std::min(sum / 3, 1.0F);
}

/// The cells that a row or a column of pixels covers, and by which part.
struct Cover {
  int first;
  int last;
  float firstWeight;
  float middleWeight;
  float lastWeight;

  float weight(int cell) const {
    return cell == first ? firstWeight : cell == last ? lastWeight : middleWeight;
  }
};

std::vector<Cover> covers(const MapView& view, int pixels) {
  constexpr double kRounding = 1e-6;
  const double perPixel = view.pixelSize / view.cellSize;  // cells
  std::vector<Cover> result;
  for (int i = 0; i < pixels; ++i) {
    const double begin = i * perPixel + MapView::kBorder;
    const double end = begin + perPixel;
    const int first = static_cast<int>(begin + kRounding);
    const int last = static_cast<int>(std::ceil(end - kRounding)) - 1;
    result.push_back(
        {first, last, static_cast<float>((std::min(end, first + 1.0) - begin) / perPixel),
         static_cast<float>(1 / perPixel), static_cast<float>((end - last) / perPixel)});
  }
  return result;
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

CellGrid makeSurface(const MapRaster& raster, bool showsHeights) {
  const MapView& view = raster.view();
  CellGrid surface(view.columns, view.rows);
  const double span = std::max(view.heights.size(), 1e-9);
  for (int row = 1; row + 1 < view.rows; ++row) {
    for (int column = 1; column + 1 < view.columns; ++column) {
      const std::size_t i = surface.index(column, row);
      const Layer& top = raster.tops()[i];
      const Layer& below = raster.belows()[i];
      if (top.count == 0) continue;
      const bool speckle = isSpeckle(raster, i);
      const Layer& layer = speckle ? below : top;
      if (layer.count == 0) continue;
      surface.heights[i] = layer.height;
      if (showsHeights)
        surface.colours[i] = heightColour((raster.metres(layer.height) - view.heights.low) / span);
      else
        surface.colours[i] =
            meanColour(layer, !speckle && isOneSurface(top, below) ? &below : nullptr);
    }
  }
  return surface;
}

void fillHoles(CellGrid& surface, int levels) {
  // Large holes are filled only where all cells around are filled, so that corners stay.
  static constexpr unsigned kEnough[] = {13, 16, 16};
  fillLevels(surface, std::span(kEnough).first(static_cast<std::size_t>(levels)));
}

void shadeEdges(CellGrid& surface, double unit) {
  constexpr float kDarkest = 0.45F;
  constexpr float kRounding = 0.5F;  // brightness is never negative
  constexpr int kReach = 2;
  for (int row = kReach; row < surface.rows - kReach; ++row) {
    for (int column = kReach; column < surface.columns - kReach; ++column) {
      const std::size_t i = surface.index(column, row);
      if (surface.heights[i] == 0) continue;
      const float edge = edgeAt(&surface.heights[i], surface.columns, static_cast<float>(unit));
      for (std::uint8_t& channel : surface.colours[i])
        channel = static_cast<std::uint8_t>(
            static_cast<float>(channel) * (1 - (1 - kDarkest) * edge) + kRounding);
    }
  }
}

void lightenDarkCells(CellGrid& surface) {
  constexpr int kDark = 96;  // colours with a brighter channel stay as they are
  for (Colour& colour : surface.colours) {
    const int more = (kDark - std::max({colour[0], colour[1], colour[2]})) / 2;
    if (more <= 0) continue;
    for (std::uint8_t& channel : colour) channel = static_cast<std::uint8_t>(channel + more);
  }
}

std::vector<Colour> drawPixels(const CellGrid& surface, const MapView& view, const Colour& ground) {
  const std::vector<Cover> across = covers(view, view.width);
  std::vector<Colour> pixels;
  pixels.reserve(across.size() * static_cast<std::size_t>(view.height));
  const auto colour = [&](int x, int y) -> const Colour& {
    const std::size_t cell = surface.index(x, y);
    return surface.heights[cell] == 0 ? ground : surface.colours[cell];
  };
  for (const Cover& y : covers(view, view.height)) {
    for (const Cover& x : across) {
      if (x.first == x.last && y.first == y.last) {
        pixels.push_back(colour(x.first, y.first));
        continue;
      }
      std::array<float, 3> sums = {0.5F, 0.5F, 0.5F};
      for (int row = y.first; row <= y.last; ++row) {
        for (int column = x.first; column <= x.last; ++column) {
          const float weight = y.weight(row) * x.weight(column);
          const Colour& part = colour(column, row);
          for (std::size_t i = 0; i < sums.size(); ++i)
            sums[i] += weight * static_cast<float>(part[i]);
        }
      }
      Colour& pixel = pixels.emplace_back();
      for (std::size_t i = 0; i < sums.size(); ++i) pixel[i] = static_cast<std::uint8_t>(sums[i]);
    }
  }
  return pixels;
}

}  // namespace picture
