// SPDX-License-Identifier: BSD-3-Clause
// The bytes of LAS headers and records.
#include "pcbin_las/las/las_records.h"

#include <cstring>
#include <ctime>

#include <gmock/gmock.h>

#include "support/bytes.h"

namespace {

using test::Bytes;

std::tm utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  return utc;
}

TEST(LasHeaderInit, FillsEveryByte) {
  const std::tm before = utcNow();
  pontra::LasHeader header;
  std::memset(&header, 0xFF, sizeof(header));
  ASSERT_TRUE(pontra::LasHeaderInit(&header, pontra::kPointFormat3));
  const std::tm after = utcNow();
  EXPECT_FALSE(pontra::LasHeaderInit(&header, pontra::PointDataFormat{2}));

  const Bytes bytes(reinterpret_cast<const char*>(&header), 227);
  const std::string software = bytes.substr(58, bytes.find('\0', 58) - 58);
  EXPECT_THAT(software, testing::ContainsRegex("^pcbin_las [0-9]+\\.[0-9]+\\.[0-9]+$"));
  const int day = test::at<std::uint16_t>(bytes, 90);
  const int year = test::at<std::uint16_t>(bytes, 92);
  EXPECT_THAT(day, testing::AnyOf(before.tm_yday + 1, after.tm_yday + 1));
  EXPECT_THAT(year, testing::AnyOf(before.tm_year + 1900, after.tm_year + 1900));

  Bytes expected(227, '\0');
  expected.replace(0, 4, "LASF");
  expected.replace(24, 2, "\x01\x02");
  expected.replace(26, 14, "TRANSFORMATION");
  expected.replace(58, software.size(), software);
  expected.replace(90, 4, bytes.substr(90, 4));
  expected.replace(94, 6, Bytes("\xE3\0\xE3\0\0\0", 6));
  expected.replace(104, 3, Bytes("\x03\x22\0", 3));
  for (const std::size_t scale : {131U, 139U, 147U})
    expected.replace(scale, 8, "\xFC\xA9\xF1\xD2\x4D\x62\x50\x3F");  // 0.001
  EXPECT_EQ(bytes, expected);
}

}  // namespace
