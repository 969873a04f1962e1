// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/batch_report.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "pcbin_las/app/full_version.h"
#include "pcbin_las/app/json_text.h"
#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/tracer.h"

namespace {

using cli::JsonObject;

std::string foundAndDeclared(std::uint64_t found, std::uint64_t declared) {
  JsonObject object(2);
  object.add("found", found);
  object.add("announced", declared);
  return object.text();
}

std::string boundsText(const ConversionResult& result) {
  if (result.written == 0) return "null";
  JsonObject object(2);
  object.add("min", result.low);
  object.add("max", result.high);
  return object.text();
}

std::string movedBy(const std::optional<Movement>& movement) {
  if (!movement) return "null";
  JsonObject object(2);
  object.add("median", movement->median);
  object.add("max", movement->most);
  object.add("turned", movement->turned);
  object.add("tilted", movement->tilted);
  return object.text();
}

std::string mapText(const std::optional<MapFile>& map) {
  if (!map) return "null";
  JsonObject object(2);
  object.add("bytes", map->bytes);
  object.add("records", map->records);
  object.addJson("modified",
                 ferrun::StrUtil::format("%lld.%09ld", static_cast<long long>(map->modified.tv_sec),
                                         map->modified.tv_nsec));
  return object.text();
}

/// The outcome as JSON text.
std::string summaryText(const Conversion& conversion, const BatchOutputs& outputs,
                        const BatchOutcome& outcome) {
  const ConversionResult& result = outcome.result;
  JsonObject summary;
  summary.add("status", static_cast<std::uint64_t>(outcome.status));
  summary.addText("input", conversion.pcbinPath);
  summary.addTextOrNull("poses", conversion.pgoPath);
  summary.addText("output", conversion.lasPath);
  summary.addTextOrNull("picture", outputs.picturePath);
  summary.addJson("epsg", conversion.epsg == 0 ? "null" : std::to_string(conversion.epsg));
  summary.add("read", result.read);
  summary.add("written", result.written);
  summary.add("no_pose", result.noPose);
  summary.add("refused", result.refused);
  summary.add("pose_lines_skipped", result.poseLinesSkipped);
  summary.addJson("frames", foundAndDeclared(result.framesFound, result.framesAnnounced));
  summary.addJson("points", foundAndDeclared(result.read, result.pointsAnnounced));
  summary.addJson("bounds", boundsText(result));
  summary.add("offset", result.offset);
  summary.addJson("moved", movedBy(result.movement));
  summary.add("seconds", outcome.seconds);
  summary.addText("version", fullVersion());
  summary.addTextOrNull("first_error", outcome.firstError);
  summary.add("warnings", outcome.warnings);
  summary.addJson("map", mapText(outcome.map));
  return summary.text() + "\n";
}

}  // namespace

bool writeSummary(const Conversion& conversion, const BatchOutputs& outputs,
                  const BatchOutcome& outcome) {
  return ferrun::replaceFile(outputs.summaryPath, summaryText(conversion, outputs, outcome));
}

bool printLastLine(const BatchOutcome& outcome) {
  const ConversionResult& r = outcome.result;
  std::array<char, 512> line;  // works without free memory
  const int size = std::snprintf(
      line.data(), line.size(),
      "batch: status=%d read=%" PRIu64 " written=%" PRIu64 " no_pose=%" PRIu64 " refused=%" PRIu64
      " pose_lines_skipped=%" PRIu64 " frames=%" PRIu64 "/%" PRIu64 " points=%" PRIu64 "/%" PRIu64
      " warnings=%" PRIu64 "\n",
      static_cast<int>(outcome.status), r.read, r.written, r.noPose, r.refused, r.poseLinesSkipped,
      r.framesFound, r.framesAnnounced, r.read, r.pointsAnnounced, outcome.warningCount);
  return size > 0 && ferrun::STDSink::writeAll(line.data(), static_cast<std::size_t>(size));
}
