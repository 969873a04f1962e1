#include "pcbin_las/export/write_las.h"

#include "pcbin_las/export/refine_point.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/trace_macros.h"

int write_las(std::shared_ptr<pontra::LasWriter> writer,
              const std::shared_ptr<modeling_app::PclRGBFrame>& frame,
              const norvo::PGOResultMsg& msg, bool announce) {
  if (!frame->cloud) {
    TRACE_ERROR("write_las", "frame points is null!");
    return -1;
  }
  PointRefiner refiner(msg);
  const auto count = static_cast<unsigned>(frame->cloud->points.size());
  for (unsigned i = 0; i < count; ++i) {
    const norvo::PointRGBIST& point = frame->cloud->points[i];
    const auto position = refiner.refine(point, i);
    if (!position) continue;
    writer->writePoint({.x = position->x(),
                        .y = position->y(),
                        .z = position->z(),
                        .red = point.r,
                        .green = point.g,
                        .blue = point.b,
                        .intensity = ferrun::saturatingTruncate<std::uint16_t>(point.intensity),
                        .gpsTime = point.timestamp});
  }
  if (announce) TRACE_INFO("write_las", "refine pcl points(%u) ok.", count);
  return 0;
}
