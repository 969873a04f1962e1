// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/available_cores.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <string>
#include <thread>

namespace ferrun {
namespace {

namespace fs = std::filesystem;

constexpr double kNoLimit = 1e9;  // cores

unsigned coresOfAffinity() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  if (sched_getaffinity(0, sizeof(cores), &cores) != 0)  // more cores than the mask has bits
    return std::thread::hardware_concurrency();
  return static_cast<unsigned>(CPU_COUNT(&cores));
}

/// Quota divided by period, from version 2's cpu.max or version 1's two files.
double limitOfGroup(const fs::path& group) {
  double quota = 0;
  double period = 0;
  std::ifstream both(group / "cpu.max");  // "max 100000" without a limit
  if (!(both >> quota >> period)) {
    std::ifstream(group / "cpu.cfs_quota_us") >> quota;  // -1 without a limit
    std::ifstream(group / "cpu.cfs_period_us") >> period;
  }
  return quota > 0 && period > 0 ? quota / period : kNoLimit;
}

/// The lowest limit of a group and the groups above it. In a container only those up to the root
/// that it sees exist.
double limitOfGroups(const fs::path& root, const std::string& path) {
  double limit = limitOfGroup(root);
  for (fs::path group = fs::path(path).relative_path(); !group.empty(); group = group.parent_path())
    limit = std::min(limit, limitOfGroup(root / group));
  return limit;
}

/// In cores.
double limitOfControlGroups() {
  double limit = kNoLimit;
  std::ifstream groups("/proc/self/cgroup");
  for (std::string line; std::getline(groups, line);) {  // "number:controllers:path"
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const std::string path = line.substr(second + 1);
    const fs::path root = "/sys/fs/cgroup";
    if (controllers.empty()) limit = std::min(limit, limitOfGroups(root, path));
    if (("," + controllers + ",").find(",cpu,") != std::string::npos)
      limit = std::min(limit, limitOfGroups(root / controllers, path));
  }
  return limit;
}

}  // namespace

unsigned availableCores() {
  const unsigned cores = std::max(coresOfAffinity(), 1U);
  return static_cast<unsigned>(std::min<double>(cores, std::ceil(limitOfControlGroups())));
}

}  // namespace ferrun
