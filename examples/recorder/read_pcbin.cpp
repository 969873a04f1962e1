// SPDX-License-Identifier: BSD-3-Clause
// Reads a pcbin file of coloured points: read_pcbin survey.pcbin
//
// Lidar frames are read in the same way, by readPcl().
#include <cstdint>
#include <cstdio>
#include <memory>
#include <pcbin_las/platform/singleton.h>
#include <pcbin_las/platform/tracer.h>
#include <pcbin_las/storage/pcb_reader.h>

constexpr unsigned kBatchFrames = 10;       // read at a time
constexpr unsigned kBufferSize = 4U << 20;  // bytes; no effect on reading

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  // Print the library's warnings and errors. Damage in the file is reported there.
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  tracer->setLevel(2);
  tracer->addSink(std::make_shared<ferrun::STDSink>());
  tracer->start();

  modeling_app::PcbReader reader;
  if (!reader.open(argv[1], kBufferSize)) return 1;
  unsigned frames = 0;
  std::uint64_t points = 0;
  norvo::PointRGBIST last;
  // An empty batch: the end of the file, or damage.
  for (auto batch = reader.readPclRGB(kBatchFrames); !batch.empty();
       batch = reader.readPclRGB(kBatchFrames)) {
    for (const auto& frame : batch) {  // may be kept after the reader is closed
      ++frames;
      points += frame->cloud->size();
      if (!frame->cloud->empty()) last = frame->cloud->back();
    }
  }
  std::printf("%s: %u frames, %llu points, last point (%.3f, %.3f, %.3f) of sweep %u at %.6f s\n",
              argv[1], frames, static_cast<unsigned long long>(points), last.x, last.y, last.z,
              last.sweepid, last.timestamp);
  return frames == reader.totalFrames() ? 0 : 1;
}
