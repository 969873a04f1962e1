// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/compressed_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "pcbin_las/las/chunk_loader.h"
#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/laz/chunk_table.h"

namespace pontra {
namespace {

constexpr std::uint64_t kFirstWindow = 1U << 20;  ///< bytes read for a chunk of unknown size
constexpr std::int64_t kTableAtEnd = -1;          ///< the last 8 bytes hold the table's position

}  // namespace

CompressedReader::CompressedReader(ferrun::File& file) : file_(file) {}

CompressedReader::~CompressedReader() = default;

bool CompressedReader::isCompressed(const LasHeader& header) {
  if ((header.pointDataFormatID & laz::kCompressedBit) == 0 || !file_.isRegular()) return false;
  header_ = header;
  fileSize_ = static_cast<std::uint64_t>(std::max<std::int64_t>(file_.getSize(), 0));
  std::uint64_t position = std::max<std::uint64_t>(header.headerSize, sizeof(LasHeader));
  for (std::uint32_t i = 0; i < header.numberOfVLR; ++i) {
    VariableLengthRecordHeader record;
    if (position + sizeof(record) > header.pointDataOffset ||
        !readBytes(position, &record, sizeof(record)))
      return false;
    position += sizeof(record);
    if (record.recordId == laz::kLaszipRecordId &&
        std::memcmp(record.userId, laz::kLaszipUserId.data(), laz::kLaszipUserId.size()) == 0) {
      record_.resize(record.length);
      return readBytes(position, record_.data(), record_.size());
    }
    position += record.length;
  }
  return false;
}

std::string CompressedReader::open() {
  if (std::string reason = laz::readLaszipRecord(record_, compression_); !reason.empty())
    return reason;
  const int format = header_.pointDataFormatID & 0x3F;
  const laz::RecordLayout& layout = compression_.layout;
  if (format >= laz::RecordLayout::kFormats ||
      laz::RecordLayout::ofFormat(format).size() != layout.size() ||
      header_.pointDataRecordLength != layout.size())
    return "a LASzip record that does not fit point format " + std::to_string(format) + " of " +
           std::to_string(int{header_.pointDataRecordLength}) + " bytes";
  loader_ = std::make_unique<ChunkLoader>(layout);
  pointer_ = header_.pointDataOffset;
  announced_ = header_.numberOfPointRecords;
  findChunks();
  if (!hasTable_ && compression_.chunkPoints == laz::kVariousChunkPoints && announced_ > 0)
    return "chunks of various sizes without their table";
  return {};
}

/// Fills chunks_ from the table or, without one, with the first chunk.
void CompressedReader::findChunks() {
  std::int64_t position = 0;
  const bool hasPosition = readBytes(pointer_, &position, sizeof(position)) &&
                           (position != kTableAtEnd ||
                            readBytes(fileSize_ - sizeof(position), &position, sizeof(position)));
  hasTable_ = hasPosition && readTable(position);
  if (hasTable_) {
    const std::uint64_t held = chunks_.empty() ? 0 : chunks_.back().first + chunks_.back().points;
    count_ = std::min(announced_, held);
    return;
  }
  chunks_.clear();
  count_ = announced_;
  addChunk(std::min<std::uint64_t>(compression_.chunkPoints, announced_), 0);
}

/// Reads the chunk table at `position`; false when there is none.
bool CompressedReader::readTable(std::int64_t position) {
  const auto begin = static_cast<std::uint64_t>(position);
  std::vector<std::uint8_t> bytes(sizeof(std::uint64_t));
  // The position of the interrupted writer is that of this number.
  if (position < 0 || begin == pointer_ || !readBytes(begin, bytes.data(), bytes.size()))
    return false;
  const std::uint64_t mostChunks = fileSize_ / (compression_.layout.size() + 4);
  const auto announced = laz::chunksOfTable(bytes);
  if (!announced || *announced > mostChunks) return false;
  bytes.resize(std::min(laz::longestChunkTable(*announced), fileSize_ - begin));
  const bool various = compression_.chunkPoints == laz::kVariousChunkPoints;
  if (!readBytes(begin, bytes.data(), bytes.size())) return false;
  const auto table = laz::decodeChunkTable(bytes, various, mostChunks);
  if (!table) return false;
  std::uint64_t first = 0;
  for (const laz::ChunkEntry& entry : *table) {
    const bool isLast = &entry == &table->back();
    const std::uint64_t rest = announced_ > first ? announced_ - first : 0;
    std::uint64_t points = various ? entry.points : compression_.chunkPoints;
    // Only the header tells how many points the last chunk has.
    if (isLast && !various) points = std::min(points, rest);
    if (!addChunk(points, entry.bytes)) break;
    first += points;
  }
  return announced_ == 0 || !chunks_.empty();
}

/// Adds a chunk after the last one; false when the file ends before its end.
bool CompressedReader::addChunk(std::uint64_t points, std::uint64_t bytes) {
  Chunk chunk = {.position = pointer_ + sizeof(std::int64_t), .bytes = bytes, .points = points};
  if (!chunks_.empty()) {
    chunk.first = chunks_.back().first + chunks_.back().points;
    chunk.position = chunks_.back().position + chunks_.back().bytes;
  }
  if (chunk.position > fileSize_ || bytes > fileSize_ - chunk.position) return false;
  chunks_.push_back(chunk);
  return true;
}

/// Reads `size` bytes at `position`; false when they are not there.
bool CompressedReader::readBytes(std::uint64_t position, void* bytes, std::size_t size) {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
  if (size > fileSize_ || position > fileSize_ - size) return false;
  if (std::cmp_not_equal(file_.pos(), position)) file_.seek(static_cast<std::int64_t>(position));
  auto* next = static_cast<char*>(bytes);
  while (size > 0) {
    const auto piece = static_cast<int>(std::min(size, kMostAtOnce));
    if (file_.readData(next, piece) != piece) return false;
    next += piece;
    size -= static_cast<std::size_t>(piece);
  }
  return true;
}

std::span<const LasPointRecord> CompressedReader::read(std::size_t most) {
  const std::uint64_t left = next_ < count_ ? count_ - next_ : 0;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(most, left));
  if (block_.size() < wanted) block_.resize(wanted);
  std::size_t done = 0;
  while (done < wanted && load(next_)) {
    const std::uint64_t from = next_ - current_->first;
    const auto piece =
        static_cast<std::size_t>(std::min<std::uint64_t>(wanted - done, current_->points - from));
    loader_->copy(*current_, from, std::span(block_).subspan(done, piece));
    done += piece;
    next_ += piece;
  }
  return {block_.data(), done};
}

/// The number of the chunk with the record `index`, or the last one found.
std::size_t CompressedReader::numberOf(std::uint64_t index) const {
  const auto after = std::ranges::upper_bound(chunks_, index, {}, &Chunk::first);
  return after == chunks_.begin() ? 0 : static_cast<std::size_t>(after - chunks_.begin()) - 1;
}

/// Makes the chunk with the record `index` the current one. False when it cannot be read; damaged_
/// is then set.
bool CompressedReader::load(std::uint64_t index) {
  const auto holds = [index](const LoadedChunk& chunk) {
    return chunk.first <= index && index - chunk.first < chunk.points;
  };
  while (!chunks_.empty() && !(current_ && holds(*current_))) {
    const std::size_t number = numberOf(index);
    const bool sequential = current_ && current_->number + 1 == number;
    current_.reset();
    if (!hasTable_)
      current_ = decodeOfUnknownSize(number);
    else
      current_ = sequential && threads_ > 1 ? decodeAhead(number) : decode(number);
    if (!current_->isDamaged && (holds(*current_) || number + 1 < chunks_.size())) continue;
    current_.reset();
    damaged_ = true;
    damagedChunk_ = number;
    return false;
  }
  damaged_ = chunks_.empty();
  return !damaged_;
}

/// The chunk with its bytes.
std::unique_ptr<LoadedChunk> CompressedReader::prepare(std::size_t number) {
  const Chunk& chunk = chunks_[number];
  auto loaded = std::make_unique<LoadedChunk>();
  loaded->number = number;
  loaded->first = chunk.first;
  loaded->points = chunk.points;
  const bool isLast = number + 1 == chunks_.size();
  const bool various = compression_.chunkPoints == laz::kVariousChunkPoints;
  loaded->mostPoints = isLast && hasTable_ && !various ? compression_.chunkPoints : chunk.points;
  loaded->bytes.resize(chunk.bytes);
  // Without its bytes the chunk is damaged.
  if (!readBytes(chunk.position, loaded->bytes.data(), loaded->bytes.size())) loaded->bytes.clear();
  return loaded;
}

std::unique_ptr<LoadedChunk> CompressedReader::decode(std::size_t number) {
  auto chunk = prepare(number);
  loader_->load(*chunk);
  return chunk;
}

/// The same, while other threads decode the chunks after it.
std::unique_ptr<LoadedChunk> CompressedReader::decodeAhead(std::size_t number) {
  if (!jobs_)
    jobs_ = std::make_unique<OrderedJobs<LoadedChunk>>(threads_, [layout = compression_.layout] {
      return [loader = std::make_shared<ChunkLoader>(layout)](LoadedChunk& chunk) {
        loader->load(chunk);
      };
    });
  if (nextJob_ - jobs_->size() != number) {
    jobs_->clear();
    nextJob_ = number;
  }
  while (nextJob_ < chunks_.size() && jobs_->size() <= threads_ &&
         chunks_[nextJob_].points <= LoadedChunk::kMostKept)
    jobs_->push(prepare(nextJob_++));
  if (jobs_->size() == 0) return decode(number);
  while (true) {
    if (auto chunk = jobs_->pop()) return chunk;
    jobs_->work();
  }
}

/// Decodes the last chunk found, whose end is not known, and finds the next one.
std::unique_ptr<LoadedChunk> CompressedReader::decodeOfUnknownSize(std::size_t number) {
  const Chunk chunk = chunks_[number];
  const std::uint64_t rest = fileSize_ - chunk.position;
  std::unique_ptr<LoadedChunk> loaded = prepare(number);
  for (std::uint64_t window = kFirstWindow;; window *= 2) {
    const std::uint64_t size = chunk.bytes > 0 ? chunk.bytes : std::min(window, rest);
    loaded->sizeIsKnown = false;
    loaded->bytes.resize(size);
    if (!readBytes(chunk.position, loaded->bytes.data(), size)) loaded->bytes.clear();
    loader_->load(*loaded);
    if (!loaded->outOfBytes || size == rest || chunk.bytes > 0) break;
  }
  if (loaded->isDamaged || chunk.bytes > 0) return loaded;
  chunks_[number].bytes = loaded->bytesRead;
  loaded->bytes.resize(loaded->bytesRead);
  const std::uint64_t after = chunk.first + chunk.points;
  if (after < announced_)
    addChunk(std::min<std::uint64_t>(compression_.chunkPoints, announced_ - after), 0);
  return loaded;
}

}  // namespace pontra
