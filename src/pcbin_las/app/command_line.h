// SPDX-License-Identifier: BSD-3-Clause
// The command line as one value.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pcbin_las/app/batch_report.h"
#include "pcbin_las/export/conversion.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/process/arg_option.h"

namespace cli {

/// The modes of the program, as bits.
enum Mode : unsigned { kConvert = 1, kViewPcbin = 2, kViewLas = 4, kRepair = 8 };
constexpr unsigned kViews = kViewPcbin | kViewLas;
constexpr unsigned kAllModes = kConvert | kViews | kRepair;

/// A line for the log about the command line.
struct Note {
  int level;  ///< kLevelError, kLevelWarning or kLevelInfo
  std::string text;
};

/// What a command line asks for. Members without an option keep their defaults.
struct CommandLine {
  bool accepted = false;    ///< false: print the notes and end with a failure
  std::vector<Note> notes;  ///< to print before anything else, in order

  Mode mode = kConvert;
  bool help = false;  ///< print the usage text; nothing else was read or checked
  bool version = false;
  bool options = false;  ///< print the list of options
  int level = 1;         ///< of the tracer
  int verbose = 0;

  std::string file;  ///< to view or to repair
  int start = 0;     ///< the first point to view
  int nums = 0;      ///< how many points to view
  bool keepSourceIds = false;
  bool lossless = false;  ///< repair without a loss

  bool batch = false;  ///< convert for scripts
  Conversion conversion;
  std::optional<std::array<double, 3>> offset;  ///< x, y, z, metres
  BatchOutputs outputs;                         ///< of a run with --batch; the picture of any
};

/// Reads parsed words. An unknown option is always a fault. If an option marked strict is given,
/// each option must have exactly its number of values, no characters may follow a number, a
/// repeated option must have the same values, and each strict option must have a meaning in the
/// chosen mode and with the other options. Only the options of the chosen mode are read.
CommandLine readCommandLine(const ferrun::ArgOption& words);

/// The word that made parsing a command line fail, as text. Nothing when it should not be printed:
/// `toPerson` is false and the line has no option marked strict. "--name=value" counts as the
/// option `name`.
std::optional<std::string> explainRejection(const ferrun::ArgOption& words, int argc, char** argv,
                                            bool toPerson);

/// Prints one line for each option on standard output.
void printOptions();

/// Prints the program's name and version on standard output.
void printVersion();

}  // namespace cli

/// Prints the usage text of -h on standard output; `program` is the name it was started by.
void help(char* program);
