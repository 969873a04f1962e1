// SPDX-License-Identifier: BSD-3-Clause
// Decompresses point records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "pcbin_las/laz/arithmetic_decoder.h"
#include "pcbin_las/laz/record_layout.h"

namespace laz {

template <class Coder>
class PointItems;

/// Turns the bytes of a chunk into point records, in portions of any size. Any bytes are safe.
/// Needs about 1.2 MiB. For use by one thread at a time.
class ChunkDecoder {
 public:
  /// Throws std::bad_alloc.
  explicit ChunkDecoder(RecordLayout layout);
  ~ChunkDecoder();
  ChunkDecoder(const ChunkDecoder&) = delete;
  ChunkDecoder& operator=(const ChunkDecoder&) = delete;

  /// Starts with the chunk at the beginning of `bytes`, which may go on after it and must outlive
  /// the calls of decode(). The chunk holds `count` points.
  void start(std::span<const std::uint8_t> bytes, std::uint32_t count);

  /// Writes the next `count` records, or those that are left, to `records`, which has space for
  /// `count` of layout.size() bytes. Returns how many are written: less than asked for at the end
  /// of the chunk and from the first damaged point on.
  std::size_t decode(std::uint8_t* records, std::size_t count);

  /// Points of the chunk that are not decoded yet.
  std::uint32_t left() const { return left_; }

  /// Whether the bytes so far cannot be those of an encoder.
  bool damaged() const { return outOfBytes_ || coder_.damaged(); }

  /// Whether the chunk goes on after the end of `bytes`; it is also damaged() then.
  bool outOfBytes() const { return outOfBytes_ || coder_.outOfBytes(); }

  /// The bytes of the chunk that are read. At the end of a chunk this is its size; if not, the
  /// chunk is damaged.
  std::size_t bytesRead() const { return firstSize_ + coder_.position(); }

 private:
  RecordLayout layout_;
  std::unique_ptr<PointItems<ArithmeticDecoder>> items_;
  ArithmeticDecoder coder_;
  Point first_;
  std::size_t firstSize_ = 0;  ///< bytes of the first record
  bool firstIsNext_ = false;
  bool outOfBytes_ = false;  ///< the first record is missing
  std::uint32_t left_ = 0;
};

}  // namespace laz
