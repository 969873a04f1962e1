// SPDX-License-Identifier: BSD-3-Clause
// Reads and writes byte images: packed structs with the same layout in files and in memory.
#pragma once

#include <bit>
#include <type_traits>

namespace ferrun {

static_assert(std::endian::native == std::endian::little,
              "byte images are little-endian, like the files");

/// Reads the byte image of `image` from the current position. Returns what readData() returns.
template <class Device, class Image>
int readImage(Device& device, Image& image) {
  static_assert(std::is_trivially_copyable_v<Image>);
  return device.readData(reinterpret_cast<char*>(&image), sizeof(Image));
}

/// Writes the byte image of `image` at the current position. Returns what writeData() returns.
template <class Device, class Image>
int writeImage(Device& device, const Image& image) {
  static_assert(std::is_trivially_copyable_v<Image>);
  return device.writeData(reinterpret_cast<const char*>(&image), sizeof(Image));
}

}  // namespace ferrun
