// SPDX-License-Identifier: BSD-3-Clause
// Shared by the tests of pcbin files.
#pragma once

#include <stdexcept>

#include "pcbin_las/storage/pcb_reader.h"
#include "support/temp_dir.h"

namespace test {

/// A reader of a file with these contents.
class OpenReader : public modeling_app::PcbReader {
  TempDir directory_;

 public:
  explicit OpenReader(const Bytes& contents) : path(directory_.write("map.pcbin", contents)) {
    if (!open(path, 4U << 20)) throw std::runtime_error("file refused");
  }

  /// The point counts of the next frames, at most 9, up to the end or to damage.
  std::vector<std::size_t> frameSizes(bool lidar) {
    std::vector<std::size_t> sizes;
    if (lidar)
      for (const auto& frame : readPcl(9)) sizes.push_back(frame->cloud->points.size());
    else
      for (const auto& frame : readPclRGB(9)) sizes.push_back(frame->cloud->points.size());
    return sizes;
  }

  const std::string path;
};

/// A cloud of `count` points of sweep `sweep`.
inline std::shared_ptr<norvo::RgbCloud> rgbCloud(unsigned count, unsigned sweep = 0) {
  auto cloud = std::make_shared<norvo::RgbCloud>();
  norvo::PointRGBIST point;
  point.sweepid = sweep;
  cloud->points.assign(count, point);
  return cloud;
}

}  // namespace test
