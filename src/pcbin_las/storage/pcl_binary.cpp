// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

unsigned PclBinary::totalFrames() const {
  return isOpen() ? static_cast<unsigned>(frames) : 0;
}

unsigned PclBinary::totalPoints() const {
  return isOpen() ? static_cast<unsigned>(points) : 0;
}

void PclBinary::setCounts(std::uint64_t newFrames, std::uint64_t newPoints) {
  frames = newFrames;
  points = newPoints;
  header->frames = newFrames;
  header->points = newPoints;
}

/// Releases the resources of reading.
void PclBinary::forgetFrames() {
  nextFrame.reset();
  chunk = {};
  irtClouds.clear();
  rgbClouds.clear();
}

}  // namespace modeling_app
