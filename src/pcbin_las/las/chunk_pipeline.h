// SPDX-License-Identifier: BSD-3-Clause
// Compresses chunks of point records in several threads.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/las/step_bounds.h"
#include "pcbin_las/laz/chunk_encoder.h"

namespace pontra {

/// Compresses chunks and returns them in the order in which they were added. The thread that owns
/// the pipeline compresses too: with one thread there is no other. Needs for each thread about 3
/// MiB. All member functions are for the owner's thread.
class ChunkPipeline {
 public:
  using Records = std::unique_ptr<LasPointRecord[]>;  ///< laz::kChunkPoints records

  /// A compressed chunk.
  struct Chunk {
    std::uint32_t points = 0;
    StepBounds bounds;
    std::vector<std::uint8_t> bytes;  ///< empty when there was no memory for them
  };

  /// Starts `threads` - 1 threads, or as many as the system permits; 1 to 64. Throws
  /// std::bad_alloc.
  explicit ChunkPipeline(unsigned threads);
  ~ChunkPipeline();
  ChunkPipeline(const ChunkPipeline&) = delete;
  ChunkPipeline& operator=(const ChunkPipeline&) = delete;

  /// An empty buffer. Null when none is free: pop() and work() then help. Throws std::bad_alloc.
  Records takeBuffer();

  /// Adds the chunk of the first `points` records of a buffer, at least one. Throws std::bad_alloc.
  void push(Records records, std::uint32_t points, const StepBounds& bounds);

  /// The next chunk, if it is compressed.
  std::optional<Chunk> pop();

  /// Whether all chunks added have been returned by pop().
  bool isEmpty();

  /// Compresses a chunk in this thread, or waits until another thread has compressed one.
  void work();

 private:
  /// A chunk on its way through the pipeline.
  struct Job {
    Records records;  ///< null once it is compressed
    Chunk chunk;
    bool taken = false;  ///< by the thread that compresses it
    bool done = false;
  };

  void run();
  Job* takeJob();
  void compress(Job& job, laz::ChunkEncoder& encoder, std::vector<std::uint8_t>& scratch);

  const unsigned threads_;
  laz::ChunkEncoder encoder_;          ///< of the owner's thread
  std::vector<std::uint8_t> scratch_;  ///< likewise
  unsigned buffers_ = 0;               ///< allocated ones

  std::mutex mutex_;  ///< guards the members below
  std::condition_variable added_;
  std::condition_variable done_;
  std::deque<std::unique_ptr<Job>> jobs_;  ///< in the order of the file
  std::vector<Records> free_;
  std::uint64_t compressed_ = 0;  ///< jobs done so far
  bool stopping_ = false;

  std::vector<std::thread> workers_;
};

}  // namespace pontra
