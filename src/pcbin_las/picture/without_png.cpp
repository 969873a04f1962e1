// SPDX-License-Identifier: BSD-3-Clause
// Replaces the library in a build without libpng.
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {

bool isSupported() {
  return false;
}

namespace {

bool refuse(const std::string& pngPath) {
  TRACE_ERROR("picture", "picture(%s) cannot be drawn: built without libpng!", pngPath.c_str());
  return false;
}

}  // namespace

bool draw(const std::string& /*lasPath*/, const std::string& pngPath, const Request& /*request*/) {
  return refuse(pngPath);
}

bool drawComparison(const PassMovedPoints& /*pass*/, const std::string& /*name*/,
                    const pontra::MapSystem& /*system*/, const std::string& pngPath,
                    const Request& /*request*/) {
  return refuse(pngPath);
}

}  // namespace picture
