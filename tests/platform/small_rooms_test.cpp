// Paths and text.
#include <gmock/gmock.h>

#include "pcbin_las/platform/file_path.h"
#include "pcbin_las/platform/str_util.h"

namespace {

using testing::ElementsAre;

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

TEST(StrUtil, SplitsAtEverySeparator) {
  using ferrun::StrUtil;
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", false), ElementsAre("1", "2", "", "3", ""));
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", true), ElementsAre("1", "2", "3"));
  EXPECT_THAT(StrUtil::splitString("", ",", false), ElementsAre(""));
  EXPECT_THAT(StrUtil::splitString("", ",", true), ElementsAre());
  EXPECT_THAT(StrUtil::splitString("a::b:c", "::", false), ElementsAre("a", "b:c"));
}

}  // namespace
