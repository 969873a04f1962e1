// SPDX-License-Identifier: BSD-3-Clause
// Decodes and checks one chunk of a compressed file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/laz/chunk_decoder.h"

namespace pontra {

/// A chunk to decode, and then its records.
struct LoadedChunk {
  /// The most points of a chunk whose records are kept.
  static constexpr std::uint64_t kMostKept = 100000;

  std::size_t number = 0;   ///< in the file, from 0
  std::uint64_t first = 0;  ///< index of its first record in the file
  std::uint64_t points = 0;
  std::uint64_t mostPoints = 0;     ///< that the chunk can hold, if the header announces too few
  bool sizeIsKnown = true;          ///< `bytes` is the chunk, and not what follows it too
  std::vector<std::uint8_t> bytes;  ///< compressed

  // Set by ChunkLoader::load().
  std::vector<LasPointRecord> records;  ///< all of them, or empty for more than kMostKept
  std::size_t bytesRead = 0;            ///< of the chunk
  bool isDamaged = false;
  bool outOfBytes = false;  ///< damaged, but not if more bytes follow
};

/// Decodes chunks into records of point format 3, where fields that the file lacks are 0.
class ChunkLoader {
 public:
  /// Throws std::bad_alloc.
  explicit ChunkLoader(laz::RecordLayout layout) : layout_(layout), decoder_(layout) {}

  /// Decodes and checks the whole chunk. Without memory for its records it counts as damaged.
  void load(LoadedChunk& chunk);

  /// Copies records of a loaded chunk, from its record `from` on. Chunks of more than kMostKept
  /// points are decoded again for this, from their beginning unless the call continues the last
  /// one. Throws std::bad_alloc.
  void copy(const LoadedChunk& chunk, std::uint64_t from, std::span<LasPointRecord> records);

 private:
  bool decode(std::span<LasPointRecord> records);
  bool pass(std::uint64_t count);
  bool endsWhereTheChunkEnds(const LoadedChunk& chunk);

  laz::RecordLayout layout_;
  laz::ChunkDecoder decoder_;
  std::vector<std::uint8_t> raw_;         ///< records of the file's format
  std::vector<LasPointRecord> passed_;    ///< records that are not wanted
  const LoadedChunk* started_ = nullptr;  ///< the chunk that copy() decodes
  std::uint64_t position_ = 0;            ///< its next record
};

}  // namespace pontra
