// SPDX-License-Identifier: BSD-3-Clause
// System calls of the benchmark programs, which end where one fails.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace bench {

/// Prints `what` with the text of errno and ends the program.
[[noreturn]] inline void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

/// Writes all `size` bytes to `descriptor`.
inline void writeAll(int descriptor, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::write(descriptor, bytes, size);
    if (count < 0 && errno != EINTR) fail("write");
    if (count <= 0) continue;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
}

}  // namespace bench
