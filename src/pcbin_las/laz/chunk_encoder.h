// SPDX-License-Identifier: BSD-3-Clause
// Compresses point records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "pcbin_las/laz/record_layout.h"

namespace laz {

template <class Coder>
class PointItems;
class ArithmeticEncoder;

/// Turns point records into chunks, which do not depend on one another. Needs about 1.2 MiB. For
/// use by one thread at a time.
class ChunkEncoder {
 public:
  /// Throws std::bad_alloc.
  explicit ChunkEncoder(RecordLayout layout);
  ~ChunkEncoder();
  ChunkEncoder(const ChunkEncoder&) = delete;
  ChunkEncoder& operator=(const ChunkEncoder&) = delete;

  /// Appends to `bytes` the chunk of `count` records, at least one, each of layout.size() bytes.
  /// Throws std::bad_alloc.
  void encode(const std::uint8_t* records, std::size_t count, std::vector<std::uint8_t>& bytes);

 private:
  RecordLayout layout_;
  std::unique_ptr<PointItems<ArithmeticEncoder>> items_;
};

}  // namespace laz
