// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a LAS file for drawing.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/picture/map_view.h"
#include "pcbin_las/platform/file.h"

namespace picture {

using TakePoints = std::function<void(std::span<const MapPoint>)>;

/// A LAS file of point data record format 3, open for reading.
class LasInput {
 public:
  /// Opens the file. False, with an error line, when it cannot be read, is of another format or has
  /// no record, when a scale factor is 0, or when a scale factor or an offset is not finite.
  bool open(const std::string& path);

  /// The number of whole records in the file, at most the number in the header.
  std::uint64_t count() const { return count_; }

  /// Passes points spread over the file to `take`: all of them if the file has at most kMost.
  bool passSome(const TakePoints& take);

  bool passAll(const TakePoints& take);

  Range headerBounds(std::size_t axis) const { return bounds_[axis]; }

 private:
  bool takeHeader(const pontra::LasHeader& header, std::int64_t fileSize);
  bool pass(std::uint64_t begin, std::uint64_t end, const TakePoints& take);

  struct Linear {
    double factor = 1;
    double shift = 0;
  };
  std::string path_;
  ferrun::File file_;
  std::array<Linear, 3> axes_;
  std::array<Range, 3> bounds_;
  std::uint64_t pointDataOffset_ = 0;
  std::uint64_t count_ = 0;
  std::vector<pontra::LasPointRecord> block_;
};

}  // namespace picture
