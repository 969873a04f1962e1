// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_raster.h"

#include <algorithm>
#include <cmath>

namespace picture {
namespace {

constexpr int kLowestUnit = 1 << Layer::kStepBits;  // so that only an empty layer has step 0
constexpr int kHighestUnit = 65535;

}  // namespace

void Cell::add(std::uint16_t height, const std::array<std::uint8_t, 3>& colour) {
  const int step = height >> Layer::kStepBits;
  if (step > top.step()) {
    below = top;
    top = {};
  } else if (step < top.step() && step > below.step()) {
    below = {};
  } else if (step < below.step()) {
    return;
  }
  Layer& layer = step < top.step() ? below : top;
  if (layer.count == 256) {
    layer.count /= 2;
    for (std::uint16_t& sum : layer.sums) sum /= 2;
  }
  layer.height = std::max(layer.height, height);
  ++layer.count;
  for (std::size_t i = 0; i < colour.size(); ++i)
    layer.sums[i] = static_cast<std::uint16_t>(layer.sums[i] + colour[i]);
}

MapRaster::MapRaster(const MapView& view, bool wideColours)
    : view_(view),
      wideColours_(wideColours),
      right_(view.right()),
      bottom_(view.bottom()),
      perUnit_(1 / view.cellSize),
      cells_(static_cast<std::size_t>(view.columns) * static_cast<std::size_t>(view.rows)) {
  constexpr int kUnits = kHighestUnit - kLowestUnit;
  unit_ = std::max(view.smallHeight / (1 << Layer::kStepBits), view.heights.size() * 1.25 / kUnits);
  const double middle = (view.heights.low + view.heights.high) / 2;
  lowest_ = middle - unit_ * (kLowestUnit + kUnits / 2);
}

void MapRaster::add(std::span<const MapPoint> points) {
  for (; points.size() > kBatch; points = points.subspan(kBatch)) addBatch(points.first(kBatch));
  addBatch(points);
}

/// Points above and below the heights of the view get those of its ends.
std::uint16_t MapRaster::heightUnits(double z) const {
  const double units = (z - lowest_) / unit_;
  if (!(units > kLowestUnit)) return kLowestUnit;
  return static_cast<std::uint16_t>(units < kHighestUnit ? units : kHighestUnit);
}

/// Computes all cell indices before it accesses a cell, so that the memory accesses overlap: this
/// halves the time for points in random order.
void MapRaster::addBatch(std::span<const MapPoint> points) {
  struct Entry {
    std::size_t cell;
    std::uint16_t height;
    std::array<std::uint8_t, 3> colour;
  };
  std::array<Entry, kBatch> entries;
  std::size_t size = 0;
  for (const MapPoint& point : points) {
    for (const std::uint16_t channel : point.colour) colourBits_ |= channel;
    const auto [x, y, z] = point.position;
    const bool inSlice = count(point.position);
    const double column = (x - view_.left) * perUnit_ + MapView::kBorder;
    const double row = (view_.top - y) * perUnit_ + MapView::kBorder;
    if (!inSlice || !(column >= 0 && column < view_.columns && row >= 0 && row < view_.rows))
      continue;
    Entry& entry = entries[size++];
    entry.cell =
        static_cast<std::size_t>(static_cast<int>(row)) * static_cast<std::size_t>(view_.columns) +
        static_cast<std::size_t>(static_cast<int>(column));
    __builtin_prefetch(&cells_[entry.cell], 1);
    entry.height = heightUnits(z);
    for (std::size_t i = 0; i < entry.colour.size(); ++i)
      entry.colour[i] =
          static_cast<std::uint8_t>(wideColours_ ? (point.colour[i] + 128) / 257 : point.colour[i]);
  }
  for (const Entry& entry : std::span(entries).first(size))
    cells_[entry.cell].add(entry.height, entry.colour);
}

/// Counts a point. False when it is not in the slice.
bool MapRaster::count(const Position& position) {
  const auto [x, y, z] = position;
  const bool inSlice = view_.slice.contains(z);
  if (!(x >= view_.left && x <= right_ && y >= bottom_ && y <= view_.top)) {
    ++leftOut_.outside;
    leftOut_.x.include(x);
    leftOut_.y.include(y);
  } else if (inSlice) {
    ++count_;
    heights_.include(z);
  } else {
    ++(z < view_.slice.low ? leftOut_.below : leftOut_.above);
  }
  return inSlice;
}

}  // namespace picture
