// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_raster.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace picture {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr int kLowestUnit = 1 << Layer::kStepBits;  // so that only an empty layer has step 0
constexpr int kHighestUnit = 65535;

void include(Range& range, double value) {
  range = {std::min(range.low, value), std::max(range.high, value)};
}

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
      heights_{kInfinite, -kInfinite},
      leftOut_{.x = {kInfinite, -kInfinite}, .y = {kInfinite, -kInfinite}},
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
  std::size_t count = 0;
  const double perUnit = 1 / view_.cellSize;
  unsigned bits = 0;
  Range heights = heights_;
  for (const MapPoint& point : points) {
    const auto [x, y, z] = point.position;
    for (const std::uint16_t channel : point.colour) bits |= channel;
    const double column = (x - view_.left) * perUnit;
    const double row = (view_.top - y) * perUnit;
    if (!(x >= view_.left && x <= view_.right() && y >= view_.bottom() && y <= view_.top &&
          view_.slice.contains(z))) {
      leaveOut(point.position);
      continue;
    }
    include(heights, z);
    Entry& entry = entries[count++];
    const auto limited = [](double value, int most) {
      return static_cast<std::size_t>(std::min(static_cast<int>(value), most - 1));
    };
    entry.cell = limited(row, view_.rows) * static_cast<std::size_t>(view_.columns) +
                 limited(column, view_.columns);
    __builtin_prefetch(&cells_[entry.cell], 1);
    entry.height = heightUnits(z);
    for (std::size_t i = 0; i < 3; ++i)
      entry.colour[i] = static_cast<std::uint8_t>(
          wideColours_ ? (point.colour[i] + 128) / 257 : point.colour[i]);
  }
  for (std::size_t i = 0; i < count; ++i)
    cells_[entries[i].cell].add(entries[i].height, entries[i].colour);
  count_ += count;
  heights_ = heights;
  colourBits_ = static_cast<std::uint16_t>(colourBits_ | bits);
}

void MapRaster::leaveOut(const Position& position) {
  const auto [x, y, z] = position;
  if (!(x >= view_.left && x <= view_.right() && y >= view_.bottom() && y <= view_.top)) {
    ++leftOut_.outside;
    include(leftOut_.x, x);
    include(leftOut_.y, y);
  } else {
    ++(z < view_.slice.low ? leftOut_.below : leftOut_.above);
  }
}

}  // namespace picture
