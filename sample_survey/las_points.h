// SPDX-License-Identifier: BSD-3-Clause
// Reads the points of a LAS 1.2 file of point data record format 3.
#pragma once

#include <optional>
#include <string>

#include <Eigen/Core>

#include "pcbin_las/las/las_reader.h"

/// A LAS file open for reading.
class LasPoints {
 public:
  /// Opens the file at `path`. False, with a line on standard error, when it cannot be read or has
  /// another format.
  bool open(const std::string& path);

  /// The next record; nothing after the number of records in the header, or at the end of the file.
  std::optional<pontra::LasPointRecord> next();

  const pontra::LasHeader& header() const { return reader_.header(); }

  /// The point's coordinates in metres, without the header's offset.
  Eigen::Vector3d position(const pontra::LasPointRecord& record) const {
    return {record.x * header().xScaleFactor, record.y * header().yScaleFactor,
            record.z * header().zScaleFactor};
  }

  Eigen::Vector3d offset() const { return {header().xOffset, header().yOffset, header().zOffset}; }

 private:
  pontra::LasReader reader_;
  std::uint32_t left_ = 0;  ///< records still to be read
};
