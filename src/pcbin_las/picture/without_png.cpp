// SPDX-License-Identifier: BSD-3-Clause
// Replaces the library in a build without libpng.
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {

bool isSupported() {
  return false;
}

bool draw(const std::string& /*lasPath*/, const std::string& pngPath,
          const std::optional<Area>& /*zoom*/) {
  TRACE_ERROR("picture", "picture(%s) cannot be drawn: built without libpng!", pngPath.c_str());
  return false;
}

}  // namespace picture
