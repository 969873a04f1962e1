// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/chunk_encoder.h"

#include "pcbin_las/laz/arithmetic_encoder.h"
#include "pcbin_las/laz/point_items.h"

namespace laz {

ChunkEncoder::ChunkEncoder(RecordLayout layout)
    : layout_(layout), items_(new PointItems<ArithmeticEncoder>) {}

ChunkEncoder::~ChunkEncoder() = default;

void ChunkEncoder::encode(const std::uint8_t* records, std::size_t count,
                          std::vector<std::uint8_t>& bytes) {
  const RecordLayout layout = layout_;
  const std::size_t size = layout.size();
  auto& items = *items_;
  bytes.insert(bytes.end(), records, records + size);
  Point point;
  point.load(records, layout);
  items.reset(point);
  ArithmeticEncoder coder(bytes);
  for (std::size_t i = 1; i < count; ++i) {
    coder.makeSpace(kMostPointBytes);
    point.load(records + i * size, layout);
    items.code(coder, layout, point);
  }
  coder.finish();
}

}  // namespace laz
