// SPDX-License-Identifier: BSD-3-Clause
// The table of options, and how their values fill a CommandLine.
#include "pcbin_las/app/command_line.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "pcbin_las/app/full_version.h"
#include "pcbin_las/app/option_table.h"
#include "pcbin_las/las/epsg.h"
#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace cli {
namespace {

using ferrun::StrUtil;

/// Adds a note; true unless it is an error.
bool note(CommandLine& line, int level, const std::string& text) {
  line.notes.push_back({level, text});
  return level != ferrun::kLevelError;
}

bool badNumber(const Option& option, const std::string& text, CommandLine& line) {
  return note(
      line, ferrun::kLevelError,
      StrUtil::format("option %s: bad number(%s)", typed(option.name).c_str(), text.c_str()));
}

bool readValue(const Option&, const Values& values, std::string& text, CommandLine&) {
  if (!values.empty()) text = values[0];
  return true;
}

bool readValue(const Option&, const Values&, bool& flag, CommandLine&) {
  flag = true;
  return true;
}

bool readValue(const Option& option, const Values& values, int& number, CommandLine& line) {
  if (values.empty()) return true;
  const auto value = ferrun::toInt(values[0]);
  if (!value) return badNumber(option, values[0], line);
  number = *value;
  return true;
}

/// Reads an option into the member at the end of `Path`.
template <auto... Path>
bool into(const Option& option, const Values& values, CommandLine& line) {
  return readValue(option, values, (line.*....*Path), line);
}

bool readOffset(const Option& option, const Values& values, CommandLine& line) {
  std::array<double, 3> offset = {};
  if (values.size() < offset.size())
    return note(line, ferrun::kLevelWarning,
                StrUtil::format("option --offset ignored: it has %zu of 3 values", values.size()));
  for (std::size_t axis = 0; axis < offset.size(); ++axis) {
    const std::string& text = values[axis];
    std::size_t end = 0;
    const auto value = ferrun::toDouble(text, &end);
    if (!value) return badNumber(option, text, line);
    offset[axis] = *value;
    if (end < text.size())
      note(line, ferrun::kLevelWarning,
           StrUtil::format("option --offset: %s is read as %.15g", text.c_str(), *value));
  }
  line.offset = offset;
  return true;
}

bool readOutput(const Option&, const Values& values, CommandLine& line) {
  if (!values.empty()) line.conversion.lasPath = values[0];
  line.conversion.compress = isLazName(line.conversion.lasPath);
  return true;
}

bool readThreads(const Option& option, const Values& values, CommandLine& line) {
  int threads = 0;
  if (!readValue(option, values, threads, line)) return false;
  if (threads < 1 || threads > static_cast<int>(kMostThreads))
    return note(line, ferrun::kLevelError,
                StrUtil::format("option --threads: %d is not a number from 1 to %u", threads,
                                kMostThreads));
  line.conversion.threads = static_cast<unsigned>(threads);
  line.outputs.picture.threads = line.conversion.threads;
  return true;
}

/// Threads serve compressed points: of the output, or of a file to draw.
Fault hasUseForThreads(const CommandLine& line) {
  if (line.mode == kViewLas && line.outputs.picturePath.empty())
    return "option --threads needs option --picture";
  if (line.mode == kConvert && !line.conversion.compress)
    return "option --threads needs an output whose name ends in .laz";
  return std::nullopt;
}

bool readEpsg(const Option& option, const Values& values, CommandLine& line) {
  int code = 0;
  if (!readValue(option, {withoutEpsg(values[0])}, code, line)) return false;
  const pontra::EpsgCheck check = pontra::checkEpsg(code);
  if (!check.accepted) return note(line, ferrun::kLevelError, check.text);
  note(line, ferrun::kLevelInfo, check.text);
  if (!check.warning.empty()) note(line, ferrun::kLevelWarning, check.warning);
  line.conversion.epsg = static_cast<std::uint16_t>(code);
  return true;
}

bool readClock(const Option&, const Values& values, CommandLine& line) {
  const std::string word = values.empty() ? "unix" : values[0];
  line.conversion.points.clock = word == "unix"  ? pontra::Clock::kUnix
                                 : word == "gps" ? pontra::Clock::kGps
                                                 : pontra::Clock::kAdjustedGps;
  return true;
}

/// Reads the numbers of an option whose values were counted.
bool readNumbers(const Option& option, const Values& values, std::span<double> numbers,
                 CommandLine& line) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto value = ferrun::toDouble(values[i]);
    if (!value) return badNumber(option, values[i], line);
    numbers[i] = *value;
  }
  return true;
}

bool readZoom(const Option& option, const Values& values, CommandLine& line) {
  std::array<double, 3> numbers = {};
  if (!readNumbers(option, values, numbers, line)) return false;
  line.outputs.picture.zoom = picture::Area{numbers[0], numbers[1], numbers[2]};
  return true;
}

bool readSlice(const Option& option, const Values& values, CommandLine& line) {
  std::array<double, 2> numbers = {};
  if (!readNumbers(option, values, numbers, line)) return false;
  line.outputs.picture.slice = {numbers[0], numbers[1]};
  return true;
}

/// Sets the meaning that the option has in the mode.
bool readSourceId(const Option&, const Values&, CommandLine& line) {
  line.conversion.points.sourceId = line.mode == kConvert;
  line.keepSourceIds = line.mode == kRepair;
  return true;
}

Fault checkPicture(const CommandLine& line) {
  if (!picture::isSupported())
    return "--picture is not available: this program was built without libpng";
  std::string name = line.outputs.picturePath;
  std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
  for (const char* const ending : {".jpg", ".jpeg", ".tif", ".tiff", ".gif", ".bmp", ".webp"}) {
    if (name.ends_with(ending))
      return StrUtil::format("option --picture writes PNG files, give the file(%s) the ending .png",
                             ferrun::escapeControls(line.outputs.picturePath).c_str());
  }
  return std::nullopt;
}

Fault checkSlice(const CommandLine& line) {
  const auto [low, high] = line.outputs.picture.slice;
  if (low < high && std::isfinite(low) && std::isfinite(high)) return std::nullopt;
  return StrUtil::format("option --slice: low(%.15g) must be below high(%.15g)", low, high);
}

Fault checkPictureSize(const CommandLine& line) {
  const int size = line.outputs.picture.size;
  if (size >= picture::kSmallestSize && size <= picture::kLargestSize) return std::nullopt;
  return StrUtil::format("option --picture-size: %d is not from %d to %d", size,
                         picture::kSmallestSize, picture::kLargestSize);
}

Fault checkCompare(const CommandLine& line) {
  if (!line.conversion.pgoPath.empty()) return std::nullopt;
  return "option --compare needs option -f";
}

Fault keepsAllAnyway(const CommandLine& line) {
  if (!line.keepSourceIds) return std::nullopt;
  return "option --source-id cannot be used with --lossless, which keeps all fields";
}

using enum ValueType;
using Line = CommandLine;

constexpr std::array kOptions = {
    Option{.name = "i",
           .values = "pgo.pcbin",
           .modes = kConvert,
           .help = "convert: the pcbin file to read (default pgo.pcbin)",
           .read = into<&Line::conversion, &Conversion::pcbinPath>},
    Option{.name = "o",
           .values = "map.las",
           .modes = kConvert,
           .help = "convert: the LAS file to write (default map.las)",
           .read = readOutput},
    Option{.name = "f",
           .values = "pgo.csv",
           .modes = kConvert,
           .help = "convert: the pose file",
           .read = into<&Line::conversion, &Conversion::pgoPath>},
    Option{.name = "offset",
           .values = "x y z",
           .type = kReal,
           .modes = kConvert,
           .help = "convert: the offset for the LAS header, in place of the pose file's",
           .read = readOffset},
    Option{.name = "batch",
           .modes = kConvert,
           .strict = true,
           .first = true,
           .help = "convert for scripts: no prompts, atomic output, exit status 0, 1 or 2",
           .read = into<&Line::batch>},
    Option{.name = "summary",
           .values = "file.json",
           .modes = kConvert,
           .strict = true,
           .needs = "batch",
           .help = "with --batch: write status and counts as JSON",
           .read = into<&Line::outputs, &BatchOutputs::summaryPath>},
    Option{.name = "gps-time",
           .values = "[unix|gps|adjusted]",
           .type = kWord,
           .modes = kConvert,
           .strict = true,
           .help = "convert: write adjusted standard GPS time, from time stamps of this clock "
                   "(default unix)",
           .read = readClock},
    Option{.name = "epsg",
           .values = "code",
           .type = kEpsgCode,
           .modes = kConvert,
           .strict = true,
           .help = "convert: name the coordinate system, a projected one in metres",
           .read = readEpsg},
    Option{.name = "rgb16",
           .modes = kConvert,
           .strict = true,
           .help = "convert: colours of 16 bits, 255 becomes 65535",
           .read = into<&Line::conversion, &Conversion::points, &PointOptions::rgb16>},
    Option{.name = "source-id",
           .modes = kConvert | kRepair,
           .strict = true,
           .help = "convert: sweep ids as point source ids; repair: keep the point source ids",
           .read = readSourceId},
    Option{.name = "threads",
           .values = "count",
           .type = kInteger,
           .modes = kConvert | kViewLas,
           .strict = true,
           .help = "with a .laz output, or -r and --picture: threads to use (default: all cores)",
           .read = readThreads,
           .check = hasUseForThreads},
    Option{.name = "picture",
           .values = "file.png",
           .modes = kConvert | kViewLas,
           .strict = true,
           .needs = "batch",
           .help = "with --batch or beside -r: draw the LAS file from above",
           .read = into<&Line::outputs, &BatchOutputs::picturePath>,
           .check = checkPicture},
    Option{.name = "zoom",
           .values = "x y width",
           .type = kReal,
           .modes = kConvert | kViewLas,
           .strict = true,
           .needs = "picture",
           .help = "with --picture: draw the square of this centre and width, in metres",
           .read = readZoom},
    Option{.name = "slice",
           .values = "low high",
           .type = kReal,
           .modes = kConvert | kViewLas,
           .strict = true,
           .needs = "picture",
           .help = "with --picture: draw only the points between these heights, in metres",
           .read = readSlice,
           .check = checkSlice},
    Option{.name = "picture-size",
           .values = "pixels",
           .type = kInteger,
           .modes = kConvert | kViewLas,
           .strict = true,
           .needs = "picture",
           .help = "with --picture: pixels on the longer side, 200 to 1600 (default 1600)",
           .read = into<&Line::outputs, &BatchOutputs::picture, &picture::Request::size>,
           .check = checkPictureSize},
    Option{.name = "compare",
           .modes = kConvert,
           .strict = true,
           .needs = "picture",
           .help = "with --picture: draw a part without and with the optimised poses",
           .read = into<&Line::outputs, &BatchOutputs::compare>,
           .check = checkCompare},
    Option{.name = "b",
           .values = "pgo.pcbin",
           .modes = kViewPcbin,
           .selectsMode = true,
           .help = "view this pcbin file",
           .read = into<&Line::file>},
    Option{.name = "r",
           .values = "map.las",
           .modes = kViewLas,
           .selectsMode = true,
           .help = "view this LAS file",
           .read = into<&Line::file>},
    Option{.name = "repair",
           .values = "map.las",
           .modes = kRepair,
           .selectsMode = true,
           .help = "repair this LAS file",
           .read = into<&Line::file>},
    Option{.name = "lossless",
           .modes = kRepair,
           .strict = true,
           .help = "repair: LAS 1.0 to 1.4, every byte stays, only wrong header fields change",
           .read = into<&Line::lossless>,
           .check = keepsAllAnyway},
    Option{.name = "s",
           .values = "start",
           .type = kInteger,
           .modes = kViews,
           .help = "views: the first point to print, from 0 (default 0)",
           .read = into<&Line::start>},
    Option{.name = "n",
           .values = "nums",
           .type = kInteger,
           .modes = kViews,
           .help = "views: how many points to print (default 0)",
           .read = into<&Line::nums>},
    Option{.name = "v",
           .values = "verbose",
           .type = kInteger,
           .help = "view of a LAS file: above 0, print all fields of a record",
           .read = into<&Line::verbose>},
    Option{
        .name = "d",
        .values = "level",
        .type = kInteger,
        .first = true,
        .help = "print only lines of this level and above: 1 all, 2 warnings, 3 errors, 4 nothing",
        .read = into<&Line::level>},
    Option{.name = "version",
           .strict = true,
           .first = true,
           .help = "print name and version and end",
           .read = into<&Line::version>},
    Option{.name = "options",
           .strict = true,
           .first = true,
           .help = "print this list and end",
           .read = into<&Line::options>},
    Option{.name = "h",
           .first = true,
           .help = "print a summary of the usage and end",
           .read = into<&Line::help>},
    Option{.name = "help", .first = true, .help = "the same as -h", .read = into<&Line::help>},
};

/// Reads the given options for which `isWanted` holds, in the order of the table. False after a
/// note on a wrong value.
template <class IsWanted>
bool readOptions(const ferrun::ArgOption& words, CommandLine& line, IsWanted isWanted) {
  return std::ranges::all_of(kOptions, [&](const Option& option) {
    return words.hasOption(option.name) < 0 || !isWanted(option) ||
           option.read(option, words[option.name], line);
  });
}

Fault failedCheck(const ferrun::ArgOption& words, const CommandLine& line) {
  for (const Option& option : kOptions) {
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
  return !fault || note(line, ferrun::kLevelError, *fault);
}

}  // namespace

std::span<const Option> allOptions() {
  return kOptions;
}

CommandLine readCommandLine(const ferrun::ArgOption& words) {
  CommandLine line;
  const Option* const selected = modeOption(words);
  if (selected != nullptr) line.mode = static_cast<Mode>(selected->modes);
  bool valid = true;
  for (const Option& option : kOptions) {
    if (option.first && words.hasOption(option.name) >= 0)
      valid = option.read(option, words[option.name], line) && valid;
  }
  if (!valid) return line;
  if (const auto fault = findFault(words)) {
    note(line, ferrun::kLevelError, *fault);
  } else if (line.help || line.version || line.options) {
    line.accepted = true;
  } else {
    line.accepted = readRest(words, line);
  }
  return line;
}

void printOptions() {
  for (const Option& option : kOptions)
    std::printf("%-20s %s\n", (typed(option.name) + " " + option.values).c_str(), option.help);
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
