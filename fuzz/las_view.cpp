// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the viewer with a LAS file. The first 9 bytes are the verbose level and the range of
// records, the rest is the file.
#include "pcbin_las/app/las_view.h"

#include <cstring>

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  unsigned range[2];
  if (size < 1 + sizeof(range)) return 0;
  g_verbose = data[0] < 128 ? data[0] : data[0] - 256;
  std::memcpy(range, data + 1, sizeof(range));
  fuzz::discardLines();
  las_view(fuzz::inputFile(fuzz::text(data + 9, size - 9)), range[0], range[1]);
  return 0;
}
