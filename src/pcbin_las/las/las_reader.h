// SPDX-License-Identifier: BSD-3-Clause
// Reads LAS files.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "pcbin_las/las/compressed_reader.h"
#include "pcbin_las/las/las_records.h"
#include "pcbin_las/platform/file.h"

namespace pontra {

/// A LAS file open for reading: its header, then its records in blocks, from any record on.
///
/// A regular file is sought; in any other (a pipe) the bytes before a record are read and dropped,
/// and earlier records cannot be read again. Records are returned as the 34 bytes of point format
/// 3, whatever the header says about them. Prints only the error lines of ferrun::File. For use by
/// one thread at a time.
class LasReader {
 public:
  /// Why open() failed.
  enum class OpenError { kNoFile, kNoHeader };

  /// Why read() returned fewer records than it was asked for.
  enum class End {
    kNone,           ///< it did not
    kEndOfFile,      ///< the file ends after the last record returned
    kPartialRecord,  ///< the file ends within the next record
    kReadError,      ///< the read of the next record failed
    kDamaged,        ///< the next record is in a chunk of compressed points that is damaged
  };

  /// Opens the file at `path` and reads its header. The result is empty on success; kNoFile when
  /// the file cannot be opened, with errno set, or kNoHeader when it has fewer than 227 bytes or
  /// they cannot be read. Once per reader.
  std::optional<OpenError> open(const std::string& path);

  /// The first 227 bytes of the file. Nothing in them was checked.
  const LasHeader& header() const { return header_; }

  /// The size of the file in bytes; 0 for a pipe.
  std::int64_t fileSize() const { return file_.getSize(); }

  /// Whether the file is a regular file.
  bool isRegular() const { return file_.isRegular(); }

  /// Reads the bytes from `position` on, which lies behind the header and before the points. Call
  /// it before the other functions below. From a pipe, at most 64 MiB behind the header can be
  /// read; they are kept for those functions. False when they cannot be read.
  bool readBeforePoints(std::int64_t position, std::span<char> bytes);

  /// Makes the record at the header's pointDataOffset the first one. Without this call, and when it
  /// returns false, that is the one at byte 227. False when pointDataOffset is not within byte 227
  /// and the end of the file. A pipe is read up to the points.
  bool findPoints();

  /// Passes the bytes between byte 227 and pointDataOffset to `take`, in pieces of at most 1 MiB;
  /// the record after them is then the first one. Takes the place of findPoints(). False when a
  /// read fails, the file ends before the points, there is no memory for a piece, or `take` returns
  /// false.
  bool readBytesBeforePoints(const std::function<bool(std::span<const char>)>& take);

  /// Whether the points are compressed: bit 7 of the point format is set, and there is a LASzip
  /// record. Call it before the functions below; false for a pipe.
  bool isCompressed();

  /// Takes the place of findPoints() when isCompressed() has returned true, for formats 0 to 3:
  /// recordsHeld(), seek() and read() then serve their records, and fields that the format lacks
  /// are 0. read() decodes with `threads` threads, 1 to 64. The result is empty on success;
  /// otherwise what the file has that cannot be read, as the end of a sentence. May throw
  /// std::bad_alloc.
  std::string findCompressedPoints(unsigned threads = 1);

  /// The number of whole records between the beginning of the points and the end of a regular file;
  /// 0 for any other file.
  std::uint64_t recordsHeld() const;

  /// Makes the record `index` the next to be read, 0 for the first one. False when the file ends
  /// before it.
  bool seek(std::uint64_t index);

  /// Reads the next records, `most` of them unless the file ends before or a read fails. The span
  /// is valid until the next call. Needs memory for `most` records. May throw std::bad_alloc.
  std::span<const LasPointRecord> read(std::size_t most);

  /// How the last read() ended.
  End end() const { return end_; }

  /// A large block: 272 KiB, which the file reads without copying them.
  static constexpr std::size_t kBlockRecords = std::size_t{1} << 13;

 private:
  std::span<const LasPointRecord> readCompressed(std::size_t most);
  bool skip(std::uint64_t bytes);
  int readNext(char* destination, int count);

  ferrun::File file_;
  LasHeader header_{};
  std::vector<char> ahead_;     ///< of a pipe: bytes from 227 on that were read ahead
  std::size_t aheadTaken_ = 0;  ///< those that were read again
  std::int64_t dataStart_ = sizeof(LasHeader);  ///< offset of the first record
  std::uint64_t next_ = 0;                      ///< index of the next record
  End end_ = End::kNone;
  std::unique_ptr<CompressedReader> compressed_;  ///< null for points that are not compressed
  bool decompresses_ = false;                     ///< records come from compressed_
  std::vector<LasPointRecord> block_;
};

}  // namespace pontra
