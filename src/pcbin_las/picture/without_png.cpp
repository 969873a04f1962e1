// SPDX-License-Identifier: BSD-3-Clause
// Takes the place of png_file.cpp in a build without libpng.
#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {

bool isSupported() {
  return false;
}

bool Canvas::writePng(const std::string& path) const {
  TRACE_ERROR("picture", "picture(%s) cannot be drawn: built without libpng!", path.c_str());
  return false;
}

}  // namespace picture
