// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_raster.h"

#include <algorithm>
#include <cmath>

namespace picture {
namespace {

constexpr int kLowestUnit = 1 << Layer::kStepBits;  // so that only an empty layer has step 0
constexpr int kHighestUnit = 65535;
constexpr int kMostPoints = 256;  // of a layer: more than 256 colours overflow their sum

}  // namespace

void Layer::halve() {
  count /= 2;
  for (std::uint16_t& sum : sums) sum /= 2;
}

void Layer::add(std::uint16_t pointHeight, const std::array<std::uint8_t, 3>& colour) {
  if (count == kMostPoints) halve();
  height = std::max(height, pointHeight);
  ++count;
  for (std::size_t i = 0; i < colour.size(); ++i)
    sums[i] = static_cast<std::uint16_t>(sums[i] + colour[i]);
}

void Layer::add(const Layer& other) {
  Layer more = other;
  while (count + more.count > kMostPoints) {
    halve();
    more.halve();
  }
  height = std::max(height, more.height);
  count = static_cast<std::uint16_t>(count + more.count);
  for (std::size_t i = 0; i < sums.size(); ++i)
    sums[i] = static_cast<std::uint16_t>(sums[i] + more.sums[i]);
}

MapRaster::MapRaster(const MapView& view, bool wideColours)
    : view_(view),
      tops_(static_cast<std::size_t>(view.columns) * static_cast<std::size_t>(view.rows)),
      belows_(tops_.size()) {
  constexpr int kUnits = kHighestUnit - kLowestUnit;
  constexpr int kMiddleUnit = kLowestUnit + kUnits / 2;
  unit_ = std::max(view.smallHeight / (1 << Layer::kStepBits), view.heights.size() * 1.25 / kUnits);
  const double middle = (view.heights.low + view.heights.high) / 2;
  lowest_ = middle - unit_ * kMiddleUnit;
  scale_ = {.x = view.x(),
            .y = view.y(),
            .slice = view.slice,
            .perUnit = 1 / view.cellSize,
            .lowest = lowest_,
            .heightPerUnit = 1 / unit_,
            .columns = view.columns,
            .colourShift = wideColours ? 8 : 0};
}

void MapRaster::add(std::span<const MapPoint> points) {
  for (; points.size() > kBatch; points = points.subspan(kBatch)) addBatch(points.first(kBatch));
  addBatch(points);
}

void MapRaster::add(const MapRaster& other) {
  count_ += other.count_;
  colourBits_ |= other.colourBits_;
  leftOut_.outside += other.leftOut_.outside;
  leftOut_.below += other.leftOut_.below;
  leftOut_.above += other.leftOut_.above;
  const auto extend = [](Range& range, const Range& more) {
    range = {std::min(range.low, more.low), std::max(range.high, more.high)};
  };
  extend(heights_, other.heights_);
  extend(leftOut_.x, other.leftOut_.x);
  extend(leftOut_.y, other.leftOut_.y);
  for (std::size_t cell = 0; cell < tops_.size(); ++cell) {
    for (const Layer& layer : {other.tops_[cell], other.belows_[cell]}) {
      if (layer.count == 0) break;
      if (Layer* const own = layerOf(cell, layer.step())) own->add(layer);
    }
  }
}

/// Computes all cell indices before it accesses a cell, so that the memory accesses overlap: this
/// halves the time for points in random order.
void MapRaster::addBatch(std::span<const MapPoint> points) {
  struct Entry {
    std::uint32_t cell;
    std::uint16_t height;
    std::array<std::uint8_t, 3> colour;
  };
  std::array<Entry, kBatch> entries;
  std::size_t size = 0;
  const Scale scale = scale_;  // copies, so that no store can change them
  Range heights = heights_;
  unsigned colourBits = colourBits_;
  for (const MapPoint& point : points) {
    const auto [red, green, blue] = point.colour;
    colourBits |= static_cast<unsigned>(red | green | blue);
    const auto [x, y, z] = point.position;
    if (!(scale.x.contains(x) && scale.y.contains(y) && scale.slice.contains(z))) {
      if (!leaveOut(point.position)) continue;
    } else {
      ++count_;
      heights = {std::min(heights.low, z), std::max(heights.high, z)};
    }
    const auto column = static_cast<int>((x - scale.x.low) * scale.perUnit + MapView::kBorder);
    const auto row = static_cast<int>((scale.y.high - y) * scale.perUnit + MapView::kBorder);
    const double height = (z - scale.lowest) * scale.heightPerUnit;
    Entry& entry = entries[size++];
    entry.cell = static_cast<std::uint32_t>(row * scale.columns + column);
    __builtin_prefetch(&tops_[entry.cell], 1);
    entry.height = static_cast<std::uint16_t>(
        std::min(std::max(height, double{kLowestUnit}), double{kHighestUnit}));
    entry.colour = {static_cast<std::uint8_t>(red >> scale.colourShift),
                    static_cast<std::uint8_t>(green >> scale.colourShift),
                    static_cast<std::uint8_t>(blue >> scale.colourShift)};
  }
  for (const auto& [cell, height, colour] : std::span(entries).first(size)) {
    if (Layer* const layer = layerOf(cell, height >> Layer::kStepBits)) layer->add(height, colour);
  }
  heights_ = heights;
  colourBits_ = colourBits;
}

/// The layer of a step that is not that of the top layer; null when it is below both layers.
Layer* MapRaster::otherLayer(std::size_t cell, int step) {
  Layer& top = tops_[cell];
  Layer& below = belows_[cell];
  if (step > top.step()) {
    if (top.count > 0) below = top;
    top = {};
    return &top;
  }
  if (step < below.step()) return nullptr;
  if (step > below.step()) below = {};
  return &below;
}

/// Counts a point outside the view or its slice. True when it belongs to a cell of the border.
bool MapRaster::leaveOut(const Position& position) {
  const auto [x, y, z] = position;
  const bool inSlice = view_.slice.contains(z);
  if (scale_.x.contains(x) && scale_.y.contains(y)) {
    ++(z < view_.slice.low ? leftOut_.below : leftOut_.above);
    return false;
  }
  ++leftOut_.outside;
  leftOut_.x.include(x);
  leftOut_.y.include(y);
  const double border = MapView::kBorder * view_.cellSize * 0.999;
  return inSlice &&
         std::abs(x - (scale_.x.low + scale_.x.high) / 2) < scale_.x.size() / 2 + border &&
         std::abs(y - (scale_.y.low + scale_.y.high) / 2) < scale_.y.size() / 2 + border;
}

}  // namespace picture
