// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/options.h"

#include <array>
#include <cstdio>

namespace cli {
namespace {

using enum ValueType;

constexpr std::array kOptions = {
    Option{"i", "pgo.pcbin", kText, kConvert, false, nullptr,
           "convert: the pcbin file to read (default pgo.pcbin)"},
    Option{"o", "map.las", kText, kConvert, false, nullptr,
           "convert: the LAS file to write (default map.las)"},
    Option{"f", "pgo.csv", kText, kConvert, false, nullptr, "convert: the pose file"},
    Option{"offset", "x y z", kReal, kConvert, false, nullptr,
           "convert: the offset for the LAS header, in place of the pose file's"},
    Option{"batch", "", kText, kConvert, true, nullptr,
           "convert for scripts: no prompts, atomic output, exit status 0, 1 or 2"},
    Option{"summary", "file.json", kText, kConvert, true, "batch",
           "with --batch: write status and counts as JSON"},
    Option{"gps-time", "", kText, kConvert, true, nullptr,
           "convert: time stamps are Unix seconds, write adjusted standard GPS time"},
    Option{"epsg", "code", kInteger, kConvert, true, nullptr,
           "convert: name the coordinate system, a projected one in metres"},
    Option{"rgb16", "", kText, kConvert, true, nullptr,
           "convert: colours of 16 bits, 255 becomes 65535"},
    Option{"source-id", "", kText, kConvert | kRepair, true, nullptr,
           "convert: sweep ids as point source ids; repair: keep the point source ids"},
    Option{"picture", "file.png", kText, kConvert | kViewLas, true, "batch",
           "with --batch or beside -r: draw the LAS file from above"},
    Option{"zoom", "x y width", kReal, kConvert | kViewLas, true, "picture",
           "with --picture: draw the square of this centre and width, in metres"},
    Option{"b", "pgo.pcbin", kText, kViewPcbin, false, nullptr, "view this pcbin file"},
    Option{"r", "map.las", kText, kViewLas, false, nullptr, "view this LAS file"},
    Option{"repair", "map.las", kText, kRepair, false, nullptr, "repair this LAS file"},
    Option{"s", "start", kInteger, kViews, false, nullptr,
           "views: the first point to print, from 0 (default 0)"},
    Option{"n", "nums", kInteger, kViews, false, nullptr,
           "views: how many points to print (default 0)"},
    Option{"v", "verbose", kInteger, kAllModes, false, nullptr,
           "view of a LAS file: above 0, print all fields of a record"},
    Option{"d", "level", kInteger, kAllModes, false, nullptr,
           "print only lines of this level and above: 1 all, 2 warnings, 3 errors, 4 nothing"},
    Option{"version", "", kText, kAllModes, true, nullptr, "print name and version and end"},
    Option{"options", "", kText, kAllModes, true, nullptr, "print this list and end"},
    Option{"h", "", kText, kAllModes, false, nullptr, "print a summary of the usage and end"},
    Option{"help", "", kText, kAllModes, false, nullptr, "the same as -h"},
};

}  // namespace

std::span<const Option> allOptions() {
  return kOptions;
}

Mode chosenMode(const ferrun::ArgOption& options) {
  if (options.hasOption("b") > 0) return kViewPcbin;
  if (options.hasOption("r") > 0) return kViewLas;
  if (options.hasOption("repair") > 0) return kRepair;
  return kConvert;
}

void printOptions() {
  for (const Option& option : kOptions) {
    const std::string name = option.name;
    const std::string word = (name.size() == 1 ? "-" : "--") + name + " " + option.values;
    std::printf("%-20s %s\n", word.c_str(), option.description);
  }
}

void printVersion() {
  std::puts("pcbin_las " PCBIN_LAS_VERSION);
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
