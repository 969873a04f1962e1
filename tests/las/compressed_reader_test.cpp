// SPDX-License-Identifier: BSD-3-Clause
// Reads compressed files as other programs write them, whole and damaged ones.
#include <gmock/gmock.h>

#include "laz/generated_records.h"
#include "pcbin_las/las/las_reader.h"
#include "pcbin_las/laz/chunk_encoder.h"
#include "pcbin_las/laz/chunk_table.h"
#include "support/temp_dir.h"

namespace {

using pontra::LasReader;
using test::Bytes;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t kCount = 2500;
constexpr std::uint32_t kChunk = 1000;
constexpr std::size_t kPointer = 240 + 54 + 52;  // header size 240, the LASzip record

struct File {
  Bytes bytes;
  std::vector<std::size_t> chunks;  ///< where they begin, and the end of the last one
  Bytes records;                    ///< in point format 3
};

/// A file of a point format with `sizes` points in each chunk; with fixed sizes unless `various`.
File compressedFile(int format, std::vector<std::uint32_t> sizes, bool various) {
  const auto layout = laz::RecordLayout::ofFormat(format);
  const auto records = test::generatedRecords(kCount, format, false);
  File file;
  for (std::size_t i = 0; i < kCount; ++i) {
    laz::Point point;
    point.load(records.data() + i * layout.size(), layout);
    std::uint8_t record[34];
    point.store(record, laz::RecordLayout::ofFormat(3));
    file.records.append(reinterpret_cast<const char*>(record), sizeof(record));
  }
  Bytes& bytes = file.bytes;
  bytes = test::lasHeader(kCount) + Bytes(13 + 54, '\0');
  test::patch<std::uint16_t>(bytes, 94, 240);
  test::patch<std::uint32_t>(bytes, 96, kPointer);
  test::patch<std::uint32_t>(bytes, 100, 1);
  test::patch<std::uint8_t>(bytes, 104, static_cast<std::uint8_t>(128 + format));
  test::patch<std::uint16_t>(bytes, 105, static_cast<std::uint16_t>(layout.size()));
  bytes.replace(242, 14, "laszip encoded");
  test::patch<std::uint16_t>(bytes, 240 + 18, 22204);
  test::patch<std::uint16_t>(bytes, 240 + 20, 52);
  bytes += laz::laszipRecord(layout);
  bytes.resize(kPointer + 8, '\0');
  test::patch<std::uint32_t>(bytes, 294 + 12, various ? 0xFFFFFFFF : kChunk);
  std::vector<laz::ChunkEntry> entries;
  std::size_t first = 0;
  for (const std::uint32_t points : sizes) {
    std::vector<std::uint8_t> chunk;
    laz::ChunkEncoder(layout).encode(records.data() + first * layout.size(), points, chunk);
    file.chunks.push_back(bytes.size());
    entries.push_back({points, static_cast<std::uint32_t>(chunk.size())});
    bytes.append(chunk.begin(), chunk.end());
    first += points;
  }
  file.chunks.push_back(bytes.size());
  test::patch<std::int64_t>(bytes, kPointer, static_cast<std::int64_t>(bytes.size()));
  const auto table = laz::encodeChunkTable(entries, various);
  bytes.append(table.begin(), table.end());
  return file;
}

File usualFile() {
  return compressedFile(3, {1000, 1000, 500}, false);
}

/// Opens the bytes as a file and reads from the record `from` on in portions.
class Reading {
 public:
  explicit Reading(const Bytes& bytes, std::size_t from = 0, unsigned threads = 1) {
    const test::TempDir dir;
    LasReader reader;
    EXPECT_FALSE(reader.open(dir.write("map.laz", bytes)));
    EXPECT_TRUE(reader.isCompressed());
    reason = reader.findCompressedPoints(threads);
    held = reader.recordsHeld();
    if (!reason.empty() || !reader.seek(from)) return;
    do {
      const auto portion = reader.read(700);
      records.append(reinterpret_cast<const char*>(portion.data()), portion.size_bytes());
    } while (reader.end() == LasReader::End::kNone);
    damaged = reader.end() == LasReader::End::kDamaged;
  }

  std::string reason;
  std::uint64_t held = 0;
  Bytes records;
  bool damaged = false;
};

TEST(CompressedReader, ReadsFilesOfOtherPrograms) {
  for (int format = 0; format < 4; ++format) {
    for (const bool various : {false, true}) {
      const std::vector<std::uint32_t> sizes = various
                                                   ? std::vector<std::uint32_t>{1, 999, 1500}
                                                   : std::vector<std::uint32_t>{1000, 1000, 500};
      const File file = compressedFile(format, sizes, various);
      for (const std::size_t from : {0, 999, 1000, 2499}) {
        for (const unsigned threads : {1U, 3U}) {
          SCOPED_TRACE(testing::Message() << format << various << ' ' << from << ' ' << threads);
          const Reading reading(file.bytes, from, threads);
          EXPECT_THAT(reading.reason, IsEmpty());
          EXPECT_EQ(reading.held, kCount);
          EXPECT_TRUE(reading.records == file.records.substr(34 * from));
          EXPECT_FALSE(reading.damaged);
        }
      }
    }
  }
}

TEST(CompressedReader, FindsTheChunksWithoutATableAtItsUsualPlace) {
  const File file = usualFile();
  const std::size_t table = file.chunks.back();
  Bytes atEnd = file.bytes;
  test::patch<std::int64_t>(atEnd, kPointer, -1);
  test::append<std::int64_t>(atEnd, static_cast<std::int64_t>(table));
  Bytes interrupted = file.bytes;
  test::patch<std::int64_t>(interrupted, kPointer, kPointer);
  Bytes damaged = file.bytes;
  test::patch<std::uint32_t>(damaged, table + 4, 0x7FFFFFFF);
  for (const Bytes& bytes : {atEnd, interrupted, damaged, file.bytes.substr(0, table)}) {
    EXPECT_TRUE(Reading(bytes).records == file.records);
    EXPECT_TRUE(Reading(bytes, 2100, 3).records == file.records.substr(std::size_t{34} * 2100));
  }
  const Reading cut(file.bytes.substr(0, table - 1));
  EXPECT_TRUE(cut.records == file.records.substr(0, std::size_t{34} * 2000));
  EXPECT_TRUE(cut.damaged);
}

TEST(CompressedReader, StopsAtTheHeadersCount) {
  File file = usualFile();
  for (const std::uint32_t count : {2499U, 2000U, 1U}) {
    test::patch<std::uint32_t>(file.bytes, 107, count);
    EXPECT_TRUE(Reading(file.bytes).records == file.records.substr(0, std::size_t{34} * count))
        << count;
  }
}

TEST(CompressedReader, ReturnsTheChunksBeforeADamagedOne) {
  const File file = usualFile();
  for (std::size_t chunk = 0; chunk < 3; ++chunk) {
    for (const unsigned threads : {1U, 3U}) {
      Bytes bytes = file.bytes;
      for (std::size_t i = 100; i < 140; ++i) bytes[file.chunks[chunk] + i] ^= '\x55';
      const Reading reading(bytes, 0, threads);
      EXPECT_TRUE(reading.damaged);
      EXPECT_TRUE(reading.records == file.records.substr(0, std::size_t{34} * kChunk * chunk))
          << chunk;
    }
  }
}

TEST(CompressedReader, TakesBothBitAndRecordAsTheSignOfCompression) {
  const File file = usualFile();
  const std::pair<std::size_t, std::uint8_t> changes[] = {
      {104, 3}, {100, 0}, {242, 'L'}, {94, 255}};
  for (const auto& [offset, value] : changes) {
    Bytes bytes = file.bytes;
    test::patch(bytes, offset, value);
    const test::TempDir dir;
    LasReader reader;
    ASSERT_FALSE(reader.open(dir.write("map.laz", bytes)));
    EXPECT_FALSE(reader.isCompressed()) << offset;
  }
}

TEST(CompressedReader, NamesWhatItCannotRead) {
  const struct {
    std::size_t offset;
    std::uint8_t value;
    const char* reason;
  } kCases[] = {
      {104, 134, "does not fit point format 6 of 34 bytes"},
      {104, 130, "does not fit point format 2 of 34 bytes"},
      {105, 35, "does not fit point format 3 of 35 bytes"},
      {294, 3, "layered compression"},
  };
  const File file = usualFile();
  for (const auto& c : kCases) {
    Bytes bytes = file.bytes;
    test::patch(bytes, c.offset, c.value);
    EXPECT_THAT(Reading(bytes).reason, HasSubstr(c.reason));
  }
  const File various = compressedFile(3, {1, 999, 1500}, true);
  EXPECT_THAT(Reading(various.bytes.substr(0, various.chunks[2])).reason,
              HasSubstr("without their table"));
}

}  // namespace
