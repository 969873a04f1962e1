// SPDX-License-Identifier: BSD-3-Clause
// Parts of text, and numbers from text.
#include <cfloat>
#include <climits>
#include <cmath>
#include <tuple>

#include <gmock/gmock.h>

#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"

namespace {

using ferrun::StrUtil;
using std::nullopt;
using testing::ElementsAre;

TEST(StrUtil, SplitsAtEverySeparator) {
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", false), ElementsAre("1", "2", "", "3", ""));
  EXPECT_THAT(StrUtil::splitString("1,2,,3,", ",", true), ElementsAre("1", "2", "3"));
  EXPECT_THAT(StrUtil::splitString("", ",", false), ElementsAre(""));
  EXPECT_THAT(StrUtil::splitString("", ",", true), ElementsAre());
  EXPECT_THAT(StrUtil::splitString("a::b:c", "::", false), ElementsAre("a", "b:c"));
}

TEST(Number, ReadsIntegersAsTheStandardLibraryDoes) {
  EXPECT_EQ(ferrun::toInt("12abc"), 12);
  EXPECT_EQ(ferrun::toInt(" \t-7.9"), -7);
  EXPECT_EQ(ferrun::toInt("0x10"), 0);
  EXPECT_EQ(ferrun::toInt("2147483647"), INT_MAX);
  EXPECT_EQ(ferrun::toInt("-2147483648"), INT_MIN);
  for (const char* const bad :
       {"", " ", "-", "abc", ".5", "2147483648", "-2147483649", "99999999999999999999", "- 5"})
    EXPECT_EQ(ferrun::toInt(bad), nullopt) << bad;
  EXPECT_EQ(ferrun::toUnsignedLong("18446744073709551615"), ULONG_MAX);
  EXPECT_EQ(ferrun::toUnsignedLong("-1"), ULONG_MAX) << "by the rules of std::stoul";
  EXPECT_EQ(ferrun::toUnsignedLong("18446744073709551616"), nullopt);
}

TEST(Number, ReadsRealNumbersThatAreFinite) {
  EXPECT_EQ(ferrun::toDouble(" -12.5e2,3"), -1250.0);
  EXPECT_EQ(ferrun::toDouble("1e-400"), 0.0) << "too small a number is what it rounds to";
  EXPECT_EQ(ferrun::toDouble("4.9e-324"), 4.9e-324);
  EXPECT_EQ(ferrun::toFloat("3.4028235e38"), FLT_MAX);
  EXPECT_EQ(ferrun::toFloat("1e39"), nullopt);
  for (const char* const bad : {"", "x1", "-", "nan", "-NAN(1)", "inf", "-Infinity", "1e400", "e5"})
    EXPECT_EQ(ferrun::toDouble(bad), nullopt) << bad;
}

TEST(Number, TruncatesWithinTheRangeOfTheInteger) {
  const std::tuple<float, std::uint16_t, std::int32_t, std::uint32_t> rows[] = {
      {NAN, 0, 0, 0},
      {-0.9F, 0, 0, 0},
      {-5.9F, 0, -5, 0},
      {300.5F, 300, 300, 300},
      {2147483520, 65535, 2147483520, 2147483520},
      {2147483648, 65535, INT_MAX, 2147483648},
      {4294967040, 65535, INT_MAX, 4294967040},
      {4294967296, 65535, INT_MAX, UINT_MAX},
      {INFINITY, 65535, INT_MAX, UINT_MAX},
      {-INFINITY, 0, INT_MIN, 0},
  };
  for (const auto& [value, u16, i32, u32] : rows) {
    EXPECT_EQ(ferrun::saturatingTruncate<std::uint16_t>(value), u16) << value;
    EXPECT_EQ(ferrun::saturatingTruncate<std::int32_t>(value), i32) << value;
    EXPECT_EQ(ferrun::saturatingTruncate<std::uint32_t>(value), u32) << value;
  }
}

}  // namespace
