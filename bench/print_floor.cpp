// SPDX-License-Identifier: BSD-3-Clause
// The lower bound for a listing of LAS records: formats the lines of every record with snprintf and
// writes them to standard output. The time in the lines is constant.
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "system_calls.h"

namespace {

constexpr const char* kTimeText = "2024-03-05 07:08:09.123";
constexpr std::size_t kPieceRecords = 32768;
constexpr std::size_t kOutputSize = std::size_t{64} << 10;
constexpr std::size_t kLongestLines = 512;

std::size_t formatRecord(char* out, unsigned index, const pontra::LasPointRecord& record) {
  int size = std::snprintf(out, kLongestLines,
                           "<I>%s [%s] ------------------points[%u]--------------------\n",
                           kTimeText, "las_view", index);
  size += std::snprintf(out + size, kLongestLines - static_cast<std::size_t>(size),
                        "<I>%s [%s] xyz:[%d, %d, %d] rgbi[%d, %d, %d, %d] timestamp: %.6f\n",
                        kTimeText, "las_view", record.x, record.y, record.z, record.red,
                        record.green, record.blue, record.intensity, record.gpsTime);
  return static_cast<std::size_t>(size);
}

}  // namespace

int main(int argc, char** argv) {
  const int input = argc == 2 ? ::open(argv[1], O_RDONLY | O_CLOEXEC) : -1;
  if (input < 0 || ::lseek(input, sizeof(pontra::LasHeader), SEEK_SET) < 0) {
    std::fprintf(stderr, "usage: %s LAS_FILE >LINES\n", argv[0]);
    return 2;
  }
  std::vector<pontra::LasPointRecord> records(kPieceRecords);
  std::array<char, kOutputSize + kLongestLines> output;
  std::size_t used = 0;
  unsigned index = 0;
  while (true) {
    // A regular file returns short reads at its end only.
    const ssize_t count = ::read(input, records.data(), kPieceRecords * sizeof(records[0]));
    if (count <= 0) break;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count) / sizeof(records[0]); ++i) {
      used += formatRecord(output.data() + used, index++, records[i]);
      if (used < kOutputSize) continue;
      bench::writeAll(STDOUT_FILENO, output.data(), used);
      used = 0;
    }
  }
  bench::writeAll(STDOUT_FILENO, output.data(), used);
  return 0;
}
