#include "platform/number.h"

#include <cfloat>
#include <climits>
#include <cmath>

#include <gtest/gtest.h>

namespace {

using std::nullopt;

TEST(Number, ReadsIntegersAsTheStandardLibraryDoes) {
  EXPECT_EQ(ferrun::toInt("12abc"), 12);
  EXPECT_EQ(ferrun::toInt(" \t-7.9"), -7);
  EXPECT_EQ(ferrun::toInt("+08"), 8);
  EXPECT_EQ(ferrun::toInt("0x10"), 0);
  EXPECT_EQ(ferrun::toInt("2147483647"), INT_MAX);
  EXPECT_EQ(ferrun::toInt("-2147483648"), INT_MIN);
  for (const char* const bad :
       {"", " ", "-", "abc", ".5", "2147483648", "-2147483649", "99999999999999999999", "- 5"})
    EXPECT_EQ(ferrun::toInt(bad), nullopt) << bad;
  EXPECT_EQ(ferrun::toUnsignedLong("4294967296x"), 4294967296UL);
  EXPECT_EQ(ferrun::toUnsignedLong("18446744073709551615"), ULONG_MAX);
  EXPECT_EQ(ferrun::toUnsignedLong("-1"), ULONG_MAX) << "by the rules of std::stoul";
  EXPECT_EQ(ferrun::toUnsignedLong("18446744073709551616"), nullopt);
  EXPECT_EQ(ferrun::toUnsignedLong("#5"), nullopt);
}

TEST(Number, ReadsRealNumbersThatAreFinite) {
  EXPECT_EQ(ferrun::toDouble(" -12.5e2,3"), -1250.0);
  EXPECT_EQ(ferrun::toDouble(".5"), 0.5);
  EXPECT_EQ(ferrun::toDouble("1e"), 1.0);
  EXPECT_EQ(ferrun::toDouble("1e-400"), 0.0) << "too small a number is what it rounds to";
  EXPECT_EQ(ferrun::toDouble("4.9e-324"), 4.9e-324);
  EXPECT_EQ(ferrun::toDouble("1e300"), 1e300);
  EXPECT_EQ(ferrun::toFloat("0.1"), 0.1F);
  EXPECT_EQ(ferrun::toFloat("1e-50"), 0.0F);
  EXPECT_EQ(ferrun::toFloat("1e-40"), 1e-40F);
  EXPECT_EQ(ferrun::toFloat("3.4028235e38"), FLT_MAX);
  EXPECT_EQ(ferrun::toFloat("1e39"), nullopt);
  EXPECT_EQ(ferrun::toFloat("nan"), nullopt);
  for (const char* const bad : {"", "x1", "-", "nan", "-NAN(1)", "inf", "-Infinity", "1e400", "e5"})
    EXPECT_EQ(ferrun::toDouble(bad), nullopt) << bad;
}

TEST(Number, TruncatesWithinTheRangeOfTheInteger) {
  const struct {
    float value;
    std::uint8_t u8;
    std::int8_t i8;
    std::uint16_t u16;
    std::int32_t i32;
    std::uint32_t u32;
  } rows[] = {
      {NAN, 0, 0, 0, 0, 0},
      {-0.9F, 0, 0, 0, 0, 0},
      {-5.9F, 0, -5, 0, -5, 0},
      {300.5F, 255, 127, 300, 300, 300},
      {65536, 255, 127, 65535, 65536, 65536},
      {2147483520, 255, 127, 65535, 2147483520, 2147483520},
      {2147483648, 255, 127, 65535, INT_MAX, 2147483648},
      {4294967040, 255, 127, 65535, INT_MAX, 4294967040},
      {4294967296, 255, 127, 65535, INT_MAX, UINT_MAX},
      {1e12F, 255, 127, 65535, INT_MAX, UINT_MAX},
      {-1e12F, 0, -128, 0, INT_MIN, 0},
      {INFINITY, 255, 127, 65535, INT_MAX, UINT_MAX},
      {-INFINITY, 0, -128, 0, INT_MIN, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(ferrun::saturatingTruncate<std::uint8_t>(row.value), row.u8);
    EXPECT_EQ(ferrun::saturatingTruncate<std::int8_t>(row.value), row.i8);
    EXPECT_EQ(ferrun::saturatingTruncate<std::uint16_t>(row.value), row.u16);
    EXPECT_EQ(ferrun::saturatingTruncate<std::int32_t>(row.value), row.i32);
    EXPECT_EQ(ferrun::saturatingTruncate<std::uint32_t>(row.value), row.u32);
  }
}

}  // namespace
