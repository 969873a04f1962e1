// SPDX-License-Identifier: BSD-3-Clause
// Reads a pcbin file of coloured points: read_pcbin survey.pcbin
//
// Lidar frames are read in the same way, by readPcl().
#include <cstdint>
#include <cstdio>
#include <pcbin_las/storage/pcb_reader.h>

using modeling_app::PcbReader;

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: read_pcbin FILE\n", stderr), 2;
  PcbReader reader;
  unsigned frames = 0;
  std::uint64_t points = 0;
  norvo::PointRGBIST last;
  if (reader.open(argv[1], PcbReader::kBufferSize)) {  // the size has no effect on reading
    for (auto batch = reader.readPclRGB(PcbReader::kBatchFrames); !batch.empty();
         batch = reader.readPclRGB(PcbReader::kBatchFrames)) {
      for (const auto& frame : batch) {  // may be kept after the reader is closed
        ++frames;
        points += frame->cloud->size();
        if (!frame->cloud->empty()) last = frame->cloud->back();
      }
    }
    std::printf("%s: %u frames, %llu points, last point (%.3f, %.3f, %.3f) of sweep %u at %.6f s\n",
                argv[1], frames, static_cast<unsigned long long>(points), last.x, last.y, last.z,
                last.sweepid, last.timestamp);
    // An empty batch: the end of the file, or damage. The writer's header tells whether frames are
    // missing.
    if (reader.lastReadEnd() == modeling_app::ReadEnd::kEndOfFile && frames >= reader.totalFrames())
      return 0;
    std::fprintf(stderr, "%s: not all of the %u announced frames could be read\n", argv[1],
                 reader.totalFrames());
  }
  if (!reader.lastError().empty()) std::fprintf(stderr, "%s\n", reader.lastError().c_str());
  return 1;
}
