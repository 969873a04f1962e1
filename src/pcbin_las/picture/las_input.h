// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a LAS file for drawing.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "pcbin_las/las/las_reader.h"
#include "pcbin_las/las/map_system.h"
#include "pcbin_las/picture/map_point.h"

namespace picture {

/// A LAS file of point data record format 3, open for reading.
class LasInput {
 public:
  /// Opens the file. False, with an error line, when it cannot be read, is of another format or has
  /// no record, when a scale factor is 0, or when a scale factor or an offset is not finite.
  bool open(const std::string& path);

  /// The number of whole records in the file, at most the number in the header.
  std::uint64_t count() const { return count_; }

  /// The bounds of x, y and z that the header states. They may be wrong.
  const std::array<Range, 3>& headerBounds() const { return bounds_; }

  /// The coordinate system that the file names.
  const pontra::MapSystem& system() const { return system_; }

  /// Passes all points to `take`, in batches. False, with an error line, when a read fails.
  bool pass(const TakePoints& take) { return passRecords(0, count_, take); }

  /// The same for the first or the second half of the points.
  bool passHalf(bool second, const TakePoints& take) {
    return passRecords(second ? count_ / 2 : 0, second ? count_ : count_ / 2, take);
  }

  /// Passes points from all parts of the file to `take`: all points of a file with at most
  /// kFewPoints. False as above.
  bool passSome(const TakePoints& take);

  static constexpr std::uint64_t kFewPoints = std::uint64_t{1} << 23;

 private:
  bool acceptHeader();
  bool findCompressedPoints();
  void readSystem();
  bool passRecords(std::uint64_t begin, std::uint64_t end, const TakePoints& take);

  /// Converts the integers of records to metres.
  struct Axis {
    double scale = 1;
    double offset = 0;
    double operator()(std::int32_t value) const { return value * scale + offset; }
  };

  std::string path_;
  pontra::LasReader reader_;
  std::array<Axis, 3> axes_;
  std::array<Range, 3> bounds_;
  pontra::MapSystem system_;
  std::uint64_t count_ = 0;
};

}  // namespace picture
