// SPDX-License-Identifier: BSD-3-Clause
// Reads the command line, sets up tracing and runs one mode.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <unistd.h>
#include <vector>

#include "pcbin_las/app/batch.h"
#include "pcbin_las/app/command_line.h"
#include "pcbin_las/app/convert.h"
#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/app/las_view.h"
#include "pcbin_las/app/lossless_repair.h"
#include "pcbin_las/app/pcbin_view.h"
#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/output/stop_signals.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/arg_option.h"

namespace {

using cli::CommandLine;
using ferrun::ArgOption;

constexpr int kFailure = -1;

bool g_tracing = false;  ///< the tracer has been started

/// Starts the tracer with the sink of the run, and handles signals that end it. With --batch,
/// warnings and errors always reach the sink, which is returned.
std::shared_ptr<BatchSink> startTracer(const CommandLine& line) {
  std::shared_ptr<BatchSink> batchSink;
  if (line.batch) {
    batchSink = std::make_shared<BatchSink>(line.level);
    ferrun::printLinesTo(batchSink, std::min(line.level, ferrun::kLevelWarning));
  } else {
    ferrun::printLinesToConsole(line.level);
  }
  g_tracing = true;
  ferrun::handleStopSignals();
  return batchSink;
}

void print(const std::vector<cli::Note>& notes) {
  for (const auto& [level, text] : notes) {
    if (level == ferrun::kLevelError)
      TRACE_ERROR("main", "%s!", text.c_str());
    else if (level == ferrun::kLevelWarning)
      TRACE_WARNING("main", "%s!", text.c_str());
    else
      TRACE_INFO("main", "%s", text.c_str());
  }
}

/// Runs the LAS viewer, and draws the file when a picture is wanted.
int viewLas(const CommandLine& line) {
  las_view(line.file, static_cast<unsigned>(line.start), static_cast<unsigned>(line.nums));
  if (line.outputs.picturePath.empty()) return 0;
  return picture::draw(line.file, line.outputs.picturePath, line.outputs.picture) ? 0 : 1;
}

int runMode(const CommandLine& line, BatchSink* batchSink) {
  g_verbose = line.verbose;
  g_useOffset = line.offset.has_value();
  g_offset = line.offset.value_or(g_offset);
  switch (line.mode) {
    case cli::kViewPcbin:
      pcbin_view(line.file, static_cast<unsigned>(line.start), static_cast<unsigned>(line.nums));
      return 0;
    case cli::kViewLas:
      return viewLas(line);
    case cli::kRepair:
      if (line.lossless) return lossless_repair(line.file);
      las_repair(line.file, line.keepSourceIds);
      return 0;
    case cli::kConvert:
      break;
  }
  return batchSink != nullptr ? batch_convert(line.conversion, line.outputs, *batchSink)
                              : convert_dialogue(line.conversion);
}

/// Prints the exception that ended the run; needs no memory if there is none.
void reportException(const std::exception& error) {
  if (!g_tracing) {
    std::fprintf(stderr, "pcbin_las: stopped by an error: %s\n", error.what());
    return;
  }
  try {
    TRACE_ERROR("main", "stopped by an error: %s!", error.what());
  } catch (const std::bad_alloc&) {
    std::fputs("pcbin_las: out of memory\n", stderr);
  }
}

/// Refuses a command line that cannot be parsed, with the reason if cli::explainRejection() gives
/// one.
int refuse(const ArgOption& words, int argc, char** argv) {
  const bool toPerson = isatty(STDERR_FILENO) == 1;
  if (const auto reason = cli::explainRejection(words, argc, argv, toPerson))
    std::fprintf(stderr, "pcbin_las: %s!\n", reason->c_str());
  return kFailure;
}

int run(int argc, char** argv) {
  ArgOption words;
  if (!words.parseArgs(argc, argv)) return refuse(words, argc, argv);
  const CommandLine line = cli::readCommandLine(words);
  if (line.help) {
    help(argv[0]);
    return 0;
  }
  const auto batchSink = startTracer(line);
  print(line.notes);
  if (!line.accepted) return kFailure;
  if (line.version) {
    cli::printVersion();
    return 0;
  }
  if (line.options) {
    cli::printOptions();
    return 0;
  }
  return runMode(line, batchSink.get());
}

}  // namespace

int main(int argc, char** argv) {
  ferrun::secureStandardStreams();
  ferrun::ignoreWriteSignals();
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    reportException(error);
    return kFailure;
  }
}
