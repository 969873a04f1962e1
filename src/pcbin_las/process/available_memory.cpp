// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/available_memory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

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
std::uint64_t availableInSystem(const fs::path& root) {
  std::ifstream info(root / "proc/meminfo");
  std::string key;
  for (std::uint64_t kilobytes = 0; info >> key >> kilobytes; info.ignore(64, '\n')) {
    if (key == "MemAvailable:") return kilobytes * 1024;
  }
  return UINT64_MAX;
}

/// The bytes left by the limits of the group `path` below `mount` and its parent groups.
std::uint64_t availableInGroup(const fs::path& mount, const std::string& path,
                               const char* limitName, const char* usedName) {
  std::uint64_t available = UINT64_MAX;
  for (fs::path group = mount / path; group != mount.parent_path(); group = group.parent_path()) {
    const auto limit = readNumber(group / limitName);
    const auto used = readNumber(group / usedName);
    if (limit && used) available = std::min(available, *limit - std::min(*used, *limit));
    if (group == group.parent_path()) break;
  }
  return available;
}

/// The bytes left by the limits of the process's control groups, of version 1 and of version 2.
std::uint64_t availableInControlGroups(const fs::path& root) {
  constexpr std::string_view kVersion2 = "0::/";
  constexpr std::string_view kMemory = ":memory:/";
  const fs::path mount = root / "sys/fs/cgroup";
  std::ifstream groups(root / "proc/self/cgroup");
  std::uint64_t available = UINT64_MAX;
  for (std::string line; std::getline(groups, line);) {
    if (line.starts_with(kVersion2))
      available = std::min(available, availableInGroup(mount, line.substr(kVersion2.size()),
                                                       "memory.max", "memory.current"));
    else if (const auto at = line.find(kMemory); at != line.npos)
      available =
          std::min(available, availableInGroup(mount / "memory", line.substr(at + kMemory.size()),
                                               "memory.limit_in_bytes", "memory.usage_in_bytes"));
  }
  return available;
}

}  // namespace

std::uint64_t availableMemory(const std::string& root) {
  return std::min(availableInSystem(root), availableInControlGroups(root));
}

std::uint64_t availableMemory() {
  return availableMemory("/");
}

}  // namespace ferrun
