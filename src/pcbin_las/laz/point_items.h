// SPDX-License-Identifier: BSD-3-Clause
// Codes whole points: the items of a record, one after the other.
#pragma once

#include "pcbin_las/laz/colour_item.h"
#include "pcbin_las/laz/position_item.h"
#include "pcbin_las/laz/record_layout.h"
#include "pcbin_las/laz/time_item.h"

namespace laz {

/// An upper limit of the bytes that an encoded point adds to a stream.
constexpr std::size_t kMostPointBytes = 256;

/// The models and predictions of a chunk, about 1.2 MiB. Allocate it with new.
template <class Coder>
class PointItems {
 public:
  /// Starts a chunk with its first point.
  void reset(const Point& first) {
    position_.reset(first.position);
    time_.reset(first.time);
    colour_.reset(first.colour);
  }

  /// Encodes the next point, or decodes it into `point`.
  [[gnu::always_inline]] void code(Coder& coder, RecordLayout layout, Point& point) {
    position_.code(coder, point.position);
    if (layout.hasTime) point.time = time_.code(coder, point.time);
    if (layout.hasColour) colour_.code(coder, point.colour);
  }

 private:
  PositionItem<Coder> position_;
  TimeItem<Coder> time_;
  ColourItem<Coder> colour_;
};

}  // namespace laz
