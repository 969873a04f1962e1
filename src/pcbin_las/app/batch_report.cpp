// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/batch_report.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "pcbin_las/app/full_version.h"
#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/platform/tracer.h"

#ifdef PCBIN_HAS_JSON
#include <nlohmann/json.hpp>
#endif

namespace {

#ifdef PCBIN_HAS_JSON

using nlohmann::ordered_json;

/// The text, or null when it is empty.
ordered_json textOrNull(const std::string& text) {
  return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json movedBy(const std::optional<Movement>& movement) {
  if (!movement) return nullptr;
  return {{"median", movement->median},
          {"max", movement->most},
          {"turned", movement->turned},
          {"tilted", movement->tilted}};
}

/// The outcome as JSON text. Bytes that are not UTF-8 become U+FFFD, numbers that are not finite
/// null.
std::string summaryText(const Conversion& conversion, const BatchOutputs& outputs,
                        const BatchOutcome& outcome) {
  const ConversionResult& result = outcome.result;
  ordered_json summary;
  summary["status"] = static_cast<int>(outcome.status);
  summary["input"] = conversion.pcbinPath;
  summary["poses"] = textOrNull(conversion.pgoPath);
  summary["output"] = conversion.lasPath;
  summary["picture"] = textOrNull(outputs.picturePath);
  summary["epsg"] = conversion.epsg == 0 ? ordered_json(nullptr) : ordered_json(conversion.epsg);
  summary["read"] = result.read;
  summary["written"] = result.written;
  summary["no_pose"] = result.noPose;
  summary["refused"] = result.refused;
  summary["pose_lines_skipped"] = result.poseLinesSkipped;
  summary["frames"] = {{"found", result.framesFound}, {"announced", result.framesAnnounced}};
  summary["points"] = {{"found", result.read}, {"announced", result.pointsAnnounced}};
  summary["bounds"] = nullptr;
  if (result.written > 0) summary["bounds"] = {{"min", result.low}, {"max", result.high}};
  summary["offset"] = result.offset;
  summary["moved"] = movedBy(result.movement);
  summary["seconds"] = outcome.seconds;
  summary["version"] = fullVersion();
  summary["first_error"] = textOrNull(outcome.firstError);
  summary["warnings"] = outcome.warnings;
  return summary.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

#endif

/// Replaces a file atomically.
bool writeWhole(const std::string& path, const std::string& text) {
  ferrun::StagedFile staged;
  if (!staged.create(path)) return false;
  ferrun::File file;
  file.setWMBuffer(0);  // so that a failed write is reported at once
  if (!file.open(staged.temporaryName(), ferrun::File::kWrite)) return false;
  const auto size = static_cast<int>(text.size());
  const bool written = file.writeData(text.data(), size) == size;
  file.close();
  return written && staged.publish();
}

}  // namespace

bool hasSummary() {
#ifdef PCBIN_HAS_JSON
  return true;
#else
  return false;
#endif
}

bool writeSummary([[maybe_unused]] const Conversion& conversion, const BatchOutputs& outputs,
                  [[maybe_unused]] const BatchOutcome& outcome) {
#ifdef PCBIN_HAS_JSON
  try {
    if (writeWhole(outputs.summaryPath, summaryText(conversion, outputs, outcome))) return true;
  } catch (const std::exception&) {
    // No memory: reported below.
  }
#endif
  TRACE_ERROR("batch", "summary file(%s) not written!", outputs.summaryPath.c_str());
  return false;
}

void printLastLine(const BatchOutcome& outcome) {
  const ConversionResult& r = outcome.result;
  std::array<char, 512> line;  // works without free memory
  const int size = std::snprintf(
      line.data(), line.size(),
      "batch: status=%d read=%" PRIu64 " written=%" PRIu64 " no_pose=%" PRIu64 " refused=%" PRIu64
      " pose_lines_skipped=%" PRIu64 " frames=%" PRIu64 "/%" PRIu64 " points=%" PRIu64 "/%" PRIu64
      " warnings=%" PRIu64 "\n",
      static_cast<int>(outcome.status), r.read, r.written, r.noPose, r.refused, r.poseLinesSkipped,
      r.framesFound, r.framesAnnounced, r.read, r.pointsAnnounced, outcome.warningCount);
  if (size > 0) ferrun::STDSink().write(line.data(), static_cast<std::size_t>(size));
}
