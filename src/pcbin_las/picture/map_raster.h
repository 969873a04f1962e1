// SPDX-License-Identifier: BSD-3-Clause
// Collects the points of a map in cells.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "pcbin_las/picture/map_view.h"

namespace picture {

/// The points that a picture does not show.
struct LeftOut {
  std::uint64_t outside = 0;  ///< beyond the edges
  std::uint64_t below = 0;    ///< within the edges and below the slice
  std::uint64_t above = 0;    ///< within the edges and above the slice
  Range x = kNoValues;        ///< of the points beyond the edges
  Range y = kNoValues;
};

/// The points of a cell in one step of height.
struct Layer {
  std::uint16_t height = 0;  ///< of the highest point, in units; 0 when the layer is empty
  std::uint16_t count = 0;   ///< at most 256: then count and sums are halved
  std::array<std::uint16_t, 3> sums = {};  ///< of the colours, 8 bits each

  int step() const { return height >> kStepBits; }
  void add(std::uint16_t pointHeight, const std::array<std::uint8_t, 3>& colour);
  void add(const Layer& other);
  void halve();

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

  /// The number of points in the view and in its slice, their heights, and the points left out.
  std::uint64_t count() const { return count_; }
  const Range& heights() const { return heights_; }
  const LeftOut& leftOut() const { return leftOut_; }

  /// Bitwise or of the colours of all points, also of those left out.
  unsigned colourBits() const { return colourBits_; }

  const MapView& view() const { return view_; }

  /// The highest and the second highest layer of each cell. They are apart from each other because
  /// most points need only the first.
  const std::vector<Layer>& tops() const { return tops_; }
  const std::vector<Layer>& belows() const { return belows_; }

  /// The height of a unit and of a layer, in the unit of the map.
  double unit() const { return unit_; }
  double metres(std::uint16_t height) const { return lowest_ + height * unit_; }

 private:
  void addBatch(std::span<const MapPoint> points);
  bool leaveOut(const Position& position);
  Layer* otherLayer(std::size_t cell, int step);

  /// The layer of a step of height, which is empty if there was none; null for a lower step than
  /// those of both layers.
  Layer* layerOf(std::size_t cell, int step) {
    return step == tops_[cell].step() ? &tops_[cell] : otherLayer(cell, step);
  }

  static constexpr std::size_t kBatch = 64;  ///< points

  /// Converts positions to cells, and colours to 8 bits.
  struct Scale {
    Range x;
    Range y;
    Range slice;
    double perUnit;        ///< cells
    double lowest;         ///< height at 0 units
    double heightPerUnit;  ///< units
    int columns;
    int colourShift;
  };

  MapView view_;
  Scale scale_;
  double lowest_;  ///< height in metres at 0 units
  double unit_;    ///< metres
  std::uint64_t count_ = 0;
  Range heights_ = kNoValues;
  LeftOut leftOut_;
  unsigned colourBits_ = 0;
  std::vector<Layer> tops_;
  std::vector<Layer> belows_;
};

}  // namespace picture
