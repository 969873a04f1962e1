// SPDX-License-Identifier: BSD-3-Clause
// Answers read from standard input.
#pragma once

#include <sstream>
#include <string>

namespace ferrun {

/// Reads the operator's answers, one line at a time. Use from one thread.
class ConsoleIn {
 public:
  /// Waits for a line on standard input, which replaces the previous one. Delivers all earlier log
  /// lines to the console first. Keeps the first 4 KiB of the line. At the end of standard input,
  /// and after 1 MiB without a line break, the line is empty.
  void waitIn();

  /// The first white-space-delimited value of the line, or T{} when there is none.
  template <class T>
  T as() const {
    T value{};
    std::istringstream(line_) >> value;
    return value;
  }

 private:
  std::string line_;
};

}  // namespace ferrun
