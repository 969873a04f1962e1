// SPDX-License-Identifier: BSD-3-Clause
#include "las_points.h"

#include <cstring>
#include <iostream>

bool LasPoints::open(const std::string& path) {
  if (!file_.open(path, ferrun::File::kRead)) {
    std::cerr << path << ": cannot be opened\n";
    return false;
  }
  const int length = file_.readData(reinterpret_cast<char*>(&header_), sizeof(header_));
  if (length != sizeof(header_) || std::memcmp(header_.fileSignature, "LASF", 4) != 0 ||
      header_.pointDataFormatID != 3 ||
      header_.pointDataRecordLength != sizeof(pontra::LasPointRecord)) {
    std::cerr << path << ": not a LAS file of point data record format 3\n";
    return false;
  }
  file_.seek(header_.pointDataOffset);
  left_ = header_.numberOfPointRecords;
  return true;
}

std::optional<pontra::LasPointRecord> LasPoints::next() {
  pontra::LasPointRecord record;
  if (left_ == 0 ||
      file_.readData(reinterpret_cast<char*>(&record), sizeof(record)) != sizeof(record))
    return std::nullopt;
  --left_;
  return record;
}
