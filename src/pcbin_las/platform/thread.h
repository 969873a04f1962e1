// SPDX-License-Identifier: BSD-3-Clause
// Pausing a thread.
#pragma once

#include <chrono>
#include <thread>

namespace ferrun {

class Thread {
 public:
  /// Blocks the calling thread for `milliseconds`.
  static void msleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

}  // namespace ferrun
