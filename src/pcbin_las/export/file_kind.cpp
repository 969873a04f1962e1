// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/file_kind.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "pcbin_las/storage/pcb_format.h"

std::string_view fileKind(std::string_view beginning) {
  if (beginning.starts_with("LASF")) return "LAS";
  if (beginning.starts_with("\x89PNG")) return "PNG";
  if (beginning.starts_with("\x1F\x8B")) return "gzip";
  modeling_app::PcbHeader header{};
  constexpr std::size_t kChecked = offsetof(modeling_app::PcbHeader, frames);
  if (beginning.size() < kChecked) return {};
  std::memcpy(&header, beginning.data(), kChecked);
  return modeling_app::isPcbHeader(header) ? "pcbin" : std::string_view{};
}

std::string_view kindOfFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    return {};  // reading a pipe would take its data
  std::ifstream file(path, std::ios::binary);
  std::array<char, sizeof(modeling_app::PcbHeader)> beginning;
  file.read(beginning.data(), beginning.size());
  return fileKind({beginning.data(), static_cast<std::size_t>(file.gcount())});
}
