// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/batch.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <sys/stat.h>
#include <utility>

#include "pcbin_las/app/comparison.h"
#include "pcbin_las/app/convert.h"
#include "pcbin_las/export/file_kind.h"
#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_format.h"

namespace {

using modeling_app::ReadEnd;
using ull = unsigned long long;

/// Whether an output would replace another file of the run; prints error lines. Clears the path of
/// a summary or picture that would.
bool hasNameClash(const Conversion& wanted, BatchOutputs& outputs) {
  const auto clash = [](const char* kind, const std::string& output, const char* otherKind,
                        const std::string& other) {
    if (output.empty() || other.empty() || !ferrun::resolveToSameFile(output, other)) return false;
    TRACE_ERROR("batch", "%s file(%s) is the %s file(%s), choose another output!", kind,
                output.c_str(), otherKind, other.c_str());
    return true;
  };
  const auto clashes = [&](const char* kind, const std::string& output) {
    return clash(kind, output, "input", wanted.pcbinPath) ||
           clash(kind, output, "input", wanted.pgoPath);
  };
  const bool lasClash = clashes("las", wanted.lasPath);
  const bool summaryClash = clashes("summary", outputs.summaryPath) ||
                            clash("summary", outputs.summaryPath, "las", wanted.lasPath);
  if (summaryClash) outputs.summaryPath.clear();
  const bool pictureClash = clashes("picture", outputs.picturePath) ||
                            clash("picture", outputs.picturePath, "las", wanted.lasPath) ||
                            clash("picture", outputs.picturePath, "summary", outputs.summaryPath);
  if (pictureClash) outputs.picturePath.clear();
  return lasClash || summaryClash || pictureClash;
}

/// Draws the progress by the bytes read: the header of an unclosed recording has no counts.
Progress progressOf(const std::string& pcbinPath, ProgressBar& bar) {
  struct stat status {};
  const bool known = stat(pcbinPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  const double size = known ? static_cast<double>(status.st_size) : 0;
  return [&bar, size](const ConversionResult& result) {
    const std::uint64_t bytes = sizeof(modeling_app::PcbHeader) +
                                result.framesFound * sizeof(modeling_app::PcbFrameHeader) +
                                result.read * sizeof(modeling_app::RgbPointRecord);
    bar.update(size > 0 ? static_cast<double>(bytes) / size : 0, result.read);
  };
}

/// Whether the system has failed or no point is left, so that no LAS file is published; prints an
/// error line.
bool mustNotPublish(const Conversion& files, const ConversionResult& result) {
  if (result.readEnd == ReadEnd::kReadError)
    TRACE_ERROR("batch", "pcbin file(%s) cannot be read to its end!", files.pcbinPath.c_str());
  else if (result.readEnd == ReadEnd::kNoMemory)
    TRACE_ERROR("batch", "pcbin file(%s): no memory for a frame!", files.pcbinPath.c_str());
  else if (result.writeFailed)
    TRACE_ERROR("batch", "las file(%s) cannot be written!", files.lasPath.c_str());
  else if (result.written == 0)
    TRACE_ERROR("batch", "no points to write: %s!", result.whyNoPoints.c_str());
  else
    return false;
  return true;
}

/// Compares the frames and points read with the pcbin header and warns of a difference; true when
/// some are missing.
bool fallsShort(const ConversionResult& result) {
  if (result.framesAnnounced == 0 && result.pointsAnnounced == 0) {
    TRACE_WARNING("batch", "the header declares no frames: the recording was not closed!");
    return false;
  }
  if (result.framesFound != result.framesAnnounced || result.read != result.pointsAnnounced)
    TRACE_WARNING("batch",
                  "the header declares %llu frames and %llu points, the file holds %llu and %llu!",
                  ull{result.framesAnnounced}, ull{result.pointsAnnounced}, ull{result.framesFound},
                  ull{result.read});
  return result.framesFound < result.framesAnnounced || result.read < result.pointsAnnounced;
}

BatchStatus statusOf(const ConversionResult& result) {
  if (result.noPose > 0)
    TRACE_WARNING("batch", "%llu points left out, their sweeps have no pose!", ull{result.noPose});
  const bool complete = !fallsShort(result) && result.readEnd == ReadEnd::kEndOfFile &&
                        result.noPose == 0 && result.refused == 0 && result.poseLinesSkipped == 0 &&
                        result.written == result.read;
  return complete ? kEverythingWritten : kSomethingMissing;
}

/// Whether the pose file was named as pcbin file and the other way round; prints an error line.
bool areExchanged(const Conversion& wanted) {
  if (wanted.pgoPath.empty() || kindOfFile(wanted.pgoPath) != "pcbin" ||
      kindOfFile(wanted.pcbinPath) == "pcbin")
    return false;
  TRACE_ERROR("batch", "-i and -f are exchanged: %s is a pcbin file, %s is not!",
              wanted.pgoPath.c_str(), wanted.pcbinPath.c_str());
  return true;
}

/// Looks whether an output can be written; if not, sets `fails`, with an error line. False when its
/// old file would stay beside a new map.
bool checkOutput(const std::string& path, bool& fails) {
  fails = !path.empty() && !ferrun::StagedFile().create(path);
  std::error_code error;
  return !fails || !std::filesystem::is_regular_file(path, error);
}

/// Removes what describes the old map. A run that is stopped leaves no summary and no picture
/// beside a map that they do not describe.
bool removeOldReports(const BatchOutputs& outputs) {
  return (outputs.summaryPath.empty() || ferrun::removeOutput(outputs.summaryPath)) &&
         (outputs.picturePath.empty() || ferrun::removeOutput(outputs.picturePath));
}

/// What identifies the LAS file that is open with `descriptor`.
MapFile mapFile(int descriptor, const ConversionResult& result) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return {};
  return {static_cast<std::uint64_t>(status.st_size), result.written, status.st_mtim};
}

BatchStatus convert(const Conversion& wanted, BatchOutputs& outputs, BatchOutcome& outcome,
                    ProgressBar& bar) {
  ConversionResult& result = outcome.result;
  if (!checkInputs(wanted) || areExchanged(wanted)) return kNothingWritten;
  ferrun::StagedFile las;
  if (!las.create(wanted.lasPath) || !checkOutput(outputs.summaryPath, outputs.summaryFails) ||
      !checkOutput(outputs.picturePath, outputs.pictureFails))
    return kNothingWritten;
  Conversion conversion = wanted;
  conversion.lasPath = las.temporaryName();
  conversion.lasDescriptor = las.descriptor();
  conversion.lasName = wanted.lasPath;
  const bool converted =
      convertSurvey(conversion, Style::kScript, result, progressOf(wanted.pcbinPath, bar));
  bar.erase();
  if (!converted || mustNotPublish(wanted, result)) return kNothingWritten;
  const BatchStatus status = statusOf(result);
  const MapFile map = mapFile(las.descriptor(), result);
  if (!las.publish([&outputs] { return removeOldReports(outputs); })) return kNothingWritten;
  outcome.map = map;
  return status;
}

/// The same, after a check of the names, with a line for the outcome and for exceptions of the
/// standard library. `outputs` receives the outputs to write.
BatchStatus convertOrExplain(const Conversion& wanted, const BatchOutputs& namedOutputs,
                             BatchOutputs& outputs, BatchOutcome& outcome, ProgressBar& bar) {
  BatchStatus status = kNothingWritten;
  try {
    outputs = namedOutputs;
    if (hasNameClash(wanted, outputs)) return kNothingWritten;
    status = convert(wanted, outputs, outcome, bar);
  } catch (const std::exception& error) {
    bar.erase();
    TRACE_ERROR("batch", "stopped by an error: %s!", error.what());
  }
  if (status == kEverythingWritten) {
    TRACE_INFO("main", "pcbin to las success.");
  } else if (status == kSomethingMissing) {
    TRACE_WARNING("main", "pcbin to las done, but not everything was written!");
  } else {
    TRACE_ERROR("main", "pcbin to las failed!");
    outcome.result.written = 0;
  }
  return status;
}

/// Writes the summaries and draws the picture of a run. The first summary follows the map at once;
/// one that waits for its picture has at least status 1 and no picture.
class Reporter {
 public:
  Reporter(const Conversion& wanted, BatchOutputs& outputs, BatchSink& sink)
      : wanted_(wanted), outputs_(outputs), sink_(sink) {}

  void report(BatchOutcome& outcome) {
    if (outcome.status != kNothingWritten && !outputs_.picturePath.empty()) {
      const BatchStatus status = outcome.status;
      outcome.status = kSomethingMissing;
      std::string picture = std::exchange(outputs_.picturePath, {});
      const bool written = writeSummary(outcome);
      outputs_.picturePath = std::move(picture);
      if (!written) return;
      if (drawPicture()) outcome.status = status;
    }
    if (!writeSummary(outcome)) outcome.status = std::max(outcome.status, kSomethingMissing);
  }

 private:
  bool writeSummary(BatchOutcome& outcome) {
    if (outputs_.summaryPath.empty()) return true;
    ferrun::Singleton<ferrun::Tracer>::getInstance()->flush();
    outcome.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    try {
      outcome.firstError = sink_.firstError();
      outcome.warnings = sink_.warnings();
      if (!outputs_.summaryFails && ::writeSummary(wanted_, outputs_, outcome)) return true;
    } catch (const std::exception&) {
      // No memory: reported below.
    }
    TRACE_ERROR("batch", "summary file(%s) not written!", outputs_.summaryPath.c_str());
    return false;
  }

  bool drawPicture() const {
    if (outputs_.pictureFails) return false;
    try {
      return outputs_.compare
                 ? drawComparison(wanted_, outputs_)
                 : picture::draw(wanted_.lasPath, outputs_.picturePath, outputs_.picture);
    } catch (const std::exception& error) {
      TRACE_ERROR("batch", "picture(%s): %s!", outputs_.picturePath.c_str(), error.what());
      return false;
    }
  }

  const Conversion& wanted_;
  BatchOutputs& outputs_;
  BatchSink& sink_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace

BatchStatus batch_convert(const Conversion& wanted, const BatchOutputs& namedOutputs,
                          BatchSink& sink) {
  BatchOutputs outputs;
  BatchOutcome outcome;
  Reporter reporter(wanted, outputs, sink);
  outcome.status = convertOrExplain(wanted, namedOutputs, outputs, outcome, sink.progressBar());
  reporter.report(outcome);
  ferrun::Singleton<ferrun::Tracer>::getInstance()->flush();
  outcome.warningCount = sink.warningCount();
  if (!printLastLine(outcome)) outcome.status = std::max(outcome.status, kSomethingMissing);
  return outcome.status;
}
