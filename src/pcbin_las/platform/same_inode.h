// SPDX-License-Identifier: BSD-3-Clause
// Comparing files by what the system reports of them.
#pragma once

#include <sys/stat.h>

namespace ferrun {

/// Whether both results of stat(2) are of one file.
inline bool sameInode(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace ferrun
