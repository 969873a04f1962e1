// SPDX-License-Identifier: BSD-3-Clause
// System calls that signals interrupt.
#pragma once

#include <cerrno>

namespace ferrun {

/// Repeats a system call while it fails with EINTR; returns its result.
template <class Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace ferrun
