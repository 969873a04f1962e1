// A pcbin file of any size that takes no time to write and no room on the disk.
#pragma once

#include <filesystem>
#include <fstream>

#include "support/bytes.h"

namespace test {

/// Makes a pcbin file of `frames` frames of `points` points. The first point of frame number k
/// stands at (k, -k, k / 2), so that bounds grow from frame to frame; every other byte of a record
/// is zero.
inline void writeSparseSurvey(const std::string& path, unsigned frames, unsigned points) {
  std::ofstream file(path, std::ios::binary);
  file << pcbHeader(frames, std::uint64_t{frames} * points);
  for (unsigned k = 0; k < frames; ++k) {
    const auto distance = static_cast<float>(k);
    const Bytes first = rgbFrame(k, 0, {{distance, -distance, distance / 2}});
    file << frameHeader(10, k, 0, points) << first.substr(48);
    file.seekp(static_cast<std::streamoff>(points - 1) * 40, std::ios::cur);
  }
  const auto size = static_cast<std::uintmax_t>(file.tellp());
  file.close();
  std::filesystem::resize_file(path, size);
}

}  // namespace test
