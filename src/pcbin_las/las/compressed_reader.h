// SPDX-License-Identifier: BSD-3-Clause
// Reads the records of compressed LAS files.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/las/ordered_jobs.h"
#include "pcbin_las/laz/laszip_record.h"
#include "pcbin_las/platform/file.h"

namespace pontra {

class ChunkLoader;
struct LoadedChunk;

/// Decompresses the records of a file, from any one on, with one or more threads. A chunk is
/// decoded and checked as a whole before its records are returned. Where the file has no usable
/// chunk table, because its end is missing, its chunks are read one after the other.
///
/// Any bytes are safe. Needs memory for each thread: the bytes of a chunk and about 3 MiB; chunks
/// of more than 100,000 points are decoded in portions by one thread. For use by one thread.
class CompressedReader {
 public:
  /// Reads `file`, which is open for reading and must outlive this object.
  explicit CompressedReader(ferrun::File& file);
  ~CompressedReader();
  CompressedReader(const CompressedReader&) = delete;
  CompressedReader& operator=(const CompressedReader&) = delete;

  /// Whether the file is compressed: bit 7 of the point format is set, and there is a LASzip
  /// record. Changes the position of the file.
  bool isCompressed(const LasHeader& header);

  /// After isCompressed() has returned true: reads the chunk table. Empty on success; otherwise
  /// what cannot be read, as the end of a sentence. Throws std::bad_alloc.
  std::string open();

  /// Decodes with `threads` threads, 1 to 64; 1 without this call. Call it before read().
  void useThreads(unsigned threads) { threads_ = threads; }

  /// The number of records, by the header and the chunk table. Fewer can be read when the file is
  /// damaged.
  std::uint64_t count() const { return count_; }

  /// Makes the record `index` the next to be read.
  void seek(std::uint64_t index) { next_ = index; }

  /// Reads the next records, `most` of them unless there are no more or the file is damaged. The
  /// span is valid until the next call. Throws std::bad_alloc.
  std::span<const LasPointRecord> read(std::size_t most);

  /// Whether read() came to a chunk that cannot be read or is damaged; it has number
  /// damagedChunk(), counted from 0.
  bool damaged() const { return damaged_; }
  std::size_t damagedChunk() const { return damagedChunk_; }

 private:
  /// A chunk in the file.
  struct Chunk {
    std::uint64_t first = 0;  ///< index of its first record
    std::uint64_t position = 0;
    std::uint64_t bytes = 0;  ///< 0 when not known
    std::uint64_t points = 0;
  };

  void findChunks();
  bool readTable(std::int64_t position);
  bool addChunk(std::uint64_t points, std::uint64_t bytes);
  bool readBytes(std::uint64_t position, void* bytes, std::size_t size);
  bool load(std::uint64_t index);
  std::size_t numberOf(std::uint64_t index) const;
  std::unique_ptr<LoadedChunk> prepare(std::size_t number);
  std::unique_ptr<LoadedChunk> decode(std::size_t number);
  std::unique_ptr<LoadedChunk> decodeAhead(std::size_t number);
  std::unique_ptr<LoadedChunk> decodeOfUnknownSize(std::size_t number);

  ferrun::File& file_;
  LasHeader header_{};
  std::vector<std::uint8_t> record_;  ///< content of the LASzip record
  laz::Compression compression_;
  std::uint64_t pointer_ = 0;  ///< position of the table's position; the chunks follow
  std::uint64_t fileSize_ = 0;
  std::uint64_t announced_ = 0;  ///< records by the header
  std::uint64_t count_ = 0;
  std::vector<Chunk> chunks_;  ///< without a table those found so far, and the next one
  bool hasTable_ = false;
  unsigned threads_ = 1;

  std::uint64_t next_ = 0;  ///< index of the next record
  std::unique_ptr<ChunkLoader> loader_;
  std::unique_ptr<LoadedChunk> current_;            ///< the chunk in memory
  std::unique_ptr<OrderedJobs<LoadedChunk>> jobs_;  ///< chunks that are decoded ahead
  std::size_t nextJob_ = 0;                         ///< number of the chunk to add to them
  std::vector<LasPointRecord> block_;
  bool damaged_ = false;
  std::size_t damagedChunk_ = 0;
};

}  // namespace pontra
