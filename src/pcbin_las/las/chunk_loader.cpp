// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/chunk_loader.h"

#include <algorithm>
#include <new>

namespace pontra {
namespace {

constexpr std::size_t kPortion = 4096;  ///< records
constexpr auto kFormat3 = laz::RecordLayout::ofFormat(kPointFormat3);
static_assert(kFormat3.size() == sizeof(LasPointRecord));

}  // namespace

void ChunkLoader::load(LoadedChunk& chunk) {
  started_ = nullptr;
  try {
    // The decoder counts in 32 bits: a chunk of more points is none.
    decoder_.start(chunk.bytes, static_cast<std::uint32_t>(chunk.mostPoints));
    if (chunk.points <= LoadedChunk::kMostKept) {
      chunk.records.resize(chunk.points);
      chunk.isDamaged = !decode(chunk.records);
    } else {
      chunk.isDamaged = !pass(chunk.points);
    }
    if (!chunk.isDamaged && chunk.sizeIsKnown) chunk.isDamaged = !endsWhereTheChunkEnds(chunk);
    chunk.bytesRead = decoder_.bytesRead();
    chunk.outOfBytes = decoder_.outOfBytes();
  } catch (const std::bad_alloc&) {
    chunk.isDamaged = true;
  }
}

/// Whether the decoder has read exactly the bytes of the chunk, after its points or, in the last
/// chunk of a file whose header announces too few, after others that follow.
bool ChunkLoader::endsWhereTheChunkEnds(const LoadedChunk& chunk) {
  while (decoder_.bytesRead() < chunk.bytes.size() && decoder_.left() > 0 && pass(1)) {
  }
  return decoder_.bytesRead() == chunk.bytes.size() && !decoder_.damaged();
}

void ChunkLoader::copy(const LoadedChunk& chunk, std::uint64_t from,
                       std::span<LasPointRecord> records) {
  if (chunk.points <= LoadedChunk::kMostKept) {
    std::copy_n(chunk.records.begin() + static_cast<std::ptrdiff_t>(from), records.size(),
                records.begin());
    return;
  }
  if (started_ != &chunk || position_ > from) {
    decoder_.start(chunk.bytes, static_cast<std::uint32_t>(chunk.points));
    started_ = &chunk;
    position_ = 0;
  }
  pass(from - position_);
  decode(records);
  position_ = from + records.size();
}

/// Decodes the next records; false when the chunk is damaged.
bool ChunkLoader::decode(std::span<LasPointRecord> records) {
  if (layout_.size() == kFormat3.size())
    return decoder_.decode(reinterpret_cast<std::uint8_t*>(records.data()), records.size()) ==
           records.size();
  const std::size_t size = layout_.size();
  raw_.resize(kPortion * size);
  for (std::size_t done = 0; done < records.size();) {
    const std::size_t count = std::min(kPortion, records.size() - done);
    if (decoder_.decode(raw_.data(), count) != count) return false;
    for (std::size_t i = 0; i < count; ++i) {
      laz::Point point;
      point.load(raw_.data() + i * size, layout_);
      point.store(reinterpret_cast<std::uint8_t*>(&records[done + i]), kFormat3);
    }
    done += count;
  }
  return true;
}

/// Decodes and drops records; false when the chunk is damaged.
bool ChunkLoader::pass(std::uint64_t count) {
  passed_.resize(kPortion);
  while (count > 0) {
    const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(kPortion, count));
    if (!decode(std::span(passed_).first(piece))) return false;
    count -= piece;
  }
  return true;
}

}  // namespace pontra
