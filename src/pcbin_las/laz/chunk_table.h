// SPDX-License-Identifier: BSD-3-Clause
// The table of a compressed file's chunks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace laz {

/// A chunk as the table lists it.
struct ChunkEntry {
  std::uint32_t points =
      0;                    ///< 0 in the table of a file whose chunks have a fixed number of points
  std::uint32_t bytes = 0;  ///< compressed
  bool operator==(const ChunkEntry&) const = default;
};

/// The bytes of a table. `withPoints`: the table lists the points of each chunk too. Throws
/// std::bad_alloc.
std::vector<std::uint8_t> encodeChunkTable(std::span<const ChunkEntry> chunks, bool withPoints);

/// An upper limit of the size in bytes of a table of `chunks` chunks, also of a damaged one.
constexpr std::uint64_t longestChunkTable(std::uint64_t chunks) {
  return 16 + 32 * chunks;
}

/// The number of chunks that a table declares in its first 8 bytes. Nothing if `bytes` is shorter
/// or begins with another version of the table.
std::optional<std::uint32_t> chunksOfTable(std::span<const std::uint8_t> bytes);

/// Decodes the table at the beginning of `bytes`, which may go on after it. Nothing when it is
/// damaged or declares more than `mostChunks` chunks. Allocates only for chunks that are there, up
/// to that number. Throws std::bad_alloc.
std::optional<std::vector<ChunkEntry>> decodeChunkTable(std::span<const std::uint8_t> bytes,
                                                        bool withPoints, std::uint64_t mostChunks);

}  // namespace laz
