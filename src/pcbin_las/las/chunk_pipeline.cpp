// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/chunk_pipeline.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <system_error>

#include "pcbin_las/laz/laszip_record.h"

namespace pontra {
namespace {

constexpr auto kLayout = laz::RecordLayout::ofFormat(kPointFormat3);
static_assert(kLayout.size() == sizeof(LasPointRecord));

}  // namespace

ChunkPipeline::ChunkPipeline(unsigned threads) : threads_(threads), encoder_(kLayout) {
  // One buffer for each thread and one to fill meanwhile; one thread fills its own.
  free_.reserve(threads_ + 1);
  workers_.reserve(threads_ - 1);
  // Signals stay with the other threads of the process.
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &former);
  try {
    while (workers_.size() + 1 < threads_) workers_.emplace_back([this] { run(); });
  } catch (const std::system_error&) {
    // The threads that could be started do the work.
  }
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

ChunkPipeline::~ChunkPipeline() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  added_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

ChunkPipeline::Records ChunkPipeline::takeBuffer() {
  const std::lock_guard lock(mutex_);
  // Limits the chunks that wait until a slow one before them is compressed.
  if (jobs_.size() > std::size_t{2} * threads_) return nullptr;
  if (!free_.empty()) {
    Records buffer = std::move(free_.back());
    free_.pop_back();
    return buffer;
  }
  if (buffers_ >= (workers_.empty() ? 1 : threads_ + 1)) return nullptr;
  Records buffer(new LasPointRecord[laz::kChunkPoints]);
  ++buffers_;
  return buffer;
}

void ChunkPipeline::push(Records records, std::uint32_t points, const StepBounds& bounds) {
  auto job = std::make_unique<Job>();
  job->records = std::move(records);
  job->chunk.points = points;
  job->chunk.bounds = bounds;
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  added_.notify_one();
}

std::optional<ChunkPipeline::Chunk> ChunkPipeline::pop() {
  const std::lock_guard lock(mutex_);
  if (jobs_.empty() || !jobs_.front()->done) return std::nullopt;
  std::optional<Chunk> chunk = std::move(jobs_.front()->chunk);
  jobs_.pop_front();
  return chunk;
}

bool ChunkPipeline::isEmpty() {
  const std::lock_guard lock(mutex_);
  return jobs_.empty();
}

void ChunkPipeline::work() {
  std::unique_lock lock(mutex_);
  if (Job* const job = takeJob()) {
    lock.unlock();
    compress(*job, encoder_, scratch_);
    return;
  }
  done_.wait(lock, [this, before = compressed_] {
    return compressed_ != before || jobs_.empty() || jobs_.front()->done;
  });
}

void ChunkPipeline::run() {
  // Without memory for an encoder the other threads do the work.
  try {
    laz::ChunkEncoder encoder(kLayout);
    std::vector<std::uint8_t> scratch;
    std::unique_lock lock(mutex_);
    while (true) {
      Job* job = nullptr;
      added_.wait(lock, [&] { return stopping_ || (job = takeJob()) != nullptr; });
      if (job == nullptr) return;
      lock.unlock();
      compress(*job, encoder, scratch);
      lock.lock();
    }
  } catch (const std::bad_alloc&) {
  }
}

/// The first chunk that no thread compresses yet, or null. The mutex must be locked.
ChunkPipeline::Job* ChunkPipeline::takeJob() {
  const auto job = std::ranges::find_if(jobs_, [](const auto& j) { return !j->taken; });
  if (job == jobs_.end()) return nullptr;
  (*job)->taken = true;
  return job->get();
}

void ChunkPipeline::compress(Job& job, laz::ChunkEncoder& encoder,
                             std::vector<std::uint8_t>& scratch) {
  try {
    scratch.clear();
    encoder.encode(reinterpret_cast<const std::uint8_t*>(job.records.get()), job.chunk.points,
                   scratch);
    job.chunk.bytes = scratch;  // a copy: the scratch keeps its memory
  } catch (const std::bad_alloc&) {
    job.chunk.bytes.clear();
  }
  {
    const std::lock_guard lock(mutex_);
    job.done = true;
    ++compressed_;
    free_.push_back(std::move(job.records));
  }
  done_.notify_one();
}

}  // namespace pontra
