// Paths, text and time.
#include <ctime>

#include <gmock/gmock.h>

#include "platform/date_time.h"
#include "platform/file_path.h"
#include "platform/str_util.h"

namespace {

using ferrun::StrUtil;
using testing::ElementsAre;

TEST(FilePath, SplitsAtTheLastSlash) {
  const struct {
    const char *path, *directory, *base;
  } rows[] = {
      {"/data/run.1/map.las", "/data/run.1", "map.las"},
      {"map", ".", "map"},
      {"./map.las", ".", "map.las"},
      {"a/b/", "a", "b"},
      {"a//b//", "a", "b"},
      {"/map.las", "", "map.las"},
      {"//map.las", "", "map.las"},
      {"../..", "..", ".."},
      {"/", ".", ""},
      {"", ".", ""},
  };
  for (const auto& row : rows) {
    const ferrun::FilePath path(row.path);
    EXPECT_EQ(path.dirName(), row.directory) << row.path;
    EXPECT_EQ(path.baseName(), row.base) << row.path;
  }
}

TEST(StrUtil, SplitsAtEverySeparator) {
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", false), ElementsAre("1", "2", "", "3", ""));
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", true), ElementsAre("1", "2", "3"));
  EXPECT_THAT(StrUtil::splitString(",", ",", false), ElementsAre("", ""));
  EXPECT_THAT(StrUtil::splitString("", ",", false), ElementsAre(""));
  EXPECT_THAT(StrUtil::splitString("", ",", true), ElementsAre());
  EXPECT_THAT(StrUtil::splitString("a::b:c", "::", false), ElementsAre("a", "b:c"));
}

TEST(StrUtil, FormatsTextOfAnyLengthAndBytesInHexadecimal) {
  EXPECT_EQ(StrUtil::format("%s%%%d", std::string(5000, 'x').c_str(), -1),
            std::string(5000, 'x') + "%-1");
  EXPECT_EQ(StrUtil::hexView("\xFF\x01\x44\0", 4), "FF 01 44 00");
  EXPECT_EQ(StrUtil::hexView("x", 0), "");
}

TEST(DateTime, WritesTheTimeTextOfLogLines) {
  ferrun::DateTime time;
  time.year = 2026, time.month = 11, time.day = 2;
  time.hour = 19, time.minute = 4, time.second = 3, time.millisecond = 23;
  EXPECT_EQ(time.toString(), "2026-11-02 19:04:03.023");
}

TEST(DateTime, IsNowInTheLocalTimeZone) {
  const auto clock = [] {
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[20] = "";
    std::strftime(text, sizeof(text), "%F %T", std::localtime(&now));
    return std::string(text);
  };
  const std::string before = clock();
  const std::string now = ferrun::DateTime::getDateTime().toString().substr(0, 19);
  EXPECT_LE(before, now);
  EXPECT_LE(now, clock());
  EXPECT_NEAR(ferrun::Time::fromEpoch().toSec(), static_cast<double>(std::time(nullptr)), 2);
}

TEST(Rate, LetsTheFirstEventThroughAndThenOneAPeriod) {
  ferrun::Rate slow(0.01F);
  EXPECT_TRUE(slow.wakeup(0));
  for (int i = 0; i < 1000; ++i) EXPECT_FALSE(slow.wakeup(0));

  ferrun::Rate fast(50);
  EXPECT_TRUE(fast.wakeup(0));
  ferrun::Thread::msleep(25);
  EXPECT_TRUE(fast.wakeup(0));
}

}  // namespace
