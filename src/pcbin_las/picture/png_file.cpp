// SPDX-License-Identifier: BSD-3-Clause
// Encodes pictures as PNG files.
#include <png.h>

#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {

bool isSupported() {
  return true;
}

bool Canvas::writePng(const std::string& path) const {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width_);
  image.height = static_cast<png_uint_32>(height_);
  image.format = PNG_FORMAT_RGB;
  image.flags = PNG_IMAGE_FLAG_FAST;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string bytes(size, '\0');
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels_.data(), 0, nullptr) == 0) {
    TRACE_ERROR("picture", "picture(%s) cannot be encoded: %s!", path.c_str(), image.message);
    return false;
  }
  bytes.resize(size);
  return ferrun::replaceFile(path, bytes);
}

}  // namespace picture
