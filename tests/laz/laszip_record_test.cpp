// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/laszip_record.h"

#include <gmock/gmock.h>

namespace {

using testing::IsEmpty;
using testing::StrEq;
using namespace std::string_literals;

const std::string kFormat3 =
    "\2\0\0\0\3\5\0\0\0\0\0\0\x50\xC3\0\0"
    "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
    "\3\0\6\0\x14\0\2\0\7\0\x08\0\2\0\x08\0\6\0\2\0"s;

std::string read(const std::string& content, laz::Compression& compression) {
  return laz::readLaszipRecord(
      {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, compression);
}

TEST(LaszipRecord, HasTheBytesOfTheFormat) {
  EXPECT_EQ(laz::laszipRecord(laz::RecordLayout::ofFormat(3)), kFormat3);
  for (int format = 0; format < 4; ++format) {
    const auto layout = laz::RecordLayout::ofFormat(format);
    laz::Compression compression;
    EXPECT_THAT(read(laz::laszipRecord(layout), compression), IsEmpty());
    EXPECT_EQ(compression.layout.size(), layout.size());
    EXPECT_EQ(compression.chunkPoints, 50000U);
  }
}

TEST(LaszipRecord, NamesWhatCannotBeDecoded) {
  const struct {
    std::size_t offset;
    char value;
    const char* reason;
  } kCases[] = {
      {0, 3, "layered compression of point formats 6 to 10"},
      {0, 1, "compression without chunks"},
      {2, 1, "compressor 2 with coder 1"},
      {32, 4, "a LASzip record that is too short"},
      {32, 0, "points without coordinates"},
      {34, 10, "items of type 10"},
      {38, 1, "items of version 1"},
      {40, 0, "extra bytes in each point"},
      {46, 9, "waveforms"},
  };
  for (const auto& c : kCases) {
    std::string content = kFormat3;
    content[c.offset] = c.value;
    laz::Compression compression;
    EXPECT_THAT(read(content, compression), StrEq(c.reason));
  }
  laz::Compression compression;
  EXPECT_THAT(read(kFormat3.substr(0, 33), compression),
              StrEq("a LASzip record that is too short"));
}

}  // namespace
