// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/chunk_decoder.h"

#include <algorithm>

#include "pcbin_las/laz/point_items.h"

namespace laz {

ChunkDecoder::ChunkDecoder(RecordLayout layout)
    : layout_(layout), items_(new PointItems<ArithmeticDecoder>) {}

ChunkDecoder::~ChunkDecoder() = default;

void ChunkDecoder::start(std::span<const std::uint8_t> bytes, std::uint32_t count) {
  left_ = count;
  coder_ = {};
  firstSize_ = std::min(layout_.size(), bytes.size());
  outOfBytes_ = firstSize_ < layout_.size();
  if (outOfBytes_) return;
  first_.load(bytes.data(), layout_);
  firstIsNext_ = true;
  items_->reset(first_);
  coder_ = ArithmeticDecoder(bytes.subspan(firstSize_));
}

std::size_t ChunkDecoder::decode(std::uint8_t* records, std::size_t count) {
  if (damaged()) return 0;
  const std::size_t wanted = std::min<std::size_t>(count, left_);
  const RecordLayout layout = layout_;
  const std::size_t size = layout.size();
  auto& items = *items_;
  ArithmeticDecoder coder = coder_;  // a local variable can stay in registers
  std::size_t done = 0;
  if (firstIsNext_ && wanted > 0) {
    first_.store(records, layout);
    firstIsNext_ = false;
    ++done;
  }
  Point point;
  for (; done < wanted; ++done) {
    items.code(coder, layout, point);
    if (coder.damaged()) break;
    point.store(records + done * size, layout);
  }
  left_ -= static_cast<std::uint32_t>(done);
  coder_ = coder;
  return done;
}

}  // namespace laz
