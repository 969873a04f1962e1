// SPDX-License-Identifier: BSD-3-Clause
// Runs the program as a process.
#pragma once

#include <string>
#include <vector>

#include "support/log_lines.h"

namespace test {

struct ToolRun {
  int status = -1;     ///< exit status, or 128 + the signal that ended it
  std::string output;  ///< everything on standard output
  Lines lines;         ///< the same as normalized lines
};

/// Runs the program with `arguments` in `directory`, with `input` typed on standard input, and
/// waits for its end.
ToolRun runTool(const std::vector<std::string>& arguments, const std::string& directory,
                const std::string& input = "");

/// The words that start the program: its path, after an emulator where one is needed.
std::vector<std::string> toolCommand();

}  // namespace test
