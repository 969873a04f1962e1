// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/option_table.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "pcbin_las/app/option_values.h"

namespace cli {
namespace {

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

}  // namespace

std::span<const Option> allOptions() {
  return kOptions;
}

const Option* findOption(std::string_view name) {
  const auto options = allOptions();
  const auto found = std::ranges::find_if(options, [&](const Option& o) { return name == o.name; });
  return found == options.end() ? nullptr : &*found;
}

const Option* modeOption(const ferrun::ArgOption& words) {
  for (const Option& option : allOptions()) {
    if (option.selectsMode && words.hasOption(option.name) > 0) return &option;
  }
  return nullptr;
}

std::string typed(const std::string& name) {
  return (name.size() == 1 ? "-" : "--") + name;
}

void printOptions() {
  for (const Option& option : kOptions)
    std::printf("%-20s %s\n", (typed(option.name) + " " + option.values).c_str(), option.help);
}

}  // namespace cli
