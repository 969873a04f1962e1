// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/file_path.h"

#include <gmock/gmock.h>

namespace {

TEST(FilePath, SplitsAtTheLastSlash) {
  const char* const rows[][3] = {
      {"/data/run.1/map.las", "/data/run.1", "map.las"},
      {"map", ".", "map"},
      {"a/b/", "a", "b"},
      {"a//b//", "a", "b"},
      {"/map.las", "", "map.las"},
      {"/", ".", ""},
      {"", ".", ""},
  };
  for (const auto& [path, directory, base] : rows) {
    EXPECT_EQ(ferrun::FilePath(path).dirName(), directory) << path;
    EXPECT_EQ(ferrun::FilePath(path).baseName(), base) << path;
  }
}

}  // namespace
