// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_surface.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "pcbin_las/picture/cell_grid.h"

namespace picture {
namespace {

/// Whether the layers are neighbouring steps of height.
bool isOneSurface(const Layer& top, const Layer& below) {
  return below.count > 0 && below.step() + 1 == top.step();
}

/// Whether the points of a cell stand above each other, further apart than the noise of a surface.
bool isWall(const Layer& top, const Layer& below) {
  constexpr int kNoise = (1 << Layer::kStepBits) / 4;
  constexpr int kGap = 10 << Layer::kStepBits;
  const int depth = top.height - below.height;
  return below.count > 0 && depth > kNoise && depth < kGap;
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
      Layer layer = top;
      if (isSpeckle(raster, i))
        layer = below;
      else if (isOneSurface(top, below))
        layer.add(below);
      if (layer.count == 0) continue;
      Cell& cell = surface.cells[i];
      cell = {.height = layer.height,
              .level = isWall(top, below) ? std::uint8_t{0} : std::uint8_t{1}};
      if (showsHeights)
        cell.colour = heightColour((raster.metres(layer.height) - view.heights.low) / span);
      else
        for (std::size_t k = 0; k < cell.colour.size(); ++k)
          cell.colour[k] =
              static_cast<std::uint8_t>((layer.sums[k] + layer.count / 2) / layer.count);
    }
  }
  return surface;
}

/// How far a cell is to be darkened, 0 to 1. Steps on opposite sides cancel each other, so that the
/// lower parts of a wall stay as bright as the higher ones.
float edgeAt(const Cell* cell, int columns, float unit) {
  const auto rise = [=](std::ptrdiff_t step) {
    constexpr int kNoise = 4;  // units
    const int near = cell[step].height - cell->height - kNoise;
    const int far = (cell[2 * step].height - cell->height - kNoise) / 2;
    const float slope = std::min(static_cast<float>(std::max({near, far, 0})) * unit, 1.0F);
    return slope * slope;
  };
  float sum = 0;
  for (const int step : {1, columns + 1, columns, columns - 1})
    sum += std::abs(rise(step) - rise(-step));
  return std::min(sum / 3, 1.0F);
}

/// Lightens nearly black cells, and darkens those beside higher ones. `unit` is the height of a
/// unit in cells.
void shade(CellGrid& surface, float unit) {
  constexpr float kDarkest = 0.45F;
  constexpr float kRounding = 0.5F;  // brightness is never negative
  constexpr int kDark = 96;          // colours with a brighter channel are not lightened
  constexpr int kReach = 2;
  for (int row = kReach; row < surface.rows - kReach; ++row) {
    for (int column = kReach; column < surface.columns - kReach; ++column) {
      Cell& cell = surface.cells[surface.index(column, row)];
      if (cell.height == 0) continue;
      const float part = 1 - (1 - kDarkest) * edgeAt(&cell, surface.columns, unit);
      const int more = std::max(kDark - std::ranges::max(cell.colour), 0) / 2;
      for (std::uint8_t& channel : cell.colour)
        channel = static_cast<std::uint8_t>(static_cast<float>(channel + more) * part + kRounding);
    }
  }
}

/// The cells that a row or a column of pixels covers.
struct Cover {
  double begin;
  double end;
  int first;
  int last;

  /// The part of the pixels that a cell covers.
  float weight(int cell) const {
    return static_cast<float>((std::min(end, cell + 1.0) - std::max<double>(begin, cell)) /
                              (end - begin));
  }
};

std::vector<Cover> covers(const MapView& view, int pixels) {
  constexpr double kRounding = 1e-6;
  const double perPixel = view.pixelSize / view.cellSize;  // cells
  std::vector<Cover> result;
  for (int i = 0; i < pixels; ++i) {
    const double begin = i * perPixel + MapView::kBorder;
    const double end = begin + perPixel;
    result.push_back({begin, end, static_cast<int>(begin + kRounding),
                      static_cast<int>(std::ceil(end - kRounding)) - 1});
  }
  return result;
}

std::vector<Colour> drawPixels(const CellGrid& surface, const MapView& view) {
  const std::vector<Cover> across = covers(view, view.width);
  std::vector<Colour> pixels;
  pixels.reserve(across.size() * static_cast<std::size_t>(view.height));
  const auto colour = [&](int x, int y) -> const Colour& {
    const Cell& cell = surface.at(x, y);
    return cell.height == 0 ? kGround : cell.colour;
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

std::vector<Colour> drawSurface(const MapRaster& raster, bool showsHeights) {
  const MapView& view = raster.view();
  CellGrid surface = makeSurface(raster, showsHeights);
  const int levels = view.slice.high < kInfinite ? 2 : 3;  // its outlines stand close together
  fillHoles(surface, levels, static_cast<int>(std::min(1e4, view.cellSize / raster.unit())),
            1 << Layer::kStepBits);
  shade(surface, static_cast<float>(std::min(1.0, raster.unit() / view.cellSize)));
  return drawPixels(surface, view);
}

}  // namespace picture
