// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/available_memory.h"

#include <gmock/gmock.h>

#include "support/temp_dir.h"

namespace {

TEST(AvailableMemory, IsLimitedByTheSystemAndByControlGroupsOfBothVersions) {
  const test::TempDir dir;
  const auto put = [&dir](const std::string& name, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(dir.path(name)).parent_path());
    dir.write(name, text);
  };
  EXPECT_EQ(ferrun::availableMemory(dir.path()), UINT64_MAX);
  put("proc/meminfo", "MemTotal: 9 kB\nMemAvailable:  8 kB\n");
  EXPECT_EQ(ferrun::availableMemory(dir.path()), 8192U);
  put("proc/self/cgroup", "12:cpu:/a\n11:memory:/a/b\n0::/c\n");
  put("sys/fs/cgroup/memory/a/memory.limit_in_bytes", "7000");
  put("sys/fs/cgroup/memory/a/memory.usage_in_bytes", "500");
  EXPECT_EQ(ferrun::availableMemory(dir.path()), 6500U);
  put("sys/fs/cgroup/c/memory.max", "max");
  put("sys/fs/cgroup/c/memory.current", "5");
  EXPECT_EQ(ferrun::availableMemory(dir.path()), 6500U);
  put("sys/fs/cgroup/c/memory.max", "4");
  EXPECT_EQ(ferrun::availableMemory(dir.path()), 0U);
}

}  // namespace
