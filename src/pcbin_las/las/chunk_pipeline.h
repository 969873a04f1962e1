// SPDX-License-Identifier: BSD-3-Clause
// Compresses chunks of point records in several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/las/ordered_jobs.h"
#include "pcbin_las/las/step_bounds.h"

namespace pontra {

/// Compresses chunks and returns them in the order in which they were added. The thread that owns
/// the pipeline compresses too. Needs for each thread about 3 MiB. For use by one thread.
class ChunkPipeline {
 public:
  using Records = std::unique_ptr<LasPointRecord[]>;  ///< laz::kChunkPoints records

  /// A chunk on its way through the pipeline.
  struct Chunk {
    Records records;  ///< not in a chunk that pop() returns
    std::uint32_t points = 0;
    StepBounds bounds;
    std::vector<std::uint8_t> bytes;  ///< compressed; empty when there was no memory for them
  };

  /// Compresses with `threads` threads, or as many as the system permits; 1 to 64. Throws
  /// std::bad_alloc.
  explicit ChunkPipeline(unsigned threads);

  /// An empty buffer. Null when none is free: pop() and work() then help. Throws std::bad_alloc.
  Records takeBuffer();

  /// Adds the chunk of the first `points` records of a buffer, at least one. Throws std::bad_alloc.
  void push(Records records, std::uint32_t points, const StepBounds& bounds);

  /// The next chunk, if it is compressed; otherwise null.
  std::unique_ptr<Chunk> pop();

  /// Whether all chunks added have been returned by pop().
  bool isEmpty() { return jobs_.size() == 0; }

  /// Compresses a chunk in this thread, or waits until another thread has compressed one.
  void work() { jobs_.work(); }

 private:
  void reclaim(Chunk& chunk);

  const std::size_t mostBuffers_;
  const std::size_t mostChunks_;
  std::size_t buffers_ = 0;    ///< allocated ones
  std::vector<Records> free_;  ///< those that wait for points
  OrderedJobs<Chunk> jobs_;
};

}  // namespace pontra
