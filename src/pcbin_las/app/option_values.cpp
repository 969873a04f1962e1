// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/option_values.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <strings.h>

#include "pcbin_las/las/epsg.h"
#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace cli {

using ferrun::StrUtil;

bool addNote(CommandLine& line, int level, const std::string& text) {
  line.notes.push_back({level, text});
  return level != ferrun::kLevelError;
}

namespace {

bool badNumber(const Option& option, const std::string& text, CommandLine& line) {
  return addNote(
      line, ferrun::kLevelError,
      StrUtil::format("option %s: bad number(%s)", typed(option.name).c_str(), text.c_str()));
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

}  // namespace

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

std::string withoutEpsg(const std::string& value) {
  const bool hasPrefix = strncasecmp(value.c_str(), "epsg:", 5) == 0;
  return hasPrefix ? value.substr(5) : value;
}

bool readOffset(const Option& option, const Values& values, CommandLine& line) {
  std::array<double, 3> offset = {};
  if (values.size() < offset.size())
    return addNote(
        line, ferrun::kLevelWarning,
        StrUtil::format("option --offset ignored: it has %zu of 3 values", values.size()));
  for (std::size_t axis = 0; axis < offset.size(); ++axis) {
    const std::string& text = values[axis];
    std::size_t end = 0;
    const auto value = ferrun::toDouble(text, &end);
    if (!value) return badNumber(option, text, line);
    offset[axis] = *value;
    if (end < text.size())
      addNote(line, ferrun::kLevelWarning,
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
    return addNote(line, ferrun::kLevelError,
                   StrUtil::format("option --threads: %d is not a number from 1 to %u", threads,
                                   kMostThreads));
  line.conversion.threads = static_cast<unsigned>(threads);
  line.outputs.picture.threads = line.conversion.threads;
  return true;
}

// Threads serve compressed points: of the output, or of a file to draw.
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
  if (!check.accepted) return addNote(line, ferrun::kLevelError, check.text);
  addNote(line, ferrun::kLevelInfo, check.text);
  if (!check.warning.empty()) addNote(line, ferrun::kLevelWarning, check.warning);
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

}  // namespace cli
