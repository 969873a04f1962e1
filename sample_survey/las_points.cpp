// SPDX-License-Identifier: BSD-3-Clause
#include "las_points.h"

#include <cstring>
#include <iostream>

bool LasPoints::open(const std::string& path) {
  const auto error = reader_.open(path);
  if (error == pontra::LasReader::OpenError::kNoFile) {
    std::cerr << path << ": cannot be opened\n";
    return false;
  }
  if (error || std::memcmp(header().fileSignature, "LASF", 4) != 0 ||
      header().pointDataFormatID != 3 ||
      header().pointDataRecordLength != sizeof(pontra::LasPointRecord)) {
    std::cerr << path << ": not a LAS file of point data record format 3\n";
    return false;
  }
  reader_.findPoints();
  left_ = header().numberOfPointRecords;
  return true;
}

std::optional<pontra::LasPointRecord> LasPoints::next() {
  if (left_ == 0) return std::nullopt;
  --left_;
  const auto records = reader_.read(1);
  if (records.empty()) return std::nullopt;
  return records[0];
}
