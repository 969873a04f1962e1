// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcl_binary.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <exception>

#include "pcbin_las/platform/escape.h"

namespace modeling_app {

// Nothing of this class is inline: a caller's code must not depend on the layout of another version
// of the library in the same process.
PclBinary::PclBinary() = default;
PclBinary::~PclBinary() = default;

bool PclBinary::isOpen() const {
  return file && file->isOpen() && header;
}

ReadEnd PclBinary::lastReadEnd() const {
  return readEnd;
}

std::uint64_t PclBinary::announcedFrames() const {
  return isOpen() ? frames.load() : 0;
}

std::uint64_t PclBinary::announcedPoints() const {
  return isOpen() ? points.load() : 0;
}

unsigned PclBinary::totalFrames() const {
  return isOpen() ? static_cast<unsigned>(frames) : 0;
}

unsigned PclBinary::totalPoints() const {
  return isOpen() ? static_cast<unsigned>(points) : 0;
}

std::string PclBinary::lastError() const {
  const std::lock_guard lock(mutex);
  return errorText;
}

void PclBinary::rememberError(const char* format, ...) noexcept {
  std::array<char, 8192> text{};  // a path has up to 4096 bytes
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text.data(), text.size(), format, values);
  va_end(values);
  try {
    errorText = ferrun::escapeControls(text.data());
  } catch (const std::exception&) {
    errorText = "no memory";
  }
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
