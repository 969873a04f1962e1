// SPDX-License-Identifier: BSD-3-Clause
// The part of a LAS file writer that compresses the records.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pcbin_las/las/chunk_pipeline.h"
#include "pcbin_las/las/las_records.h"
#include "pcbin_las/las/step_bounds.h"
#include "pcbin_las/laz/chunk_table.h"
#include "pcbin_las/platform/file.h"

namespace pontra {

/// The variable-length record of a compressed file, 106 bytes.
std::string compressionRecord();

/// Writes records to a file as compressed chunks.
///
/// The file is valid at every moment, for readers that insist on a chunk table too: header and
/// table describe the chunks of the last update. During an update, the table is written behind a
/// hole for further chunks, or, at the end, directly after the chunks, but never over the table in
/// force. Then one write replaces the header, the variable-length records and the position of the
/// table. For use by one thread; prints error lines.
class CompressedRecords {
 public:
  /// Writes to `file`, a regular file open for writing, which must outlive this object; compresses
  /// with `threads` threads, 1 to 64. `front`: header and variable-length records, which the header
  /// describes. Throws std::bad_alloc.
  CompressedRecords(ferrun::File& file, const std::string& front, unsigned threads);

  /// Writes the file without points. False on failure.
  bool start();

  /// Compresses the first `count` records of a buffer and writes the chunks that are complete.
  /// Returns the next buffer to fill, of laz::kChunkPoints records; null after a failure. The first
  /// call has no buffer.
  ChunkPipeline::Records exchange(ChunkPipeline::Records records, std::uint32_t count,
                                  const StepBounds& bounds);

  /// Writes all chunks and the final table, and ends the file behind it. False when it could not.
  bool finish();

  /// The header on disk.
  const LasHeader& header() const { return header_; }

  /// Whether a write has failed, or there was no memory.
  bool failed() const { return failed_; }

  /// Records that a failure left out.
  std::uint64_t lost() const { return lost_; }

 private:
  void writeFinished();
  void write(const ChunkPipeline::Chunk& chunk);
  bool update(std::int64_t position, const std::vector<std::uint8_t>& table);
  bool updateBehindHole(std::int64_t end);
  bool writeFinalTable();
  bool isFree(std::int64_t begin, std::int64_t end) const;
  bool writeAt(std::int64_t position, const void* bytes, std::size_t size);
  void fail();

  ferrun::File& file_;
  ChunkPipeline pipeline_;
  LasHeader header_{};     ///< on disk
  std::string front_;      ///< header, variable-length records and position of the table, on disk
  std::int64_t end_;       ///< where the next chunk begins
  std::int64_t table_;     ///< position of the table in force
  std::int64_t tableEnd_;  ///< its end
  std::vector<laz::ChunkEntry> chunks_;
  std::uint32_t written_ = 0;  ///< points of chunks_
  StepBounds bounds_;          ///< likewise
  std::size_t chunksSinceUpdate_ = 0;
  std::uint64_t lost_ = 0;
  bool failed_ = false;
};

}  // namespace pontra
