// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/command_line.h"

#include <algorithm>
#include <cstdio>

#include "pcbin_las/app/full_version.h"
#include "pcbin_las/app/option_table.h"
#include "pcbin_las/app/option_values.h"
#include "pcbin_las/platform/trace_macros.h"

namespace cli {
namespace {

/// Reads the given options for which `isWanted` holds, in the order of the table. False after a
/// note on a wrong value.
template <class IsWanted>
bool readOptions(const ferrun::ArgOption& words, CommandLine& line, IsWanted isWanted) {
  return std::ranges::all_of(allOptions(), [&](const Option& option) {
    return words.hasOption(option.name) < 0 || !isWanted(option) ||
           option.read(option, words[option.name], line);
  });
}

Fault failedCheck(const ferrun::ArgOption& words, const CommandLine& line) {
  for (const Option& option : allOptions()) {
    if (words.hasOption(option.name) < 0 || option.check == nullptr) continue;
    if (auto fault = option.check(line)) return fault;
  }
  return std::nullopt;
}

/// Reads the options of all modes, then those of the chosen one, and checks them.
bool readRest(const ferrun::ArgOption& words, CommandLine& line) {
  const auto isGeneral = [](const Option& option) {
    return !option.first && option.modes == kAllModes;
  };
  const auto isOfMode = [&line](const Option& option) {
    return !option.first && option.modes != kAllModes && (option.modes & line.mode) != 0;
  };
  if (!readOptions(words, line, isGeneral) || !readOptions(words, line, isOfMode)) return false;
  const auto fault = failedCheck(words, line);
  return !fault || addNote(line, ferrun::kLevelError, *fault);
}

}  // namespace

CommandLine readCommandLine(const ferrun::ArgOption& words) {
  CommandLine line;
  const Option* const selected = modeOption(words);
  if (selected != nullptr) line.mode = static_cast<Mode>(selected->modes);
  bool valid = true;
  for (const Option& option : allOptions()) {
    if (option.first && words.hasOption(option.name) >= 0)
      valid = option.read(option, words[option.name], line) && valid;
  }
  if (!valid) return line;
  if (const auto fault = findFault(words)) {
    addNote(line, ferrun::kLevelError, *fault);
  } else if (line.help || line.version || line.options) {
    line.accepted = true;
  } else {
    line.accepted = readRest(words, line);
  }
  return line;
}

void printVersion() {
  std::printf("pcbin_las %s\n", fullVersion());
}

}  // namespace cli

void help(char* program) {
  std::printf(
      "\033[33m\033[1m%s --repair <map.las>\n"
      "%s [-b <pgo.pcbin>] [-v <verbose>] [-s <start>] [-n <nums>]\n"
      "%s [-r <map.las>] [-v <verbose>] [-s <start>] [-n <nums>]\n"
      "%s [-i <pgo.pcbin>] [-o <map.las>] [-f <pgo.csv>] [--offset <x> <y> <z>] [-h]\033[0m\n",
      program, program, program, program);
}
