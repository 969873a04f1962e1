// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/console_in.h"

#include <cstddef>
#include <iostream>

#include "pcbin_las/platform/tracer.h"

namespace ferrun {

void ConsoleIn::waitIn() {
  constexpr std::size_t kLongestAnswer = 4096;
  constexpr std::size_t kLongestLine = std::size_t{1} << 20;
  Singleton<Tracer>::getInstance()->flush();
  line_.clear();
  std::size_t length = 0;
  for (char c = 0; std::cin.get(c) && c != '\n';) {
    if (line_.size() < kLongestAnswer) line_ += c;
    if (++length < kLongestLine) continue;
    line_.clear();
    return;
  }
}

}  // namespace ferrun
