// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a LAS file for drawing.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "pcbin_las/las/coordinate_system.h"
#include "pcbin_las/las/las_reader.h"
#include "pcbin_las/picture/map_point.h"

namespace picture {

/// A LAS file of point data record format 3, open for reading.
class LasInput {
 public:
  /// Opens the file; `threads` decode compressed points. False, with an error line, when it cannot
  /// be read, is of another format or has no record, when a scale factor is 0, or when a scale
  /// factor or an offset is not finite.
  bool open(const std::string& path, unsigned threads);

  /// The number of whole records in the file, at most the number in the header.
  std::uint64_t count() const { return count_; }

  /// The bounds of x, y and z that the header states. They may be wrong.
  std::array<Range, 3> headerBounds() const;

  /// The coordinate system that the file names.
  const pontra::MapSystem& system() const { return system_; }

  /// Passes the points in [begin, end) to `take`, in batches. False, with an error line, when a
  /// read fails.
  bool pass(std::uint64_t begin, std::uint64_t end, const TakePoints& take);

 private:
  bool acceptHeader(unsigned threads);

  /// Converts the integers of records to metres.
  struct Axis {
    double scale;
    double offset;
    double operator()(std::int32_t value) const { return value * scale + offset; }
  };

  std::string path_;
  pontra::LasReader reader_;
  std::array<Axis, 3> axes_ = {};
  pontra::MapSystem system_;
  std::uint64_t count_ = 0;
};

}  // namespace picture
