// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a LAS file for drawing.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "pcbin_las/las/las_reader.h"

namespace picture {

/// A linear function.
struct Linear {
  double factor = 1;
  double shift = 0;
  double operator()(double value) const { return value * factor + shift; }
};

/// Metres, x to the east, y to the north, z up.
using Position = std::array<double, 3>;

/// A range of coordinates.
struct Range {
  double low = 0;
  double high = 0;
  double size() const { return high - low; }

  /// Extends each end to that of `outer` if this is at most 5 % of the size away.
  void include(const Range& outer);
};

/// A LAS file of point data record format 3, open for reading.
class LasInput {
 public:
  /// Opens the file. False, with an error line, when it cannot be read, is of another format or has
  /// no record, when a scale factor is 0, or when a scale factor or an offset is not finite.
  bool open(const std::string& path);

  /// The number of whole records in the file, at most the number in the header.
  std::uint64_t count() const { return count_; }

  /// Converts the integers of the records to metres, for axis 0, 1 or 2.
  Linear axis(std::size_t axis) const { return axes_[axis]; }

  /// The bounds that the header states. They may be wrong.
  Range headerBounds(std::size_t axis) const { return bounds_[axis]; }

  /// Positions of at most kSampleSize points, evenly distributed over the file; of all points if
  /// the file has no more.
  std::vector<Position> sample();

  /// Sets the position to the record `index`.
  void seek(std::uint64_t index);

  /// Reads the next records, as many as fit in one block; none after the last one. The span is
  /// valid until the next call. A failed read prints an error line and ends the records.
  std::span<const pontra::LasPointRecord> read();

  /// False once a read has failed.
  bool ok() const { return ok_; }

  static constexpr std::uint64_t kSampleSize = 1U << 15;

 private:
  bool acceptHeader();
  bool findCompressedPoints();

  static constexpr std::uint64_t kSampleBlocks = 256;

  std::string path_;
  pontra::LasReader reader_;
  std::array<Linear, 3> axes_;
  std::array<Range, 3> bounds_;
  std::uint64_t count_ = 0;
  std::uint64_t next_ = 0;  ///< index of the record that the next read starts with
  bool ok_ = true;
};

}  // namespace picture
