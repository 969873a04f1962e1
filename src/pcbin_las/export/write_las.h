// Turns frames into LAS points.
#pragma once

#include <memory>

#include "pcbin_las/export/poses.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/storage/frames.h"

/// Refines the points of `frame` by the poses of `msg` and appends those whose sweep has a pose to
/// `writer`, in their order: coordinates without the offset, 8-bit colours unscaled, the intensity
/// as an integer (truncated, held within 0 to 65535, NaN as 0), the time stamp as GPS time. Prints
/// how many points the frame held, when `announce` is set. 0, or -1 with an error line when the
/// frame has no cloud.
int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg, bool announce = true);
