// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/comparison.h"

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/refined_points.h"
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

bool passMovedPoints(const std::string& pcbinPath, const norvo::PGOResultMsg& poses,
                     const std::function<void(std::span<const picture::MovedPoint>)>& take) {
  const QuietTracer quiet;
  std::vector<picture::MovedPoint> moved;
  return passRefinedPoints(pcbinPath, poses, [&](std::span<const RefinedPoint> points) {
    moved.clear();
    for (const auto& [registered, refined, colour] : points)
      moved.push_back({registered, refined, {colour[0], colour[1], colour[2]}});
    take(moved);
  });
}

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
  const auto pass = [&](const std::function<void(std::span<const picture::MovedPoint>)>& take) {
    return passMovedPoints(conversion.pcbinPath, poses, take) ||
           reportUnread("pcbin", conversion.pcbinPath);
  };
  return picture::drawComparison(pass, ferrun::FilePath(conversion.lasPath).baseName(),
                                 pontra::mapSystemOf(conversion.epsg), outputs.picturePath,
                                 outputs.picture);
}
