#include "pcbin_las/app/pcbin_view.h"

#include <memory>

#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

constexpr unsigned kReadBufferSize = 4194304;
constexpr unsigned kBatchFrames = 10;

void printPoint(unsigned index, const norvo::PointRGBIST& point) {
  TRACE_INFO("pcbin_view",
             "points[%u](%.3f, %.3f, %.3f) rgbi(%d, %d, %d, %f) timestamp: %.6f, sweepid: %u.",
             index, static_cast<double>(point.x), static_cast<double>(point.y),
             static_cast<double>(point.z), point.r, point.g, point.b,
             static_cast<double>(point.intensity), point.timestamp, point.sweepid);
}

/// Prints the points of all frames from the reader's position on whose number lies in [start, end).
void printPoints(modeling_app::PclBinary& reader, unsigned start, unsigned end) {
  unsigned counter = 0;
  reader.leaveUndecoded(start);
  while (true) {
    const modeling_app::PclRGBFrames frames = reader.readPclRGB(kBatchFrames);
    if (frames.empty()) return;
    for (const auto& frame : frames) {
      const auto& points = frame->cloud->points;
      const std::uint64_t next = counter + std::uint64_t{points.size()};
      if (next <= start && next < end) {
        counter = static_cast<unsigned>(next);
        continue;
      }
      for (unsigned i = 0; i < points.size(); ++i) {
        if (counter >= start && counter < end) printPoint(i, points[i]);
        ++counter;
        if (counter >= end) return;
      }
      if (counter >= end) return;
    }
  }
}

}  // namespace

bool pcbin_view(const std::string& path, unsigned start, unsigned nums) {
  const auto reader = std::make_shared<modeling_app::PcbReader>();
  if (!reader->open(path, kReadBufferSize)) {
    TRACE_ERROR("pcbin_view", "cannot open pcbin file: %s!", path.c_str());
    return false;
  }
  TRACE_INFO("pcbin_view", "las write starts, frames: %u, points: %u.", reader->totalFrames(),
             reader->totalPoints());
  printPoints(*reader, start, start + nums);
  reader->close();
  return true;
}
