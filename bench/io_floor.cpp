// The lower bound for a conversion or a repair: reads a file in pieces of 4 MiB and writes, for
// every IN_SIZE bytes read, OUT_SIZE of them through one buffer of 32 MiB. Without OUTPUT it only
// reads.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "system_calls.h"

namespace {

using bench::fail;
using bench::writeAll;

constexpr std::size_t kReadSize = std::size_t{4} << 20;
constexpr std::size_t kWriteSize = std::size_t{32} << 20;

std::size_t readPiece(int descriptor, char* piece) {
  const ssize_t count = ::read(descriptor, piece, kReadSize);
  if (count < 0) fail("read");
  return static_cast<std::size_t>(count);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3 && argc != 5) {
    std::fprintf(stderr, "usage: %s INPUT [OUTPUT [IN_SIZE OUT_SIZE]]\n", argv[0]);
    return 2;
  }
  const std::size_t inSize = argc == 5 ? std::strtoul(argv[3], nullptr, 10) : 40;
  const std::size_t outSize = argc == 5 ? std::strtoul(argv[4], nullptr, 10) : 34;
  if (outSize == 0 || outSize > inSize) return 2;
  const int input = ::open(argv[1], O_RDONLY | O_CLOEXEC);
  if (input < 0) fail(argv[1]);
  // The output may take up to IN_SIZE bytes from beyond the end of the piece.
  const std::unique_ptr<char[]> piece(new char[kReadSize + inSize]);
  if (argc == 2) {
    while (readPiece(input, piece.get()) > 0) {
    }
    return 0;
  }

  const int output = ::open(argv[2], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (output < 0) fail(argv[2]);
  const std::unique_ptr<char[]> buffer(new char[kWriteSize]);
  std::size_t used = 0;
  std::size_t rest = 0;  // bytes read beyond the last whole IN_SIZE
  while (const std::size_t count = readPiece(input, piece.get())) {
    const std::size_t size = (rest + count) / inSize * outSize;
    rest = (rest + count) % inSize;
    for (std::size_t done = 0; done < size;) {
      const std::size_t part = std::min(size - done, kWriteSize - used);
      std::memcpy(buffer.get() + used, piece.get() + done, part);
      done += part;
      used += part;
      if (used < kWriteSize) continue;
      writeAll(output, buffer.get(), used);
      used = 0;
    }
  }
  writeAll(output, buffer.get(), used);
  return ::close(output) == 0 ? 0 : 1;
}
