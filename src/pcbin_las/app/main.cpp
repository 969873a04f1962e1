// SPDX-License-Identifier: BSD-3-Clause
// Reads the command line, sets up tracing and runs one mode.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <unistd.h>

#include "pcbin_las/app/batch.h"
#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/app/las_view.h"
#include "pcbin_las/app/option_values.h"
#include "pcbin_las/app/options.h"
#include "pcbin_las/app/pcbin_view.h"
#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/output/process_setup.h"
#include "pcbin_las/output/stop_signals.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/arg_option.h"
#include "pcbin_las/process/console_in.h"

namespace {

using ferrun::ArgOption;

constexpr int kFailure = -1;

/// Sets up the tracer from option d; false, with an error line, when its value is not a number.
/// With
/// --batch, error lines always reach the sink, which is stored in `batchSink`.
bool startTracer(const ArgOption& options, std::shared_ptr<BatchSink>& batchSink) {
  const std::string text = cli::textOption(options, "d", "1");
  const auto number = ferrun::toInt(text);
  const int level = number.value_or(1);
  ferrun::Tracer* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  if (options.hasOption("batch") >= 0) {
    batchSink = std::make_shared<BatchSink>(level);
    tracer->setLevel(std::min(level, ferrun::kLevelError));
    tracer->addSink(batchSink);
  } else {
    tracer->setLevel(level);
    tracer->addSink(std::make_shared<ferrun::STDSink>());
  }
  const ferrun::StopSignalsBlocked blocked;  // in the tracer's thread
  tracer->start();
  return number || cli::badNumber("d", text);
}

/// Whether this build lacks the library of an option that was given; prints an error line if so.
bool isMissing(const ArgOption& options) {
  if (options.hasOption("summary") >= 0 && !hasSummary())
    TRACE_ERROR("main",
                "--summary is not available: this program was built without nlohmann-json!");
  else if (options.hasOption("picture") >= 0 && !picture::isSupported())
    TRACE_ERROR("main", "--picture is not available: this program was built without libpng!");
  else
    return false;
  return true;
}

/// Asks before a file is overwritten; true for the answers Y and y.
bool mayOverwrite(const std::string& lasPath) {
  TRACE_PROMPT("las file(%s) exist, do you want to overwrite it? Y/N", lasPath.c_str());
  ferrun::ConsoleIn console;
  console.waitIn();
  const auto answer = console.as<std::string>();
  return answer == "Y" || answer == "y";
}

int convert(const ArgOption& options, BatchSink* batchSink) {
  Conversion conversion;
  BatchOutputs outputs = {cli::textOption(options, "summary", ""),
                          cli::textOption(options, "picture", ""), std::nullopt};
  if (!cli::offsetOption(options) || !cli::conversionOptions(options, conversion) ||
      !cli::zoomOption(options, outputs.zoom))
    return kFailure;
  if (batchSink != nullptr) return batch_convert(conversion, outputs, *batchSink);

  if (!ferrun::File::exists(conversion.pcbinPath)) {
    TRACE_ERROR("main", "pcbin file(%s) not exist!", conversion.pcbinPath.c_str());
    return kFailure;
  }
  if (conversion.pgoPath.empty() || !ferrun::File::exists(conversion.pgoPath))
    TRACE_WARNING("main", "pgo file(%s), no pgo records!", conversion.pgoPath.c_str());
  if (ferrun::File::exists(conversion.lasPath) && !mayOverwrite(conversion.lasPath)) {
    TRACE_INFO("main", "quit.");
    return 0;
  }

  ConversionResult result;
  if (convertSurvey(conversion, result))
    TRACE_INFO("main", "pcbin to las success.");
  else
    TRACE_ERROR("main", "pcbin to las failed!");
  if (result.wrongClock) return kFailure;
  TRACE_PROMPT("press any key to quit...");
  ferrun::ConsoleIn().waitIn();
  return 0;
}

/// Runs one of the two viewers with the range of options s and n.
template <class View>
int view(const ArgOption& options, const char* option, View viewFile) {
  int start = 0;
  int nums = 0;
  if (!cli::intOption(options, "s", start) || !cli::intOption(options, "n", nums)) return kFailure;
  viewFile(options[option][0], static_cast<unsigned>(start), static_cast<unsigned>(nums));
  return 0;
}

/// Runs the LAS viewer, and draws the file when option picture is given.
int viewLas(const ArgOption& options) {
  std::optional<picture::Area> zoom;
  if (!cli::zoomOption(options, zoom)) return kFailure;
  const int status = view(options, "r", las_view);
  if (status != 0 || options.hasOption("picture") <= 0) return status;
  ferrun::handleStopSignals();
  return picture::draw(options["r"][0], options["picture"][0], zoom) ? 0 : 1;
}

/// Prints the exception that ended the run; needs no memory if there is none.
void reportException(const std::exception& error) {
  try {
    TRACE_ERROR("main", "stopped by an error: %s!", error.what());
  } catch (const std::bad_alloc&) {
    std::fputs("pcbin_las: out of memory\n", stderr);
  }
}

/// Refuses a command line that cannot be parsed, with the reason if cli::explainRejection() gives
/// one.
int refuse(const ArgOption& options, int argc, char** argv) {
  const bool toPerson = isatty(STDERR_FILENO) == 1;
  if (const auto reason = cli::explainRejection(options, argc, argv, toPerson))
    std::fprintf(stderr, "pcbin_las: %s!\n", reason->c_str());
  return kFailure;
}

int run(int argc, char** argv) {
  ArgOption options;
  if (!options.parseArgs(argc, argv)) return refuse(options, argc, argv);
  if (options.hasOption("h") >= 0 || options.hasOption("help") >= 0) {
    help(argv[0]);
    return 0;
  }
  std::shared_ptr<BatchSink> batchSink;
  if (!startTracer(options, batchSink)) return kFailure;
  if (const auto fault = cli::findFault(options)) {
    TRACE_ERROR("main", "%s!", fault->c_str());
    return kFailure;
  }
  if (isMissing(options)) return kFailure;
  if (options.hasOption("version") >= 0) {
    cli::printVersion();
    return 0;
  }
  if (options.hasOption("options") >= 0) {
    cli::printOptions();
    return 0;
  }
  if (!cli::intOption(options, "v", g_verbose)) return kFailure;

  switch (cli::chosenMode(options)) {
    case cli::kViewPcbin:
      return view(options, "b", pcbin_view);
    case cli::kViewLas:
      return viewLas(options);
    case cli::kRepair:
      las_repair(options["repair"][0], options.hasOption("source-id") >= 0);
      return 0;
    case cli::kConvert:
      break;
  }
  return convert(options, batchSink.get());
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
