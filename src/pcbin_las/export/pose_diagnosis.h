// SPDX-License-Identifier: BSD-3-Clause
// Explains why a pose file gives no pose.
#pragma once

#include <string>

/// The likely reason, for a message, why no line of a pose file can be used. `firstLine` is the
/// first line of the file. `line` is the first line that should contain a pose, or the title line;
/// empty when the file has neither. `damage` tells what is wrong with that line.
std::string whyNoPose(const std::string& firstLine, const std::string& line,
                      const std::string& damage);
