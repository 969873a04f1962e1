// SPDX-License-Identifier: BSD-3-Clause
// Existing files with the name of the repair's output.
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "pcbin_las/app/las_repair.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using testing::Contains;
using testing::EndsWith;
namespace fs = std::filesystem;

/// Calls `make` with the names that a repair of "a.las" uses now and in the next seconds.
void forEachComingName(const std::string& directory,
                       const std::function<void(const std::string&)>& make) {
  for (int second = 0; second < 20; ++second) {
    const std::time_t time = std::time(nullptr) + second;
    char name[64];
    std::tm local{};
    std::strftime(name, sizeof(name), "/%Y%m%d-%H%M%S_a.las", localtime_r(&time, &local));
    make(directory + name);
  }
}

TEST(RepairName, IsNoLinkAndNoPipe) {
  const std::pair<const char*, std::function<void(const fs::path&, const std::string&)>> kinds[] = {
      {"symbolic link", [](const fs::path& to, const auto& name) { fs::create_symlink(to, name); }},
      {"hard link", [](const fs::path& to, const auto& name) { fs::create_hard_link(to, name); }},
      {"pipe", [](const fs::path&, const auto& name) { mkfifo(name.c_str(), 0600); }},
  };
  for (const auto& [kind, make] : kinds) {
    for (const char* const target : {"a.las", "other"}) {
      SCOPED_TRACE(std::string(kind) + " to " + target);
      const test::TempDir dir;
      const std::string input = dir.write("a.las", test::lasFile(10));
      dir.write("other", "other");
      forEachComingName(
          dir.path(), [&, &makeOne = make](const auto& name) { makeOne(dir.path(target), name); });
      const test::CapturedLines log;
      las_repair(input);
      EXPECT_TRUE(test::readFile(input) == test::lasFile(10));
      EXPECT_EQ(test::readFile(dir.path("other")), "other");
      EXPECT_EQ(log.lines().size(), 2U);
      EXPECT_THAT(log.lines(), Contains(EndsWith("[las_repair,L#] open las writer error!")));
    }
  }
}

TEST(RepairName, OfAnEarlierRepairIsOverwritten) {
  const test::TempDir dir;
  const std::string input = dir.write("a.las", test::lasFile(10));
  forEachComingName(dir.path(), [](const auto& name) { std::ofstream(name) << test::lasFile(20); });
  las_repair(input);
  const auto size = [](const fs::directory_entry& entry) { return fs::file_size(entry); };
  EXPECT_EQ(std::ranges::count(fs::directory_iterator(dir.path()), 227 + 340U, size), 2);
}

}  // namespace
