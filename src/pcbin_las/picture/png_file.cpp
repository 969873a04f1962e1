#include "pcbin_las/picture/png_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include <png.h>

#include "pcbin_las/platform/file_path.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {
namespace {

bool fail(const std::string& path, const char* reason) {
  TRACE_ERROR("picture", "picture(%s) cannot be written: %s!", path.c_str(), reason);
  return false;
}

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
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    return fail(path, "not a regular file");

  const ferrun::FilePath parts(path);
  const std::string part =
      ferrun::StrUtil::format("%s/.%s.%d.part", parts.dirName().c_str(), parts.baseName().c_str(),
                              static_cast<int>(::getpid()));
  const int descriptor = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) return fail(path, std::strerror(errno));
  std::FILE* const stream = ::fdopen(descriptor, "wb");
  std::string reason;
  if (stream == nullptr) {
    reason = std::strerror(errno);
    ::close(descriptor);
  } else {
    reason = encode(canvas, stream);
  }
  if (reason.empty() && std::rename(part.c_str(), path.c_str()) != 0) reason = std::strerror(errno);
  if (reason.empty()) return true;
  ::unlink(part.c_str());
  return fail(path, reason.c_str());
}

}  // namespace picture
