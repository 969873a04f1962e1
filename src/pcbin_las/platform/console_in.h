// Answers read from standard input.
#pragma once

#include <sstream>
#include <string>

namespace ferrun {

/// Reads the operator's answers, a line at a time. For use by one thread.
class ConsoleIn {
 public:
  /// Waits for a line on standard input and keeps it in place of the one before; at the end of
  /// standard input the line is empty. Every log line printed before is on the console before the
  /// wait begins.
  void waitIn();

  /// The first white-space-delimited value of the line, or T{} when there is none. The line is
  /// kept.
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
