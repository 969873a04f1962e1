// SPDX-License-Identifier: BSD-3-Clause
// One row for each option.
#pragma once

#include <span>

#include "pcbin_las/app/command_line.h"

namespace cli {

using Values = std::vector<std::string>;   ///< the words after an option
using Fault = std::optional<std::string>;  ///< text without a full stop; nothing without a fault

/// What the values of an option are.
enum class ValueType {
  kText,
  kInteger,
  kReal,
  kEpsgCode,  ///< an integer; "EPSG:" may stand before it
  kWord,      ///< one of the words that are listed for the value
};

/// One option. The list of --options, the checks, the suggestion for an unknown option and the
/// values of a CommandLine come from this.
struct Option {
  const char* name;         ///< without dashes
  const char* values = "";  ///< one word for each value, as the manual page shows them; a value in
                            ///< brackets may be left out, and "one|two" lists the possible words
  ValueType type = ValueType::kText;  ///< of the values
  unsigned modes = kAllModes;         ///< in which the option has a meaning, as bits of Mode
  bool selectsMode = false;           ///< a value selects the mode; the first row counts
  bool strict = false;                ///< if given, the whole command line is checked strictly
  const char* needs = nullptr;  ///< the option without which it has no meaning in the modes in
                                ///< which that one has a meaning
  bool first = false;           ///< read before the line is checked
  const char* help;             ///< one line

  /// Sets members of `line` from the values of the option, which was given. False after a note on a
  /// wrong value.
  bool (*read)(const Option& option, const Values& values, CommandLine& line);

  /// The fault of the option in a line that was read; null for none.
  Fault (*check)(const CommandLine& line) = nullptr;
};

/// All options, in the order of the manual page.
std::span<const Option> allOptions();

/// The option of this name, or null.
const Option* findOption(std::string_view name);

/// The option with its dashes: "-b", "--batch".
std::string typed(const std::string& name);

/// The option that selects the mode; null for a conversion.
const Option* modeOption(const ferrun::ArgOption& words);

/// The fault of a command line before its values are read.
Fault findFault(const ferrun::ArgOption& words);

}  // namespace cli
