// SPDX-License-Identifier: BSD-3-Clause
// The program's lines in a comparable form.
#pragma once

#include <string>
#include <vector>

namespace test {

using Lines = std::vector<std::string>;

/// The lines of `text`, with "TIME" for each line's time text from `from` to now, and "L#" for its
/// source line: "<E>TIME [main,L#] pcbin file(a) not exist!".
Lines normalizedLines(const std::string& text, const std::string& from);

/// Collects the lines that the singleton tracer delivers during the lifetime of the object; use one
/// at a time. Starts the tracer with threshold 1 if it was not started.
class CapturedLines {
 public:
  CapturedLines();

  /// The normalized lines so far.
  Lines lines() const;

 private:
  std::string start_;
};

}  // namespace test
