// SPDX-License-Identifier: BSD-3-Clause
// Variable-length records: the one that names a coordinate system, and the check of a file's own.
#include "pcbin_las/las/variable_length_records.h"

#include <limits>

#include <gmock/gmock.h>

#include "support/bytes.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;

TEST(ProjectedSystemRecord, HoldsTheGeoTiffKeysByteForByte) {
  EXPECT_EQ(pontra::projectedSystemRecord(32632),
            Bytes("\0\0LASF_Projection\0\xAF\x87\x20\0GeoTIFF keys", 34) + Bytes(20, '\0') +
                Bytes("\x01\0\x01\0\0\0\x03\0"
                      "\0\x04\0\0\x01\0\x01\0"
                      "\0\x0C\0\0\x01\0\x78\x7F"
                      "\x04\x0C\0\0\x01\0\x29\x23",
                      32));
}

/// A record whose header announces `length` bytes, with `content` behind it.
Bytes record(std::uint16_t length, std::size_t content) {
  Bytes bytes(54, '\0');
  bytes.replace(0, 10,
                "\xBB\xAA"
                "somebody");
  test::patch(bytes, 20, length);
  return bytes + Bytes(content, 'v');
}

TEST(VariableLengthRecords, FitWhenTheyEndAtTheFirstPoint) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  struct Case {
    const char* what;
    std::uint32_t number;
    std::uint32_t offset;  ///< of the points
    Bytes between;
    bool fit;
  };
  const Case cases[] = {
      {"none", 0, 227, "", true},
      {"a count without space for records", kMost, 227, "", true},
      {"points within the header", 0, 226, "", false},
      {"one without content", 1, 281, record(0, 0), true},
      {"two", 2, 227 + 64 + 65589, record(10, 10) + record(65535, 65535), true},
      {"one more announced", 2, 227 + 64, record(10, 10), false},
      {"one fewer announced", 1, 227 + 128, record(10, 10) + record(10, 10), false},
      {"a length too large", 1, 227 + 64, record(11, 10), false},
      {"two bytes before the points", 1, 227 + 66, record(10, 10) + "\xDD\xCC", false},
      {"a file that ends in a content", 1, 227 + 54 + 200, record(200, 100), false},
      {"a file that ends in a header", 1, 227 + 54, record(0, 0).substr(0, 10), false},
      {"the largest numbers", kMost, kMost, record(10, 10), false},
  };
  const test::TempDir dir;
  for (const Case& given : cases) {
    Bytes las = test::lasHeader(2);
    test::patch(las, 96, given.offset);
    test::patch(las, 100, given.number);
    const bool whole = given.between.size() == given.offset - 227;
    las += given.between + (whole ? Bytes("points") : Bytes());
    ferrun::File file;
    ASSERT_TRUE(file.open(dir.write("map.las", las), ferrun::File::kRead));
    pontra::LasHeader header;
    ASSERT_EQ(file.readData(reinterpret_cast<char*>(&header), 227), 227);
    EXPECT_EQ(pontra::variableLengthRecordsFit(file, header), given.fit) << given.what;
    if (!given.fit) continue;
    char next[6] = {};
    EXPECT_EQ(file.readData(next, 6), 6);
    EXPECT_EQ(Bytes(next, 6), "points") << given.what;
  }
}

}  // namespace
