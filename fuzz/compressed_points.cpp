// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the decoder of compressed points. The first byte is the point format and whether the rest
// is a chunk table, the next two are the number of points, the rest is a chunk. What is decoded
// without damage must survive being encoded again.
#include <algorithm>
#include <cstring>

#include "fuzz_input.h"
#include "pcbin_las/laz/chunk_decoder.h"
#include "pcbin_las/laz/chunk_encoder.h"
#include "pcbin_las/laz/chunk_table.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// What codes chunks of one point format; made once, since it is large.
struct Codec {
  explicit Codec(int format) : layout(laz::RecordLayout::ofFormat(format)) {}
  laz::RecordLayout layout;
  laz::ChunkDecoder decoder{layout};
  laz::ChunkEncoder encoder{layout};
};

Bytes decode(Codec& codec, std::span<const std::uint8_t> chunk, std::uint32_t count) {
  laz::ChunkDecoder& decoder = codec.decoder;
  const laz::RecordLayout layout = codec.layout;
  decoder.start(chunk, count);
  Bytes records(count * layout.size());
  const std::size_t done = decoder.decode(records.data(), count / 2);
  const std::size_t more = decoder.decode(records.data() + done * layout.size(), count - done);
  fuzz::require(done + more == count || decoder.damaged());
  fuzz::require(decoder.bytesRead() <= chunk.size());
  records.resize((done + more) * layout.size());
  return records;
}

void decodeTable(std::span<const std::uint8_t> bytes, bool withPoints) {
  const auto chunks = laz::decodeChunkTable(bytes, withPoints, 1000);
  if (!chunks) return;
  const Bytes again = laz::encodeChunkTable(*chunks, withPoints);
  fuzz::require(laz::decodeChunkTable(again, withPoints, 1000) == chunks);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  std::uint16_t count = 0;
  std::memcpy(&count, data + 1, sizeof(count));
  const std::span<const std::uint8_t> bytes(data + 3, size - 3);
  if ((data[0] & 4) != 0) {
    decodeTable(bytes, (data[0] & 1) != 0);
    return 0;
  }
  static Codec codecs[] = {Codec(0), Codec(1), Codec(2), Codec(3)};
  Codec& codec = codecs[data[0] & 3];
  const Bytes records = decode(codec, bytes, count % 1024);
  const std::size_t points = records.size() / codec.layout.size();
  if (points == 0) return 0;
  Bytes again;
  codec.encoder.encode(records.data(), points, again);
  fuzz::require(decode(codec, again, static_cast<std::uint32_t>(points)) == records);
  return 0;
}
