// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/chunk_table.h"

#include <gmock/gmock.h>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Chunks = std::vector<laz::ChunkEntry>;

// The tables of files that another program wrote.
TEST(ChunkTable, HasTheBytesOfTheFormat) {
  const struct {
    Chunks chunks;
    Bytes bytes;
  } kCases[] = {
      {{}, {0, 0, 0, 0, 0, 0, 0, 0}},
      {{{0, 644888}}, {0, 0, 0, 0, 1, 0, 0, 0, 0x9F, 0xEA, 0xCD, 0xBC, 0, 0, 0}},
      {{{0, 57614}, {0, 57623}, {0, 38}},
       {0, 0, 0, 0, 3, 0, 0, 0, 0x82, 0xEF, 0x39, 0x55, 0x08, 0xB9, 0x89, 0, 0, 0}},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(laz::encodeChunkTable(c.chunks, false), c.bytes);
    EXPECT_EQ(laz::decodeChunkTable(c.bytes, false, c.chunks.size()), c.chunks);
  }
}

TEST(ChunkTable, KeepsThePointsOfEachChunk) {
  const Chunks chunks = {{50000, 800000}, {1, 38}, {4000000000, 4294967295}, {0, 0}};
  const Bytes bytes = laz::encodeChunkTable(chunks, true);
  EXPECT_LE(bytes.size(), laz::longestChunkTable(chunks.size()));
  EXPECT_EQ(laz::decodeChunkTable(bytes, true, 4), chunks);
}

TEST(ChunkTable, RefusesWhatIsDamaged) {
  const Bytes table = laz::encodeChunkTable(Chunks(40, {0, 1 << 20}), false);
  EXPECT_FALSE(laz::decodeChunkTable(table, false, 39)) << "more chunks than the file can hold";
  for (std::size_t size = 0; size < table.size(); ++size)
    EXPECT_FALSE(laz::decodeChunkTable(std::span(table).first(size), false, 40)) << size;
  Bytes other = table;
  other[0] = 1;
  EXPECT_FALSE(laz::decodeChunkTable(other, false, 40)) << "unknown version";
}

}  // namespace
