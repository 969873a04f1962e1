// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_raster.h"

#include <algorithm>
#include <cmath>

namespace picture {
namespace {

constexpr int kHeightBit = 48;
constexpr std::uint64_t kColourMask = (std::uint64_t{1} << kHeightBit) - 1;

/// `outer` after `inner`.
Linear chain(const Linear& outer, const Linear& inner) {
  return {outer.factor * inner.factor, outer(inner.shift)};
}

/// Written so that NaN becomes 1.
int heightStep(double value) {
  if (!(value > 1)) return 1;
  return value < 65535 ? static_cast<int>(value) : 65535;
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

MapRaster::MapRaster(const MapView& view, const LasInput& input)
    : view_(view),
      column_(chain({1 / view.pixelSize, -view.left / view.pixelSize}, input.axis(0))),
      row_(chain({-1 / view.pixelSize, view.top / view.pixelSize}, input.axis(1))),
      cells_(static_cast<std::size_t>(view.width) * static_cast<std::size_t>(view.height)) {
  const double steps = 65534 / std::max(view.heights.size(), 1e-9);
  height_ = chain({steps, 1 - view.heights.low * steps}, input.axis(2));
}

void MapRaster::add(std::span<const pontra::LasPointRecord> records) {
  for (; records.size() > kBatch; records = records.subspan(kBatch))
    addBatch(records.first(kBatch));
  addBatch(records);
}

/// Computes all cell indices before it accesses a cell, so that the memory accesses overlap: this
/// halves the time for points in random order.
void MapRaster::addBatch(std::span<const pontra::LasPointRecord> records) {
  std::array<int, kBatch> indices;
  std::array<Cell, kBatch> values;
  std::size_t count = 0;
  std::uint64_t colourBits = 0;
  for (const pontra::LasPointRecord& record : records) {
    const std::uint64_t colour =
        record.red | std::uint64_t{record.green} << 16 | std::uint64_t{record.blue} << 32;
    colourBits |= colour;
    const double column = column_(record.x);
    const double row = row_(record.y);
    if (!(column >= 0 && column < view_.width && row >= 0 && row < view_.height)) continue;
    indices[count] = static_cast<int>(row) * view_.width + static_cast<int>(column);
    __builtin_prefetch(&cells_[static_cast<std::size_t>(indices[count])], 1);
    values[count++] = static_cast<Cell>(heightStep(height_(record.z))) << kHeightBit | colour;
  }
  for (std::size_t i = 0; i < count; ++i) {
    Cell& cell = cells_[static_cast<std::size_t>(indices[i])];
    cell = std::max(cell, values[i]);
  }
  count_ += count;
  colourBits_ |= colourBits;
}

/// The mean distance in pixels between neighbouring filled cells, in parts of the map that have
/// any.
double MapRaster::spacing() const {
  constexpr std::size_t kTile = 16;  // pixels
  const auto width = static_cast<std::size_t>(view_.width);
  const std::size_t tilesAcross = width / kTile + 1;
  std::vector<bool> tiles(tilesAcross * (static_cast<std::size_t>(view_.height) / kTile + 1));
  std::size_t filled = 0;
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    if (cells_[i] == 0) continue;
    ++filled;
    tiles[i / width / kTile * tilesAcross + i % width / kTile] = true;
  }
  const auto area = static_cast<double>(std::ranges::count(tiles, true)) * kTile * kTile;
  return filled > 0 ? std::sqrt(area / static_cast<double>(filled)) : 0;
}

void MapRaster::growDots() {
  constexpr int kLargestRadius = 5;  // pixels
  const int radius = std::min(static_cast<int>(spacing() * 0.57 + 0.4), kLargestRadius);
  for (int i = 0; i < radius; ++i) growOnce(i % 2 == 1, 1);
  for (int i = 0; i < radius; ++i) growOnce(true, 5);
}

/// Each empty cell with at least `filledNeighbours` filled ones among its four or eight neighbours
/// becomes a copy of the highest.
void MapRaster::growOnce(bool diagonally, int filledNeighbours) {
  const auto width = static_cast<std::size_t>(view_.width);
  const std::array<std::size_t, 8> steps = {
      1, width, 0 - std::size_t{1}, 0 - width, width + 1, width - 1, 1 - width, 0 - width - 1};
  const std::vector<Cell> before = cells_;
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    if (before[i] != 0) continue;
    int filled = 0;
    for (std::size_t k = 0; k < (diagonally ? 8 : 4); ++k) {
      const std::size_t other = i + steps[k];
      if (other >= cells_.size() || before[other] == 0) continue;
      ++filled;
      cells_[i] = std::max(cells_[i], before[other]);
    }
    if (filled < filledNeighbours) cells_[i] = 0;
  }
}

/// The colour of a filled cell's height, lit from the north-west.
Colour MapRaster::shade(std::size_t cell) const {
  const auto width = static_cast<std::size_t>(view_.width);
  const auto heightOf = [&](std::size_t other) {
    return static_cast<double>(
               (other < cells_.size() && cells_[other] != 0 ? cells_[other] : cells_[cell]) >>
               kHeightBit) /
           65535;
  };
  const double metres = heightOf(cell + width + 1) - heightOf(cell - width - 1);
  const double slope = metres * view_.heights.size() / (2.83 * view_.pixelSize);
  const double light = 1 + 0.4 * slope / std::sqrt(1 + slope * slope);
  Colour colour = heightColour(heightOf(cell));
  for (std::uint8_t& channel : colour)
    channel = static_cast<std::uint8_t>(std::min(channel * light, 255.0));
  return colour;
}

std::vector<Colour> MapRaster::colours(const Colour& ground) const {
  const bool wide = (colourBits_ & 0xff00ff00ff00) != 0;  // colours of 16 bits
  std::vector<Colour> pixels(cells_.size(), ground);
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    if (cells_[i] == 0) continue;
    if (showsHeights()) {
      pixels[i] = shade(i);
      continue;
    }
    const Cell colour = cells_[i] & kColourMask;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const std::uint64_t value = colour >> (16 * channel) & 0xffff;
      pixels[i][channel] = static_cast<std::uint8_t>(wide ? (value + 128) / 257 : value);
    }
  }
  return pixels;
}

}  // namespace picture
