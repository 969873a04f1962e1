// SPDX-License-Identifier: BSD-3-Clause
#include <gmock/gmock.h>

#include "laz/generated_records.h"
#include "pcbin_las/laz/arithmetic_encoder.h"
#include "pcbin_las/laz/chunk_decoder.h"
#include "pcbin_las/laz/chunk_encoder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;

Bytes encoded(const Bytes& records, int format) {
  const auto layout = laz::RecordLayout::ofFormat(format);
  Bytes chunk;
  laz::ChunkEncoder(layout).encode(records.data(), records.size() / layout.size(), chunk);
  return chunk;
}

/// Decodes in portions; the records before the first damaged one.
Bytes decoded(laz::ChunkDecoder& decoder, const Bytes& chunk, std::uint32_t count, int format) {
  constexpr std::size_t kPortion = 1000;
  const std::size_t size = laz::RecordLayout::ofFormat(format).size();
  Bytes records(count * size + kPortion * size);
  decoder.start(chunk, count);
  std::size_t done = 0;
  while (const std::size_t more = decoder.decode(records.data() + done * size, kPortion))
    done += more;
  records.resize(done * size);
  return records;
}

/// The 64-bit FNV-1a digest.
std::uint64_t digest(const Bytes& bytes) {
  std::uint64_t value = 0xCBF29CE484222325;
  for (const std::uint8_t byte : bytes) value = (value ^ byte) * 0x100000001B3;
  return value;
}

// The chunks with these digests were decoded by another program to the same points.
TEST(Chunk, HasTheBytesOfTheFormat) {
  const struct {
    int format;
    bool regular;
    std::size_t size;
    std::uint64_t digest;
  } kCases[] = {
      {0, false, 671139, 0x90FFCFE091C0F06E}, {1, false, 766081, 0x2F6AE9D8D3F3827E},
      {2, false, 762847, 0x7979D00AA596EF95}, {3, false, 857790, 0x24FDF04B5225CE16},
      {0, true, 348, 0x31D78933FD7DA448},     {3, true, 1475, 0xD9EFAF9663FDF2D2},
  };
  constexpr std::uint32_t kCount = 50000;
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << "format " << c.format << " regular " << c.regular);
    const Bytes records = test::generatedRecords(kCount, c.format, c.regular);
    const Bytes chunk = encoded(records, c.format);
    EXPECT_EQ(chunk.size(), c.size);
    EXPECT_EQ(digest(chunk), c.digest);
    laz::ChunkDecoder decoder(laz::RecordLayout::ofFormat(c.format));
    EXPECT_TRUE(decoded(decoder, chunk, kCount, c.format) == records);
    EXPECT_EQ(decoder.bytesRead(), chunk.size());
    EXPECT_FALSE(decoder.damaged());
  }
}

TEST(Chunk, OfOneRecordIsTheRecordAndAnEmptyStream) {
  const Bytes record(20, 7);
  Bytes expected = record;
  expected.insert(expected.end(), {1, 0, 0, 0});
  EXPECT_EQ(encoded(record, 0), expected);
}

TEST(Chunk, ThatIsCutGivesTheRecordsBefore) {
  constexpr std::uint32_t kCount = 60;
  const Bytes records = test::generatedRecords(kCount, 3, false);
  const Bytes chunk = encoded(records, 3);
  laz::ChunkDecoder decoder(laz::RecordLayout::ofFormat(3));
  for (std::size_t size = 0; size < chunk.size(); ++size) {
    const Bytes back = decoded(decoder, Bytes(chunk.data(), chunk.data() + size), kCount, 3);
    EXPECT_TRUE(decoder.outOfBytes()) << size;
    ASSERT_TRUE(std::equal(back.begin(), back.end(), records.begin())) << size;
  }
}

TEST(Chunk, WhoseFirstValueNoEncoderWritesIsDamaged) {
  laz::ChunkDecoder decoder(laz::RecordLayout::ofFormat(1));
  EXPECT_EQ(decoded(decoder, Bytes(100, 0xFF), 50000, 1).size(), 0U);
  EXPECT_TRUE(decoder.damaged());
  EXPECT_FALSE(decoder.outOfBytes());
}

TEST(Chunk, WhoseTimeChangesItsSequenceTwiceIsDamaged) {
  Bytes chunk(28, 0);
  laz::ArithmeticEncoder coder(chunk);
  coder.makeSpace(1000);
  laz::SymbolModel<64, false> changed;
  changed.reset(64);
  coder.symbol(changed, 0);
  for (int axis = 0; axis < 3; ++axis) {
    laz::SymbolModel<33, false> magnitude;
    laz::BitModel bit;
    magnitude.reset(33);
    coder.symbol(magnitude, 0);
    coder.bit(bit, 0);
  }
  laz::SymbolModel<6, false> firstSteps;
  firstSteps.reset(6);
  for (int i = 0; i < 100; ++i) coder.symbol(firstSteps, 3);
  coder.finish();
  laz::ChunkDecoder decoder(laz::RecordLayout::ofFormat(1));
  EXPECT_EQ(decoded(decoder, chunk, 2, 1).size(), 28U);
  EXPECT_TRUE(decoder.damaged());
  EXPECT_FALSE(decoder.outOfBytes());
}

}  // namespace
