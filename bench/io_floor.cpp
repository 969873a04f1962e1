// SPDX-License-Identifier: BSD-3-Clause
// The lower bound for a conversion or a repair: reads a file in pieces of 4 MiB and writes, for
// every IN_SIZE bytes read, OUT_SIZE of them through one buffer of 32 MiB. Without OUTPUT it only
// reads. With --slices it works like the tool: it reads and writes 256 KiB at a time and reserves
// disk space ahead in steps of 256 MiB.
//
//   io_floor [--slices] INPUT [OUTPUT [IN_SIZE OUT_SIZE]]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "system_calls.h"

namespace {

using bench::fail;
using bench::writeAll;

constexpr std::size_t kSliceSize = std::size_t{256} << 10;
constexpr off_t kReservationStep = off_t{256} << 20;

std::size_t readPiece(int descriptor, char* piece, std::size_t size) {
  const ssize_t count = ::read(descriptor, piece, size);
  if (count < 0) fail("read");
  return static_cast<std::size_t>(count);
}

/// Reserves disk space up to `expected` bytes, step by step, when the file is to grow to
/// `position`. Ignores failures.
void reserve(int descriptor, off_t position, off_t expected) {
  static off_t reserved = 0;
  if (position <= reserved || reserved >= expected) return;
  const off_t step = std::min(kReservationStep, expected - reserved);
  const bool done = ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, reserved, step) == 0;
  reserved = done ? reserved + step : expected;
}

}  // namespace

int main(int argc, char** argv) {
  const bool slices = argc > 1 && std::strcmp(argv[1], "--slices") == 0;
  const std::size_t readSize = slices ? kSliceSize : std::size_t{4} << 20;
  const std::size_t writeSize = slices ? kSliceSize : std::size_t{32} << 20;
  if (slices) {
    --argc;
    ++argv;
  }
  if (argc != 2 && argc != 3 && argc != 5) {
    std::fprintf(stderr, "usage: %s [--slices] INPUT [OUTPUT [IN_SIZE OUT_SIZE]]\n", argv[0]);
    return 2;
  }
  const std::size_t inSize = argc == 5 ? std::strtoul(argv[3], nullptr, 10) : 40;
  const std::size_t outSize = argc == 5 ? std::strtoul(argv[4], nullptr, 10) : 34;
  if (outSize == 0 || outSize > inSize) return 2;
  const int input = ::open(argv[1], O_RDONLY | O_CLOEXEC);
  if (input < 0) fail(argv[1]);
  // The output may take up to IN_SIZE bytes from beyond the end of the piece.
  const std::unique_ptr<char[]> piece(new char[readSize + inSize]);
  if (argc == 2) {
    while (readPiece(input, piece.get(), readSize) > 0) {
    }
    return 0;
  }

  const int output = ::open(argv[2], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (output < 0) fail(argv[2]);
  const std::unique_ptr<char[]> buffer(new char[writeSize]);
  struct stat status {};
  if (::fstat(input, &status) != 0) fail("fstat");
  const off_t expected = status.st_size / static_cast<off_t>(inSize) * static_cast<off_t>(outSize);
  off_t written = 0;
  std::size_t used = 0;
  std::size_t rest = 0;  // bytes read beyond the last whole IN_SIZE
  while (const std::size_t count = readPiece(input, piece.get(), readSize)) {
    const std::size_t size = (rest + count) / inSize * outSize;
    rest = (rest + count) % inSize;
    for (std::size_t done = 0; done < size;) {
      const std::size_t part = std::min(size - done, writeSize - used);
      std::memcpy(buffer.get() + used, piece.get() + done, part);
      done += part;
      used += part;
      if (used < writeSize) continue;
      if (slices) reserve(output, written + static_cast<off_t>(used), expected);
      writeAll(output, buffer.get(), used);
      written += static_cast<off_t>(used);
      used = 0;
    }
  }
  writeAll(output, buffer.get(), used);
  if (slices && ::ftruncate(output, written + static_cast<off_t>(used)) != 0) fail("ftruncate");
  return ::close(output) == 0 ? 0 : 1;
}
