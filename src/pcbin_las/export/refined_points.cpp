// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/refined_points.h"

#include <cmath>
#include <vector>

#include "pcbin_las/export/refine_point.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

using modeling_app::ReadEnd;
using Position = std::array<double, 3>;

template <class Coordinates>
Position withOffset(const Coordinates& position, const Eigen::Vector3d& offset) {
  return {position[0] + offset.x(), position[1] + offset.y(), position[2] + offset.z()};
}

bool isFinite(const Position& position) {
  return std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
}

std::vector<RefinedPoint> refined(const norvo::RgbCloud& cloud, const norvo::PGOResultMsg& poses) {
  std::vector<RefinedPoint> result;
  result.reserve(cloud.points.size());
  SweepMotion motion;
  unsigned index = 0;
  for (const norvo::PointRGBIST& point : cloud.points) {
    const auto moved = refinePoint(point, index++, poses, motion);
    if (!moved) continue;
    const RefinedPoint both = {withOffset(std::array{point.x, point.y, point.z}, poses.offset),
                               withOffset(*moved, poses.offset),
                               {point.r, point.g, point.b}};
    if (isFinite(both.registered) && isFinite(both.refined)) result.push_back(both);
  }
  return result;
}

}  // namespace

bool passRefinedPoints(const std::string& pcbinPath, const norvo::PGOResultMsg& poses,
                       const std::function<void(std::span<const RefinedPoint>)>& take) {
  modeling_app::PcbReader reader;
  if (!reader.open(pcbinPath, modeling_app::PclBinary::kBufferSize)) return false;
  const auto read = [&reader] { return reader.readPclRGB(modeling_app::PclBinary::kBatchFrames); };
  for (auto frames = read(); !frames.empty(); frames = read()) {
    for (const auto& frame : frames) take(refined(*frame->cloud, poses));
    frames.clear();  // so that the next batch can reuse their memory
  }
  const ReadEnd end = reader.lastReadEnd();
  return end != ReadEnd::kReadError && end != ReadEnd::kNoMemory;
}
