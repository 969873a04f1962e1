// SPDX-License-Identifier: BSD-3-Clause
// Collects the points of a map in cells.
#pragma once

#include <cstdint>
#include <vector>

#include "pcbin_las/picture/map_view.h"

namespace picture {

/// The points in a picture, and those left out.
struct PointCounts {
  std::uint64_t shown = 0;
  std::uint64_t outside = 0;   ///< beyond the edges
  std::uint64_t below = 0;     ///< within the edges and below the slice
  std::uint64_t above = 0;     ///< within the edges and above the slice
  Range heights = kNoValues;   ///< of the points shown
  Range outsideX = kNoValues;  ///< of the points beyond the edges
  Range outsideY = kNoValues;
  unsigned colourBits = 0;  ///< bitwise or of the colours of all points

  void add(const PointCounts& other);
};

/// The points of a cell in one step of height.
struct Layer {
  std::uint16_t height = 0;  ///< of the highest point, in units; 0 when the layer is empty
  std::uint16_t count = 0;   ///< at most 256: then count and sums are halved
  std::array<std::uint16_t, 3> sums = {};  ///< of the colours, 8 bits each

  int step() const { return height >> kStepBits; }

  void add(Layer other) {
    constexpr int kMostPoints = 256;  // more colours overflow their sum
    if (count + other.count > kMostPoints) halve();
    if (count + other.count > kMostPoints) other.halve();
    height = std::max(height, other.height);
    count = static_cast<std::uint16_t>(count + other.count);
    for (std::size_t i = 0; i < sums.size(); ++i)
      sums[i] = static_cast<std::uint16_t>(sums[i] + other.sums[i]);
  }

  void halve() {
    count /= 2;
    for (std::uint16_t& sum : sums) sum /= 2;
  }

  static constexpr int kStepBits = 5;  ///< a step has 32 units
};

/// The cells of a view and of its border, in rows from the top left. A cell has the points of the
/// two highest steps of height in which it has any: these do not depend on the order of the points.
class MapRaster {
 public:
  /// `wideColours`: the colours of the points have 16 bits.
  MapRaster(const MapView& view, bool wideColours);

  /// Adds the points to their cells.
  void add(std::span<const MapPoint> points);

  /// Adds the points of a raster of the same view and colours.
  void add(const MapRaster& other);

  const PointCounts& counts() const { return counts_; }
  const MapView& view() const { return view_; }

  /// The highest and the second highest layer of each cell. They are apart from each other because
  /// most points need only the first.
  const std::vector<Layer>& tops() const { return tops_; }
  const std::vector<Layer>& belows() const { return belows_; }

  /// The height of a unit and of a layer, in the unit of the map.
  double unit() const { return unit_; }
  double metres(std::uint16_t height) const { return lowest_ + height * unit_; }

 private:
  void add(std::size_t cell, const Layer& layer);
  bool leaveOut(const Position& position);

  MapView view_;
  int colourShift_;
  double unit_;
  double lowest_;  ///< height at 0 units
  PointCounts counts_;
  std::vector<Layer> tops_;
  std::vector<Layer> belows_;
};

}  // namespace picture
