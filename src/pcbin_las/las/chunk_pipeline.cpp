// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/chunk_pipeline.h"

#include <new>
#include <utility>

#include "pcbin_las/laz/chunk_encoder.h"
#include "pcbin_las/laz/laszip_record.h"

namespace pontra {
namespace {

/// What a thread needs to compress chunks.
class Compressor {
 public:
  void operator()(ChunkPipeline::Chunk& chunk) {
    try {
      scratch_.clear();
      encoder_.encode(reinterpret_cast<const std::uint8_t*>(chunk.records.get()), chunk.points,
                      scratch_);
      chunk.bytes = scratch_;  // a copy: the scratch keeps its memory
    } catch (const std::bad_alloc&) {
      chunk.bytes.clear();
    }
  }

 private:
  static constexpr auto kLayout = laz::RecordLayout::ofFormat(kPointFormat3);
  static_assert(kLayout.size() == sizeof(LasPointRecord));

  laz::ChunkEncoder encoder_{kLayout};
  std::vector<std::uint8_t> scratch_;
};

OrderedJobs<ChunkPipeline::Chunk>::Work makeCompressor() {
  return [compressor = std::make_shared<Compressor>()](ChunkPipeline::Chunk& chunk) {
    (*compressor)(chunk);
  };
}

}  // namespace

// One buffer for each thread and one to fill meanwhile; a single thread fills its own. The number
// of chunks limits those that wait until a slow one before them is compressed.
ChunkPipeline::ChunkPipeline(unsigned threads)
    : mostBuffers_(threads > 1 ? threads + 1 : 1),
      mostChunks_(2 * std::size_t{threads}),
      jobs_(threads, makeCompressor) {
  free_.reserve(mostBuffers_);
}

void ChunkPipeline::reclaim(Chunk& chunk) {
  if (chunk.records) free_.push_back(std::move(chunk.records));
}

ChunkPipeline::Records ChunkPipeline::takeBuffer() {
  if (jobs_.size() > mostChunks_) return nullptr;
  if (free_.empty()) jobs_.forEachDone([this](Chunk& chunk) { reclaim(chunk); });
  if (!free_.empty()) {
    Records buffer = std::move(free_.back());
    free_.pop_back();
    return buffer;
  }
  if (buffers_ == mostBuffers_) return nullptr;
  Records buffer(new LasPointRecord[laz::kChunkPoints]);
  ++buffers_;
  return buffer;
}

void ChunkPipeline::push(Records records, std::uint32_t points, const StepBounds& bounds) {
  auto chunk = std::make_unique<Chunk>();
  chunk->records = std::move(records);
  chunk->points = points;
  chunk->bounds = bounds;
  jobs_.push(std::move(chunk));
}

std::unique_ptr<ChunkPipeline::Chunk> ChunkPipeline::pop() {
  std::unique_ptr<Chunk> chunk = jobs_.pop();
  if (chunk) reclaim(*chunk);
  return chunk;
}

}  // namespace pontra
