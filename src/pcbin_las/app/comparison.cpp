// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/comparison.h"

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/refined_points.h"
#include "pcbin_las/las/epsg.h"
#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace {

/// Drops all lines during its lifetime.
class QuietTracer {
 public:
  QuietTracer() { tracer_->setLevel(kLevelNothing); }
  QuietTracer(const QuietTracer&) = delete;
  QuietTracer& operator=(const QuietTracer&) = delete;
  ~QuietTracer() { tracer_->setLevel(former_); }

 private:
  static constexpr int kLevelNothing = ferrun::kLevelError + 1;

  int formerLevel() const {
    int level = ferrun::kLevelInfo;
    while (level < kLevelNothing && !tracer_->enabled(level)) ++level;
    return level;
  }

  ferrun::Tracer* tracer_ = ferrun::Singleton<ferrun::Tracer>::getInstance();
  int former_ = formerLevel();
};

bool reportUnread(const char* kind, const std::string& path) {
  TRACE_ERROR("picture", "%s file(%s) cannot be read again!", kind, path.c_str());
  return false;
}

}  // namespace

bool drawComparison(const Conversion& conversion, const BatchOutputs& outputs) {
  norvo::PGOResultMsg poses;
  PoseFileReport report;
  const auto load = [&] {
    const QuietTracer quiet;
    return loadPgoFile(conversion.pgoPath, poses, report);
  };
  if (!load()) return reportUnread("pgo", conversion.pgoPath);
  std::vector<picture::MapPoint> before;
  std::vector<picture::MapPoint> after;
  const picture::PassMovedPoints pass = [&](const auto& take) {
    const QuietTracer quiet;
    return passRefinedPoints(
               conversion.pcbinPath, poses,
               [&](std::span<const RefinedPoint> points) {
                 before.clear();
                 after.clear();
                 for (const auto& [registered, refined, rgb] : points) {
                   const std::array<std::uint16_t, 3> colour = {rgb[0], rgb[1], rgb[2]};
                   before.push_back({registered, colour});
                   after.push_back({refined, colour});
                 }
                 take(before, after);
               }) ||
           reportUnread("pcbin", conversion.pcbinPath);
  };
  const pontra::MapSystem system = {
      .name = conversion.epsg == 0 ? "" : pontra::systemLabel(conversion.epsg)};
  return picture::drawComparison(pass, ferrun::FilePath(conversion.lasPath).baseName(), system,
                                 outputs.picturePath, outputs.picture);
}
