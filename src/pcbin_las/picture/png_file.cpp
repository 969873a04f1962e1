// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/png_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <png.h>

#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {
namespace {

/// Writes the picture and closes the stream. Returns why that failed, or an empty text.
std::string encode(const Canvas& canvas, std::FILE* stream) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(canvas.width());
  image.height = static_cast<png_uint_32>(canvas.height());
  image.format = PNG_FORMAT_RGB;
  image.flags = PNG_IMAGE_FLAG_FAST;
  errno = 0;
  std::string reason;
  if (png_image_write_to_stdio(&image, stream, 0, canvas.pixels().data(), 0, nullptr) == 0)
    reason = errno != 0 ? std::strerror(errno) : image.message;
  if (std::fclose(stream) != 0 && reason.empty()) reason = std::strerror(errno);
  return reason;
}

}  // namespace

bool writePng(const Canvas& canvas, const std::string& path) {
  ferrun::StagedFile staged;
  if (!staged.create(path)) return false;
  const int copy = ::fcntl(staged.descriptor(), F_DUPFD_CLOEXEC, 0);
  std::FILE* const stream = copy < 0 ? nullptr : ::fdopen(copy, "wb");
  const std::string reason = stream == nullptr ? std::strerror(errno) : encode(canvas, stream);
  if (copy >= 0 && stream == nullptr) ::close(copy);
  if (reason.empty()) return staged.publish();
  TRACE_ERROR("picture", "picture(%s) cannot be written: %s!", path.c_str(), reason.c_str());
  return false;
}

}  // namespace picture
