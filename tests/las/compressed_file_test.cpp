// SPDX-License-Identifier: BSD-3-Clause
// Compressed files: complete ones, and those of a writer that failed.
#include <gmock/gmock.h>

#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/laz/chunk_decoder.h"
#include "pcbin_las/laz/chunk_table.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using pontra::LasWriter;
using test::at;
using test::Bytes;

pontra::LasHeader emptyHeader() {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  return header;
}

/// Adds regular points and closes the writer; false when a write has failed.
bool fillAndClose(LasWriter& writer, std::uint32_t count) {
  writer.writePoints(count, [](std::size_t k) {
    const auto value = static_cast<double>(k);
    return pontra::LasPoint{value / 100, -value / 50, 1, 7, 7, 7, 9, value};
  });
  return writer.close();
}

/// The records of a compressed file with chunks of 50,000 points, by its table and its header; the
/// test fails where these do not agree.
Bytes recordsOf(const Bytes& file) {
  const std::size_t data = at<std::uint32_t>(file, 96);
  const auto table = static_cast<std::size_t>(at<std::int64_t>(file, data));
  const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(file.data()),
                                            file.size());
  const auto chunks = laz::decodeChunkTable(bytes.subspan(table), false, 100);
  auto left = at<std::uint32_t>(file, 107);
  Bytes records(34ULL * left, '\0');
  auto* next = reinterpret_cast<std::uint8_t*>(records.data());
  std::size_t begin = data + 8;
  laz::ChunkDecoder decoder(laz::RecordLayout::ofFormat(3));
  if (!chunks) ADD_FAILURE() << "no table";
  for (const laz::ChunkEntry& chunk : chunks.value_or(std::vector<laz::ChunkEntry>())) {
    const std::uint32_t count = std::min(left, 50000U);
    decoder.start(bytes.subspan(begin, chunk.bytes), count);
    EXPECT_EQ(decoder.decode(next, count), count);
    EXPECT_EQ(decoder.bytesRead(), chunk.bytes);
    next += 34ULL * count;
    left -= count;
    begin += chunk.bytes;
  }
  EXPECT_EQ(left, 0U) << "points that are in no chunk";
  return records;
}

TEST(CompressedFile, HasTheRecordsOfAnUncompressedOneWithAnyNumberOfThreads) {
  const test::TempDir dir;
  const std::vector<std::string> others = {Bytes(54, '\0')};
  for (const std::uint32_t count : {0U, 1U, 49999U, 50000U, 50001U, 400000U}) {
    LasWriter plain;
    ASSERT_TRUE(plain.open(emptyHeader(), dir.path("map.las"), 33554432, others));
    ASSERT_TRUE(fillAndClose(plain, count));
    const Bytes las = test::readFile(dir.path("map.las"));
    Bytes first;
    for (const unsigned threads : {1U, 2U, 5U}) {
      SCOPED_TRACE(testing::Message() << count << " points, " << threads << " threads");
      LasWriter writer;
      ASSERT_TRUE(writer.openCompressed(emptyHeader(), dir.path("map.laz"), threads, others));
      ASSERT_TRUE(fillAndClose(writer, count));
      const Bytes laz = test::readFile(dir.path("map.laz"));
      EXPECT_TRUE(recordsOf(laz) == las.substr(227 + 54));
      if (threads == 1) first = laz;
      EXPECT_TRUE(laz == first);
    }
    Bytes header = las.substr(0, 227);
    test::patch<std::uint8_t>(header, 104, 131);
    test::patch<std::uint32_t>(header, 96, 227 + 54 + 106);
    test::patch<std::uint32_t>(header, 100, 2);
    EXPECT_EQ(first.substr(0, 227), header);
    EXPECT_EQ(first.substr(281, 22), Bytes("\0\0laszip encoded\0\0\xBC\x56\x34\0", 22));
    EXPECT_TRUE(count > 0 || first.substr(387) == Bytes("\x8B\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16));
  }
}

// The writes of 22 chunks: header and records; 20 chunks; a table behind a hole, the header; 2
// chunks; the table after them, the header.
TEST(CompressedFile, IsValidWhicheverWriteFails) {
  constexpr std::uint32_t kCount = 1100000;
  constexpr std::uint32_t kMillion = 1000000;
  const struct {
    unsigned write;
    bool forGood;
    std::uint32_t points;
  } kCases[] = {
      {2, true, 0},          {20, true, 0},        {22, true, 0},        {23, true, 0},
      {24, true, kMillion},  {26, true, kMillion}, {27, true, kMillion}, {2, false, 0},
      {12, false, 500000},   {22, false, kCount},  {25, false, 1050000}, {26, false, kMillion},
      {27, false, kMillion},
  };
  const test::TempDir dir;
  const test::CapturedLines captured;
  const std::string path = dir.path("map.laz");
  Bytes all;
  {
    LasWriter writer;
    ASSERT_TRUE(writer.openCompressed(emptyHeader(), path, 2));
    ASSERT_TRUE(fillAndClose(writer, kCount));
    all = recordsOf(test::readFile(path));
  }
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << "write " << c.write << (c.forGood ? " and all later" : ""));
    const test::FaultInjection fault({{test::Call::kWrite, c.write, c.forGood}});
    LasWriter writer;
    ASSERT_TRUE(writer.openCompressed(emptyHeader(), path, 2));
    EXPECT_EQ(fillAndClose(writer, kCount), c.points == kCount);
    EXPECT_EQ(writer.header().numberOfPointRecords, c.points);
    EXPECT_TRUE(recordsOf(test::readFile(path)) == all.substr(0, 34ULL * c.points));
  }
}

TEST(CompressedFile, NeedsMemory) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  for (unsigned number = 1; number <= 5; ++number) {
    SCOPED_TRACE(number);
    {
      const test::FaultInjection fault({{test::Call::kAllocate, number, true, 100000}});
      LasWriter writer;
      const bool opened = writer.openCompressed(emptyHeader(), dir.path("map.laz"), 1);
      EXPECT_FALSE(opened && fillAndClose(writer, 120000));
      EXPECT_TRUE(test::FaultInjection::happened());
    }
    if (number < 3) continue;
    // Which allocation is the fifth depends on the build: none or the first chunk is in the file.
    EXPECT_EQ(recordsOf(test::readFile(dir.path("map.laz"))).size() % (34UL * 50000), 0U);
  }
}

}  // namespace
