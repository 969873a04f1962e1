// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_raster.h"

#include <cmath>

namespace picture {
namespace {

constexpr int kLowestUnit = 1 << Layer::kStepBits;  // so that only an empty layer has step 0
constexpr int kHighestUnit = 65535;

Range widened(const Range& range, double border) {
  return {range.low - border, range.high + border};
}

}  // namespace

void PointCounts::add(const PointCounts& other) {
  shown += other.shown;
  outside += other.outside;
  below += other.below;
  above += other.above;
  colourBits |= other.colourBits;
  heights.include(other.heights);
  outsideX.include(other.outsideX);
  outsideY.include(other.outsideY);
}

MapRaster::MapRaster(const MapView& view, bool wideColours)
    : view_(view),
      colourShift_(wideColours ? 8 : 0),
      tops_(static_cast<std::size_t>(view.columns) * static_cast<std::size_t>(view.rows)),
      belows_(tops_.size()) {
  constexpr int kUnits = kHighestUnit - kLowestUnit;
  constexpr int kMiddleUnit = kLowestUnit + kUnits / 2;
  unit_ = std::max(view.smallHeight / (1 << Layer::kStepBits), view.heights.size() * 1.25 / kUnits);
  const double middle = (view.heights.low + view.heights.high) / 2;
  lowest_ = middle - unit_ * kMiddleUnit;
}

/// Computes the cells of a batch before it accesses one, so that the memory accesses overlap: this
/// halves the time for points in random order.
void MapRaster::add(std::span<const MapPoint> points) {
  constexpr std::size_t kBatch = 64;
  struct Entry {
    std::uint32_t cell;
    Layer point;
  };
  std::array<Entry, kBatch> entries;
  // Copies, so that no store can change them.
  const Range x = view_.x();
  const Range y = view_.y();
  const Range slice = view_.slice;
  const double perUnit = 1 / view_.cellSize;
  const double left = x.low - MapView::kBorder * view_.cellSize;
  const double top = y.high + MapView::kBorder * view_.cellSize;
  const double lowest = lowest_;
  const double heightPerUnit = 1 / unit_;
  const int columns = view_.columns;
  const int shift = colourShift_;
  PointCounts counts;
  while (!points.empty()) {
    const std::size_t taken = std::min(kBatch, points.size());
    std::size_t size = 0;
    for (const auto& [position, colour] : points.first(taken)) {
      const auto [red, green, blue] = colour;
      counts.colourBits |= static_cast<unsigned>(red | green | blue);
      if (!(x.contains(position[0]) && y.contains(position[1]) && slice.contains(position[2]))) {
        if (!leaveOut(position)) continue;
      } else {
        ++counts.shown;
        counts.heights.include(position[2]);
      }
      const auto column = static_cast<int>((position[0] - left) * perUnit);
      const auto row = static_cast<int>((top - position[1]) * perUnit);
      const double height = (position[2] - lowest) * heightPerUnit;
      Entry& entry = entries[size++];
      entry.cell = static_cast<std::uint32_t>(row * columns + column);
      __builtin_prefetch(&tops_[entry.cell], 1);
      entry.point = {static_cast<std::uint16_t>(
                         std::min(std::max(height, double{kLowestUnit}), double{kHighestUnit})),
                     1,
                     {static_cast<std::uint16_t>(red >> shift & 0xff),
                      static_cast<std::uint16_t>(green >> shift & 0xff),
                      static_cast<std::uint16_t>(blue >> shift & 0xff)}};
    }
    for (const auto& [cell, point] : std::span(entries).first(size)) add(cell, point);
    points = points.subspan(taken);
  }
  counts_.add(counts);
}

void MapRaster::add(const MapRaster& other) {
  counts_.add(other.counts_);
  for (std::size_t cell = 0; cell < tops_.size(); ++cell) {
    add(cell, other.tops_[cell]);
    add(cell, other.belows_[cell]);
  }
}

/// Adds points of one step. An empty layer changes nothing.
inline void MapRaster::add(std::size_t cell, const Layer& layer) {
  Layer& top = tops_[cell];
  Layer& below = belows_[cell];
  const int step = layer.step();
  if (step == top.step()) {
    top.add(layer);
  } else if (step > top.step()) {
    if (top.count > 0) below = top;
    top = layer;
  } else if (step == below.step()) {
    below.add(layer);
  } else if (step > below.step()) {
    below = layer;
  }
}

/// Counts a point outside the view or its slice. True when it belongs to a cell of the border.
bool MapRaster::leaveOut(const Position& position) {
  const auto [x, y, z] = position;
  const bool inSlice = view_.slice.contains(z);
  if (view_.x().contains(x) && view_.y().contains(y)) {
    ++(z < view_.slice.low ? counts_.below : counts_.above);
    return false;
  }
  ++counts_.outside;
  counts_.outsideX.include(x);
  counts_.outsideY.include(y);
  const double border = MapView::kBorder * view_.cellSize * 0.999;
  return inSlice && widened(view_.x(), border).contains(x) &&
         widened(view_.y(), border).contains(y);
}

}  // namespace picture
