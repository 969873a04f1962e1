// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/compressed_records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/laz/laszip_record.h"
#include "pcbin_las/platform/trace_macros.h"

namespace pontra {
namespace {

constexpr std::size_t kUpdateEvery = 20;                ///< chunks; one million points
constexpr std::int64_t kHole = std::int64_t{16} << 20;  ///< bytes; more than 20 usual chunks
constexpr std::int64_t kEmptyTable = 8;                 ///< bytes

}  // namespace

std::string compressionRecord() {
  constexpr char kDescription[] = "compressed points";
  const std::string content = laz::laszipRecord(laz::RecordLayout::ofFormat(kPointFormat3));
  VariableLengthRecordHeader header{};
  static_assert(laz::kLaszipUserId.size() < sizeof(header.userId));
  static_assert(sizeof(kDescription) <= sizeof(header.description));
  std::memcpy(header.userId, laz::kLaszipUserId.data(), laz::kLaszipUserId.size());
  header.recordId = laz::kLaszipRecordId;
  header.length = static_cast<std::uint16_t>(content.size());
  std::memcpy(header.description, kDescription, sizeof(kDescription));
  return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + content;
}

CompressedRecords::CompressedRecords(ferrun::File& file, const std::string& front, unsigned threads)
    : file_(file),
      pipeline_(threads),
      front_(front + std::string(sizeof(table_), '\0')),
      end_(static_cast<std::int64_t>(front_.size())),
      table_(offsetof(LasHeader, projectID)),
      tableEnd_(table_ + kEmptyTable) {
  std::memcpy(&header_, front_.data(), sizeof(header_));
  header_.pointDataFormatID |= laz::kCompressedBit;
  // The first table is the empty one that the start of the unused GUID forms, so that chunks can
  // follow the header at once.
  static_assert(sizeof(header_.projectID) >= kEmptyTable);
  std::memset(header_.projectID, 0, sizeof(header_.projectID));
}

bool CompressedRecords::start() {
  describeRecords(header_, 0, {});
  std::memcpy(front_.data(), &header_, sizeof(header_));
  std::memcpy(front_.data() + front_.size() - sizeof(table_), &table_, sizeof(table_));
  failed_ = !writeAt(0, front_.data(), front_.size());
  return !failed_;
}

ChunkPipeline::Records CompressedRecords::exchange(ChunkPipeline::Records records,
                                                   std::uint32_t count, const StepBounds& bounds) {
  try {
    if (count > 0) pipeline_.push(std::move(records), count, bounds);
    while (true) {
      writeFinished();
      if (failed_) return nullptr;
      if (auto buffer = pipeline_.takeBuffer()) return buffer;
      pipeline_.work();
    }
  } catch (const std::bad_alloc&) {
    lost_ += count;
    TRACE_MEMBER_ERROR("CompressedRecords", "exchange", "no memory to compress points!");
    fail();
  }
  return nullptr;
}

bool CompressedRecords::finish() {
  try {
    for (writeFinished(); !pipeline_.isEmpty(); writeFinished()) pipeline_.work();
    if (!failed_ && !writeFinalTable()) failed_ = true;
  } catch (const std::bad_alloc&) {
    TRACE_MEMBER_ERROR("CompressedRecords", "finish", "no memory to compress points!");
    failed_ = true;
  }
  return !failed_;
}

/// Writes the chunks that are compressed.
void CompressedRecords::writeFinished() {
  while (const auto chunk = pipeline_.pop()) write(*chunk);
}

/// Appends a chunk. After a failure chunks are only counted.
void CompressedRecords::write(const ChunkPipeline::Chunk& chunk) {
  if (chunk.bytes.empty() && !failed_)
    TRACE_MEMBER_ERROR("CompressedRecords", "write", "no memory to compress points!");
  const std::int64_t end = end_ + static_cast<std::int64_t>(chunk.bytes.size());
  if (failed_ || chunk.bytes.empty() || (!isFree(end_, end) && !updateBehindHole(end)) ||
      !writeAt(end_, chunk.bytes.data(), chunk.bytes.size())) {
    lost_ += chunk.points;
    if (!failed_) fail();
    return;
  }
  chunks_.push_back({.bytes = static_cast<std::uint32_t>(chunk.bytes.size())});
  end_ = end;
  written_ += chunk.points;
  bounds_.widen(chunk.bounds);
  // If an update fails, the file stays as the last one left it.
  if (++chunksSinceUpdate_ == kUpdateEvery) updateBehindHole(end_);
}

/// Makes `table`, the one of all chunks, the table in force at `position`, where space must be
/// free. False when it cannot be written; the one before then stays in force.
bool CompressedRecords::update(std::int64_t position, const std::vector<std::uint8_t>& table) {
  chunksSinceUpdate_ = 0;
  if (!writeAt(position, table.data(), table.size())) return false;
  LasHeader header = header_;
  describeRecords(header, written_, bounds_);
  std::memcpy(front_.data(), &header, sizeof(header));
  std::memcpy(front_.data() + front_.size() - sizeof(position), &position, sizeof(position));
  if (!writeAt(0, front_.data(), front_.size())) return false;
  header_ = header;
  table_ = position;
  tableEnd_ = position + static_cast<std::int64_t>(table.size());
  return true;
}

/// Leaves a hole after `end`, where more chunks have space until the next update.
bool CompressedRecords::updateBehindHole(std::int64_t end) {
  const auto table = laz::encodeChunkTable(chunks_, false);
  const std::int64_t position = end + kHole;
  const auto size = static_cast<std::int64_t>(table.size());
  return update(isFree(position, position + size) ? position : tableEnd_, table);
}

/// Writes the table directly after the chunks, where the file ends.
bool CompressedRecords::writeFinalTable() {
  const auto table = laz::encodeChunkTable(chunks_, false);
  const std::int64_t end = end_ + static_cast<std::int64_t>(table.size());
  if (!isFree(end_, end) && !updateBehindHole(end)) return false;
  return update(end_, table) && file_.truncate(end);
}

/// Whether the table in force has no byte between `begin` and `end`.
bool CompressedRecords::isFree(std::int64_t begin, std::int64_t end) const {
  return end <= table_ || begin >= tableEnd_;
}

bool CompressedRecords::writeAt(std::int64_t position, const void* bytes, std::size_t size) {
  file_.seek(position);
  const auto count = static_cast<int>(size);
  return file_.writeData(static_cast<const char*>(bytes), count) == count;
}

/// After a failure: adds the chunks since the last update if their table fits where the chunk that
/// failed was begun, and frees the space behind the table in force.
void CompressedRecords::fail() {
  failed_ = true;
  try {
    writeFinalTable();
  } catch (const std::bad_alloc&) {
    // The last update stays.
  }
  file_.truncate(std::max(static_cast<std::int64_t>(front_.size()), tableEnd_));
}

}  // namespace pontra
