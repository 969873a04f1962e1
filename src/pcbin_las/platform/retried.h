// System calls that signals interrupt.
#pragma once

#include <cerrno>

namespace ferrun {

/// The result of a system call, which is repeated while it fails with EINTR.
template <class Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace ferrun
