// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/write_las.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "pcbin_las/export/refine_point.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

/// Points that are refined together. The compiler vectorises loops of this length over contiguous
/// numbers.
constexpr std::size_t kBlock = 256;

/// The points of a block whose sweep has a pose, in order, and their refined positions.
struct RefinedBlock {
  std::size_t count = 0;
  std::array<const norvo::PointRGBIST*, kBlock> points;
  std::array<float, kBlock> x, y, z;  ///< metres
  std::array<double, kBlock> time;    ///< set by convertTimes()

  void append(const norvo::PointRGBIST& point, float refinedX, float refinedY, float refinedZ) {
    points[count] = &point;
    x[count] = refinedX;
    y[count] = refinedY;
    z[count] = refinedZ;
    ++count;
  }
};

bool areOfOneSweep(std::span<const norvo::PointRGBIST> points) {
  std::uint32_t otherBits = 0;
  for (const norvo::PointRGBIST& point : points) otherBits |= point.sweepid ^ points[0].sweepid;
  return otherBits == 0;
}

/// Refines up to kBlock points; `i` is the index of the first in its frame. Leaves out those whose
/// sweep has no pose.
void refineBlock(std::span<const norvo::PointRGBIST> points, unsigned i,
                 const norvo::PGOResultMsg& msg, SweepMotion& motion, RefinedBlock& block) {
  block.count = 0;
  if (points.size() < kBlock || !areOfOneSweep(points)) {
    for (const norvo::PointRGBIST& point : points) {
      if (const auto refined = refinePoint(point, i++, msg, motion))
        block.append(point, (*refined)[0], (*refined)[1], (*refined)[2]);
    }
    return;
  }
  const bool moves = !msg.pgoPoses.empty();
  const std::uint32_t sweepid = points[0].sweepid;
  if (moves && sweepid != motion.sweep && !selectSweep(sweepid, i, msg, motion)) return;
  for (const norvo::PointRGBIST& point : points) {
    // Prefetches the next block, which was evicted from the cache after decoding. Harmless beyond
    // the end of the cloud.
    __builtin_prefetch(&point + kBlock);
    block.append(point, point.x, point.y, point.z);
  }
  if (!moves) return;
  const SweepMotion sweep = motion;  // a copy: its members cannot change in the loop
  for (std::size_t k = 0; k < kBlock; ++k) {
    const std::array<float, 3> moved = sweep.apply(block.x[k], block.y[k], block.z[k]);
    block.x[k] = moved[0];
    block.y[k] = moved[1];
    block.z[k] = moved[2];
  }
}

/// Converts the times of a block.
template <pontra::Clock kClock>
void convertTimes(RefinedBlock& block, WrittenTimes& times) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  std::size_t missing = 0;
  for (std::size_t k = 0; k < block.count; ++k) {
    const double timeStamp = block.points[k]->timestamp;
    const bool valid = timeStamp != 0 && pontra::isTimeOf(kClock, timeStamp);
    missing += valid ? 0 : 1;
    block.time[k] = valid ? pontra::toAdjustedGpsTime(kClock, timeStamp) : kNone;
  }
  if (missing < block.count) {
    const auto isTime = [](double time) { return !std::isnan(time); };
    const std::span<const double> all(block.time.data(), block.count);
    if (!times.first) times.first = *std::ranges::find_if(all, isTime);
    times.last = *std::find_if(all.rbegin(), all.rend(), isTime);
  }
  times.missing += missing;
  if (missing > 0)
    std::replace_if(
        block.time.begin(), block.time.begin() + block.count,
        [](double time) { return std::isnan(time); }, 0.0);
}

void convertTimes(pontra::Clock clock, RefinedBlock& block, WrittenTimes& times) {
  switch (clock) {
    case pontra::Clock::kUnix:
      return convertTimes<pontra::Clock::kUnix>(block, times);
    case pontra::Clock::kGps:
      return convertTimes<pontra::Clock::kGps>(block, times);
    case pontra::Clock::kAdjustedGps:
      return convertTimes<pontra::Clock::kAdjustedGps>(block, times);
  }
}

/// Counts the points of a block that the writer has refused for their coordinates.
void countRefused(const pontra::LasWriter& writer, const RefinedBlock& block,
                  RefusedPoints& refused) {
  for (std::size_t k = 0; k < block.count; ++k) {
    const std::array<float, 3> place = {block.x[k], block.y[k], block.z[k]};
    if (writer.fits({place[0], place[1], place[2]})) continue;
    if (refused.notFinite + refused.outOfRange == 0) {
      refused.firstSweep = block.points[k]->sweepid;
      refused.first = place;
    }
    const bool finite =
        std::ranges::all_of(place, [](float value) { return std::isfinite(value); });
    ++(finite ? refused.outOfRange : refused.notFinite);
  }
}

}  // namespace

bool writeFrame(pontra::LasWriter& writer, const modeling_app::PclRGBFrame& frame,
                const norvo::PGOResultMsg& msg, const PointOptions& options, FrameTally& tally) {
  if (!frame.cloud) {
    TRACE_ERROR("write_las", "frame points is null!");
    return false;
  }
  const std::span<const norvo::PointRGBIST> points = frame.cloud->points;
  const int colourScale = options.rgb16 ? 257 : 1;
  const std::uint32_t sourceIdBits = options.sourceId ? 0xFFFF : 0;
  const bool hasClock = options.clock.has_value();
  SweepMotion motion;
  RefinedBlock block;
  for (std::size_t i = 0; i < points.size(); i += kBlock) {
    const auto blockPoints = points.subspan(i, std::min(kBlock, points.size() - i));
    refineBlock(blockPoints, static_cast<unsigned>(i), msg, motion, block);
    tally.noPose += blockPoints.size() - block.count;
    if (options.clock) convertTimes(*options.clock, block, tally.times);
    // Copies of the options, so that writing a record cannot change them.
    const auto pointAt = [&block, colourScale, sourceIdBits, hasClock](std::size_t k) {
      const norvo::PointRGBIST& point = *block.points[k];
      return pontra::LasPoint{
          .x = block.x[k],
          .y = block.y[k],
          .z = block.z[k],
          .red = static_cast<std::uint16_t>(point.r * colourScale),
          .green = static_cast<std::uint16_t>(point.g * colourScale),
          .blue = static_cast<std::uint16_t>(point.b * colourScale),
          .intensity = ferrun::saturatingTruncate<std::uint16_t>(point.intensity),
          .gpsTime = hasClock ? block.time[k] : point.timestamp,
          .pointSourceID = static_cast<std::uint16_t>(point.sweepid & sourceIdBits)};
    };
    const std::uint64_t refusedBefore = writer.refused();
    writer.writePoints(block.count, pointAt);
    if (writer.refused() > refusedBefore) countRefused(writer, block, tally.refused);
  }
  return true;
}

int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg, const PointOptions& options, FrameTally& tally) {
  if (!writeFrame(*writer, *frame, msg, options, tally)) return -1;
  TRACE_INFO("write_las", "refine pcl points(%u) ok.",
             static_cast<unsigned>(frame->cloud->points.size()));
  return 0;
}

int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg) {
  FrameTally tally;
  return write_las(std::move(writer), frame, msg, {}, tally);
}
