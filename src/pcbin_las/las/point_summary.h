// SPDX-License-Identifier: BSD-3-Clause
// Counts and bounds of the point records of a LAS file of any format.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "pcbin_las/las/las_layout.h"

namespace pontra {

/// What the header of a LAS file says about its points, computed from the records. Records of zero
/// bytes alone at the end, beyond the announced number, are not points: they are space that a
/// killed program had reserved.
class PointSummary {
 public:
  explicit PointSummary(const LasLayout& layout);

  /// Adds the next `count` records, which stand one after the other at `records`.
  void add(const char* records, std::size_t count);

  /// The number of points.
  std::uint64_t count() const { return count_; }

  /// The number of records of zero bytes at the end that are not points.
  std::uint64_t zeroRecords() const { return zeroRecords_; }

  /// The number of points with this return number, 1 to 15; a return number 0 counts as 1.
  std::uint64_t withReturn(std::size_t number) const {
    return returns_[number] + (number == 1 ? returns_[0] : 0);
  }

  /// The lowest and the highest X, Y or Z, in steps; without points
  /// the lowest is above the highest.
  std::int32_t low(std::size_t axis) const { return low_[axis]; }
  std::int32_t high(std::size_t axis) const { return high_[axis]; }

 private:
  void addZeroRecords();
  void addPoints(const char* records, std::size_t count);

  std::size_t recordLength_;
  std::uint64_t announced_;
  unsigned returnMask_;
  std::uint64_t count_ = 0;
  std::uint64_t zeroRecords_ = 0;
  std::array<std::uint64_t, 16> returns_ = {};
  std::array<std::int32_t, 3> low_;
  std::array<std::int32_t, 3> high_;
};

/// Sets the counts, bounds and header size of `layout.header` to what is right. Fields that are
/// right, and those behind the header's end, do not change; nor does a legacy count of point
/// formats 6 to 10 that is 0, nor a bound that is at most half a step off. Returns what changed, as
/// text: "points 0 -> 110000, bounds corrected"; empty for nothing. Adds a warning to the layout
/// when the bounds cannot be computed, and when there are more points than announced.
std::string correctHeader(LasLayout& layout, const PointSummary& points);

}  // namespace pontra
