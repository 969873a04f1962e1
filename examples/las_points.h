// Reads the points of a LAS 1.2 file of point data record format 3.
#pragma once

#include <optional>
#include <string>

#include <Eigen/Core>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/platform/file.h"

/// The points of one file, in their order.
class LasPoints {
 public:
  /// Opens the file at `path`. False, with a line on standard error, when it cannot be read or is
  /// another kind of file.
  bool open(const std::string& path);

  /// The next record; nothing when as many were read as the header announces or the file ends.
  std::optional<pontra::LasPointRecord> next();

  /// Stands before the first record again.
  void rewind();

  const pontra::LasHeader& header() const { return header_; }

  /// Where a record's point lies: metres, without the header's offset.
  Eigen::Vector3d position(const pontra::LasPointRecord& record) const {
    return {record.x * header_.xScaleFactor, record.y * header_.yScaleFactor,
            record.z * header_.zScaleFactor};
  }

  Eigen::Vector3d offset() const { return {header_.xOffset, header_.yOffset, header_.zOffset}; }

 private:
  ferrun::File file_;
  pontra::LasHeader header_{};
  std::uint32_t left_ = 0;  ///< records still to be read
};
