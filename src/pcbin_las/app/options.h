// SPDX-License-Identifier: BSD-3-Clause
// The options of the command line, and the checks that go beyond parsing it.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "pcbin_las/process/arg_option.h"

namespace cli {

/// The modes of the program, as bits.
enum Mode : unsigned { kConvert = 1, kViewPcbin = 2, kViewLas = 4, kRepair = 8 };
constexpr unsigned kViews = kViewPcbin | kViewLas;
constexpr unsigned kAllModes = kConvert | kViews | kRepair;

/// What the values of an option are.
enum class ValueType { kText, kInteger, kReal };

/// One option. The list of --options, the checks and the suggestion for an unknown option use this.
struct Option {
  const char* name;         ///< without dashes
  const char* values;       ///< one word for each value, as the manual page shows them; or ""
  ValueType type;           ///< of the values
  unsigned modes;           ///< in which the option has a meaning, as bits of Mode
  bool strict;              ///< if given, the whole command line is checked strictly
  const char* needs;        ///< the option without which it has no meaning in the modes in which
                            ///< that one has a meaning; or null
  const char* description;  ///< one line
};

/// All options, in the order of the manual page.
std::span<const Option> allOptions();

/// The mode selected by the options: b before r before repair, if they have a value; or else the
/// conversion.
Mode chosenMode(const ferrun::ArgOption& options);

/// The fault of a command line that could be parsed, as text without a full stop; nothing when it
/// is accepted. An unknown option is always a fault. If an option marked `strict` is given, each
/// option must have exactly its number of values, no characters may follow a number, a repeated
/// option must have the same values, and each strict option must have a meaning in the chosen mode
/// and with the other options.
std::optional<std::string> findFault(const ferrun::ArgOption& options);

/// The word that made parsing a command line fail, as text. Nothing when it should not be printed:
/// `toPerson` is false and the line has no option marked `strict`. "--name=value" counts as the
/// option `name`.
std::optional<std::string> explainRejection(const ferrun::ArgOption& options, int argc, char** argv,
                                            bool toPerson);

/// Prints one line for each option on standard output.
void printOptions();

/// Prints the program's name and version on standard output.
void printVersion();

}  // namespace cli

/// Prints the usage text of -h on standard output; `program` is the name it was started by.
void help(char* program);
