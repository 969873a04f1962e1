// SPDX-License-Identifier: BSD-3-Clause
// Assigns the points of a map to pixels.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_view.h"

namespace picture {

/// A colour of the height scale; `part` is 0 for the lowest and 1 for the highest.
Colour heightColour(double part);

/// One cell for each pixel of a view, with the height and the colour of its highest point.
class MapRaster {
 public:
  MapRaster(const MapView& view, const LasInput& input);

  /// Adds the points to their cells and counts those in the view.
  void add(std::span<const pontra::LasPointRecord> records);

  /// Extends the points over empty cells, further where fewer cells are filled, and closes small
  /// holes.
  void growDots();

  /// The number of points in the view.
  std::uint64_t count() const { return count_; }

  /// True when every colour of every point is 0: colours() then shows heights.
  bool showsHeights() const { return colourBits_ == 0; }

  /// The pixels in rows from the top left on; empty cells get the colour `ground`.
  std::vector<Colour> colours(const Colour& ground) const;

 private:
  void addBatch(std::span<const pontra::LasPointRecord> records);
  double spacing() const;
  void growOnce(bool diagonally, int filledNeighbours);
  Colour shade(std::size_t cell) const;

  /// Height in bits 48 to 63, 1 to 65535 over the view's heights; blue, green and red below. 0 when
  /// empty. The greater of two cells belongs to the higher point.
  using Cell = std::uint64_t;

  static constexpr std::size_t kBatch = 64;  ///< points

  MapView view_;
  Linear column_;  ///< from the integers of a record to pixels
  Linear row_;
  Linear height_;  ///< to the height in a cell
  std::uint64_t count_ = 0;
  std::uint64_t colourBits_ = 0;  ///< bitwise or of the colours of all points
  std::vector<Cell> cells_;
};

}  // namespace picture
