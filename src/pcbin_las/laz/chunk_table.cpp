// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/chunk_table.h"

#include <cstring>
#include <memory>

#include "pcbin_las/laz/arithmetic_decoder.h"
#include "pcbin_las/laz/arithmetic_encoder.h"
#include "pcbin_las/laz/integer_coder.h"

namespace laz {
namespace {

constexpr std::size_t kTableHeader = 8;  ///< bytes: version and number of chunks
constexpr std::size_t kMostEntryBytes = 32;

/// Codes the entries one after the other, each as the difference from the one before.
template <class Coder>
class EntryCoder {
 public:
  EntryCoder() : integers_(new IntegerCoder<Coder, 32, 2>) { integers_->reset(); }

  void code(Coder& coder, bool withPoints, ChunkEntry& entry) {
    if (withPoints) entry.points = integers_->code(coder, 0, last_.points, entry.points);
    entry.bytes = integers_->code(coder, 1, last_.bytes, entry.bytes);
    last_ = entry;
  }

 private:
  std::unique_ptr<IntegerCoder<Coder, 32, 2>> integers_;
  ChunkEntry last_;
};

}  // namespace

std::vector<std::uint8_t> encodeChunkTable(std::span<const ChunkEntry> chunks, bool withPoints) {
  std::vector<std::uint8_t> bytes(kTableHeader);  // version 0
  const auto count = static_cast<std::uint32_t>(chunks.size());
  std::memcpy(bytes.data() + sizeof(std::uint32_t), &count, sizeof(count));
  if (chunks.empty()) return bytes;
  ArithmeticEncoder coder(bytes);
  EntryCoder<ArithmeticEncoder> entries;
  for (ChunkEntry entry : chunks) {
    coder.makeSpace(kMostEntryBytes);
    entries.code(coder, withPoints, entry);
  }
  coder.finish();
  return bytes;
}

std::optional<std::uint32_t> chunksOfTable(std::span<const std::uint8_t> bytes) {
  std::uint32_t version = 0;
  std::uint32_t count = 0;
  if (bytes.size() < kTableHeader) return std::nullopt;
  std::memcpy(&version, bytes.data(), sizeof(version));
  std::memcpy(&count, bytes.data() + sizeof(version), sizeof(count));
  if (version != 0) return std::nullopt;
  return count;
}

std::optional<std::vector<ChunkEntry>> decodeChunkTable(std::span<const std::uint8_t> bytes,
                                                        bool withPoints, std::uint64_t mostChunks) {
  const auto count = chunksOfTable(bytes);
  if (!count || *count > mostChunks) return std::nullopt;
  std::vector<ChunkEntry> chunks;
  if (*count == 0) return chunks;
  ArithmeticDecoder coder(bytes.subspan(kTableHeader));
  EntryCoder<ArithmeticDecoder> entries;
  for (std::uint32_t i = 0; i < *count; ++i) {
    ChunkEntry entry;
    entries.code(coder, withPoints, entry);
    if (coder.damaged()) return std::nullopt;
    chunks.push_back(entry);
  }
  return chunks;
}

}  // namespace laz
