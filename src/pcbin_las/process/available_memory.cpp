// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/available_memory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace ferrun {
namespace {

namespace fs = std::filesystem;

/// The number at the start of a file in /proc or /sys; nothing for the word "max".
std::optional<std::uint64_t> readNumber(const fs::path& path) {
  std::uint64_t number = 0;
  if (std::ifstream(path) >> number) return number;
  return std::nullopt;
}

/// MemAvailable of /proc/meminfo in bytes.
std::uint64_t availableInSystem() {
  std::ifstream info("/proc/meminfo");
  std::string key;
  for (std::uint64_t kilobytes = 0; info >> key >> kilobytes; info.ignore(64, '\n')) {
    if (key == "MemAvailable:") return kilobytes * 1024;
  }
  return UINT64_MAX;
}

/// The bytes left by the limits of the process's control group and its parent groups.
std::uint64_t availableInControlGroups() {
  std::ifstream groups("/proc/self/cgroup");
  std::string line;
  while (std::getline(groups, line) && !line.starts_with("0::/")) {
  }
  if (!line.starts_with("0::/")) return UINT64_MAX;
  const fs::path root = "/sys/fs/cgroup";
  std::uint64_t available = UINT64_MAX;
  for (fs::path group = root / line.substr(4); group != root.parent_path();
       group = group.parent_path()) {
    const auto limit = readNumber(group / "memory.max");
    const auto used = readNumber(group / "memory.current");
    if (limit && used) available = std::min(available, *limit - std::min(*used, *limit));
    if (group == group.parent_path()) break;
  }
  return available;
}

}  // namespace

std::uint64_t availableMemory() {
  return std::min(availableInSystem(), availableInControlGroups());
}

}  // namespace ferrun
