// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcb_format.h"

#include <cstring>

namespace modeling_app {
namespace {

constexpr char kMagic[] = {'P', 'C', 'B', 'I', 'N'};

}  // namespace

PcbHeader emptyPcbHeader() {
  PcbHeader header{};
  header.marker = 0xFF;
  header.version = 1;
  header.headerSize = sizeof(PcbHeader);
  std::memcpy(header.magic, kMagic, sizeof(kMagic));
  header.fixedBytes[0] = 1;
  header.fixedBytes[1] = 1;
  return header;
}

bool isPcbHeader(const PcbHeader& header) {
  return header.marker == 0xFF && header.version == 1 && header.headerSize == sizeof(PcbHeader) &&
         std::memcmp(header.magic, kMagic, sizeof(kMagic)) == 0;
}

}  // namespace modeling_app
