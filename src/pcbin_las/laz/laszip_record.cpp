// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/laz/laszip_record.h"

#include <array>
#include <cstring>

namespace laz {
namespace {

/// One item of a record (little-endian).
struct [[gnu::packed]] Item {
  std::uint16_t type;     ///< offset 0
  std::uint16_t size;     ///< offset 2: bytes
  std::uint16_t version;  ///< offset 4
  bool operator==(const Item&) const = default;
};
static_assert(sizeof(Item) == 6 && offsetof(Item, version) == 4);

constexpr Item kPosition = {6, 20, 2};
constexpr Item kTime = {7, 8, 2};
constexpr Item kColour = {8, 6, 2};

constexpr std::uint16_t kNotChunked = 1;
constexpr std::uint16_t kChunked = 2;
constexpr std::uint16_t kLayered = 3;

/// The content up to the items (little-endian).
struct [[gnu::packed]] Content {
  std::uint16_t compressor = kChunked;       ///< offset 0
  std::uint16_t coder = 0;                   ///< offset 2: arithmetic
  std::uint8_t versionMajor = 3;             ///< offset 4: of the compressor; readers ignore it
  std::uint8_t versionMinor = 5;             ///< offset 5
  std::uint16_t revision = 0;                ///< offset 6
  std::uint32_t options = 0;                 ///< offset 8
  std::uint32_t chunkPoints = kChunkPoints;  ///< offset 12
  std::int64_t specialRecords = -1;          ///< offset 16: their number; -1 for none
  std::int64_t specialRecordsOffset = -1;    ///< offset 24
  std::uint16_t items = 0;                   ///< offset 32: their number
};
static_assert(sizeof(Content) == 34 && offsetof(Content, items) == 32);

void append(std::string& content, const void* bytes, std::size_t size) {
  content.append(static_cast<const char*>(bytes), size);
}

/// What an item that is not supported holds.
std::string describe(const Item& item) {
  const unsigned type = item.type;
  if (type == 0) return "extra bytes in each point";
  if (type == 9 || type == 13) return "waveforms";
  if (type >= 6 && type <= 8) return "items of version " + std::to_string(unsigned{item.version});
  return "items of type " + std::to_string(type);
}

}  // namespace

std::string laszipRecord(RecordLayout layout) {
  Content head;
  head.items =
      static_cast<std::uint16_t>(1 + (layout.hasTime ? 1 : 0) + (layout.hasColour ? 1 : 0));
  std::string content;
  append(content, &head, sizeof(head));
  append(content, &kPosition, sizeof(Item));
  if (layout.hasTime) append(content, &kTime, sizeof(Item));
  if (layout.hasColour) append(content, &kColour, sizeof(Item));
  return content;
}

std::string readLaszipRecord(std::span<const std::uint8_t> content, Compression& compression) {
  Content head;
  if (content.size() < sizeof(head)) return "a LASzip record that is too short";
  std::memcpy(&head, content.data(), sizeof(head));
  content = content.subspan(sizeof(head));
  if (head.compressor == kLayered) return "layered compression of point formats 6 to 10";
  if (head.compressor == kNotChunked) return "compression without chunks";
  if (head.compressor != kChunked || head.coder != 0)
    return "compressor " + std::to_string(unsigned{head.compressor}) + " with coder " +
           std::to_string(unsigned{head.coder});
  if (head.chunkPoints == 0) return "chunks of 0 points";
  if (content.size() < head.items * sizeof(Item)) return "a LASzip record that is too short";

  bool hasPosition = false;
  RecordLayout layout = {.hasTime = false, .hasColour = false};
  for (unsigned i = 0; i < head.items; ++i) {
    Item item{};
    std::memcpy(&item, content.data() + i * sizeof(item), sizeof(item));
    // The items come in this order.
    if (item == kPosition && i == 0)
      hasPosition = true;
    else if (item == kTime && i == 1)
      layout.hasTime = true;
    else if (item == kColour && i > 0 && !layout.hasColour)
      layout.hasColour = true;
    else
      return describe(item);
  }
  if (!hasPosition) return "points without coordinates";
  compression = {.layout = layout, .chunkPoints = head.chunkPoints};
  return {};
}

}  // namespace laz
