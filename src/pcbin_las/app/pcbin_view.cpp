// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/pcbin_view.h"

#include <algorithm>
#include <memory>

#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

using modeling_app::PclBinary;
using modeling_app::PclRGBFrames;
using modeling_app::SkippedFrames;

void printPoint(unsigned index, const norvo::PointRGBIST& point) {
  TRACE_INFO("pcbin_view",
             "points[%u](%.3f, %.3f, %.3f) rgbi(%d, %d, %d, %f) timestamp: %.6f, sweepid: %u.",
             index, static_cast<double>(point.x), static_cast<double>(point.y),
             static_cast<double>(point.z), point.r, point.g, point.b,
             static_cast<double>(point.intensity), point.timestamp, point.sweepid);
}

/// Prints the points with numbers in [start, end) of all frames from the reader's position.
void printPoints(PclBinary& reader, unsigned start, unsigned end) {
  const ferrun::Tracer::Gathering gathering(*ferrun::Singleton<ferrun::Tracer>::getInstance());
  // Skips the frames before the one that contains the first point to print, or `end`.
  const unsigned firstWanted = std::min(start, end - 1);
  unsigned counter = 0;
  while (true) {
    const unsigned notWanted = end > 0 && counter < firstWanted ? firstWanted - counter : 0;
    const SkippedFrames skipped = reader.skipPclRGB(PclBinary::kBatchFrames, notWanted);
    counter += static_cast<unsigned>(skipped.points);
    PclRGBFrames frames;
    if (skipped.atWantedFrame) frames = reader.readPclRGB(PclBinary::kBatchFrames - skipped.frames);
    if (skipped.frames == 0 && frames.empty()) return;
    for (const auto& frame : frames) {
      const auto& points = frame->cloud->points;
      for (unsigned i = 0; i < points.size(); ++i) {
        if (counter >= start && counter < end) printPoint(i, points[i]);
        ++counter;
        if (counter >= end || ferrun::STDSink::readerIsGone()) return;
      }
    }
    if (counter >= end) return;  // after the first batch when `end` is 0, even of empty frames
  }
}

}  // namespace

bool pcbin_view(const std::string& path, unsigned start, unsigned nums) {
  const auto reader = std::make_shared<modeling_app::PcbReader>();
  if (!reader->open(path, PclBinary::kBufferSize)) {
    TRACE_ERROR("pcbin_view", "cannot open pcbin file: %s!", path.c_str());
    return false;
  }
  TRACE_INFO("pcbin_view", "las write starts, frames: %u, points: %u.", reader->totalFrames(),
             reader->totalPoints());
  printPoints(*reader, start, start + nums);
  reader->close();
  return true;
}
