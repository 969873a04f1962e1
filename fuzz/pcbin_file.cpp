// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes one of the frame readers or the viewer with a pcbin file. The first byte selects which,
// the next 8 bytes are the viewer's range, the rest is the file.
#include <cstring>

#include "fuzz_input.h"
#include "pcbin_las/app/pcbin_view.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

/// Reads to the end, also after damage; returns the size of the records of all points read.
template <class Read>
std::size_t readAll(const std::string& path, std::size_t recordSize, Read read) {
  modeling_app::PcbReader reader;
  std::size_t size = 0;
  if (!reader.open(path, 4U << 20)) return 0;
  for (auto frames = read(reader); !frames.empty(); frames = read(reader))
    for (const auto& frame : frames) size += frame->cloud->points.size() * recordSize;
  return size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  unsigned range[2];
  if (size < 1 + sizeof(range)) return 0;
  std::memcpy(range, data + 1, sizeof(range));
  const std::string file = fuzz::text(data + 9, size - 9);
  fuzz::discardLines();
  const std::string path = fuzz::inputFile(file);
  using modeling_app::PcbReader;
  if (data[0] % 3 == 0)
    fuzz::require(readAll(path, 40, [](PcbReader& r) { return r.readPclRGB(10); }) <= file.size());
  else if (data[0] % 3 == 1)
    fuzz::require(readAll(path, 24, [](PcbReader& r) { return r.readPcl(1); }) <= file.size());
  else
    pcbin_view(path, range[0], range[1]);
  return 0;
}
