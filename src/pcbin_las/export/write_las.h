// Turns frames into LAS points.
#pragma once

#include <memory>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/storage/frames.h"

/// How points are written; the defaults are those of a conversion without options.
struct PointOptions {
  bool gpsTime = false;   ///< time stamps are Unix seconds and become adjusted standard GPS time
  bool rgb16 = false;     ///< colours are multiplied by 257, so that 255 becomes 65535
  bool sourceId = false;  ///< the point source id is the sweep id modulo 65536
};

/// Points that are left out before they reach the LAS writer.
struct LeftOut {
  std::uint64_t noPose = 0;     ///< their sweep has no pose
  std::uint64_t otherTime = 0;  ///< their time stamp is no Unix time, with PointOptions::gpsTime
};

/// Refines the points of `frame` by the poses of `msg` and appends those whose sweep has a pose to
/// `writer`, in their order: coordinates without the offset, 8-bit colours unscaled, the intensity
/// as an integer (truncated, limited to 0 to 65535, NaN as 0), the time stamp as GPS time. With
/// `gpsTime`, points whose time stamp is no Unix time from 1980 to 2100 are left out. Adds the
/// points that it leaves out to `leftOut`. False, with an error line, when the frame has no cloud.
bool writeFrame(pontra::LasWriter& writer, const modeling_app::PclRGBFrame& frame,
                const norvo::PGOResultMsg& msg, const PointOptions& options, LeftOut& leftOut);

/// The same for a person: prints how many points the frame held. 0, or -1 when the frame has no
/// cloud.
int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg, const PointOptions& options, LeftOut& leftOut);
int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg);
