// SPDX-License-Identifier: BSD-3-Clause
// Turns frames into LAS points.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/storage/frames.h"

/// How points are written; the defaults are those of a conversion without options.
struct PointOptions {
  std::optional<pontra::Clock> clock;  ///< of the time stamps, which become adjusted standard GPS
                                       ///< time; if empty, they are stored unchanged
  bool rgb16 = false;                  ///< colours are multiplied by 257, so that 255 becomes 65535
  bool sourceId = false;               ///< the point source id is the sweep id modulo 65536
};

/// The times of written points, as adjusted standard GPS time.
struct WrittenTimes {
  std::optional<double> first;  ///< empty if no point has a time
  double last = 0;
  std::uint64_t missing = 0;  ///< points whose time stamp the clock cannot have
};

/// The points that do not fit the LAS file.
struct RefusedPoints {
  std::uint64_t notFinite = 0;   ///< points with a coordinate that is not finite
  std::uint64_t outOfRange = 0;  ///< points too far from the offset
  std::uint32_t firstSweep = 0;  ///< the sweep of the first of them
  std::array<float, 3> first = {};
};

/// What writeFrame() tells besides the points that it writes.
struct FrameTally {
  std::uint64_t noPose = 0;  ///< points left out because their sweep has no pose
  WrittenTimes times;        ///< with PointOptions::clock
  RefusedPoints refused;
};

/// Refines the points of `frame` by the poses of `msg` and appends those whose sweep has a pose to
/// `writer`, in their order: coordinates without the offset, 8-bit colours unscaled, the intensity
/// as an integer (truncated, limited to 0 to 65535, NaN as 0), the time stamp as GPS time. With
/// a clock, points whose time stamp is 0 or not between 1980 and 2100 have the time 0. Adds to
/// `tally`. False, with an error line, when the frame has no cloud.
bool writeFrame(pontra::LasWriter& writer, const modeling_app::PclRGBFrame& frame,
                const norvo::PGOResultMsg& msg, const PointOptions& options, FrameTally& tally);

/// The same for a person: prints how many points the frame held. 0, or -1 when the frame has no
/// cloud.
int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg, const PointOptions& options, FrameTally& tally);
int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg);
