// SPDX-License-Identifier: BSD-3-Clause
// Records sweeps as a mapping pipeline does: write_pcbin survey.pcbin
//
// Lidar frames with their poses are written in the same way: give writePcl() a PclFrame. A file
// holds frames of one kind.
#include <cstdio>
#include <memory>
#include <pcbin_las/platform/tracer.h>
#include <pcbin_las/storage/pcb_writer.h>
#include <pcbin_las/storage/pcl_registration.h>  // before PCL's algorithms

#include <pcl/filters/voxel_grid.h>

constexpr unsigned kSweeps = 25;
constexpr unsigned kPoints = 2000;  // of a sweep

/// The pipeline's log, which receives the warnings and errors of the library.
struct Log : ferrun::TracerSink {
  void writeLines(int level, const char* lines, std::size_t size) override {
    const char* const kind = level >= ferrun::kLevelError ? "error" : "warning";
    std::fprintf(stderr, "%s from the recorder: %.*s", kind, static_cast<int>(size), lines);
  }
};

std::shared_ptr<norvo::RgbCloud> makeSweep(unsigned sweep) {
  auto cloud = std::make_shared<norvo::RgbCloud>();
  for (unsigned i = 0; i < kPoints; ++i) {
    norvo::PointRGBIST point;
    point.x = 0.01F * static_cast<float>(i);  // metres, in the map
    point.y = static_cast<float>(sweep);
    point.r = 200;
    point.intensity = 40;  // stored as an integer up to 65535
    cloud->push_back(point);
  }
  return cloud;
}

/// The sweep with one point in every 5 cm. The filter keeps neither sweepid nor timestamp.
std::shared_ptr<modeling_app::PclRGBFrame> makeFrame(unsigned sweep) {
  auto frame = std::make_shared<modeling_app::PclRGBFrame>();
  frame->timestamp = 1767225600 + 0.1 * sweep;  // seconds since the Unix epoch
  frame->cloud = std::make_shared<norvo::RgbCloud>();
  pcl::VoxelGrid<norvo::PointRGBIST> grid;
  grid.setLeafSize(0.05F, 0.05F, 0.05F);
  grid.setInputCloud(makeSweep(sweep));
  grid.filter(*frame->cloud);
  for (norvo::PointRGBIST& point : *frame->cloud) {
    point.sweepid = sweep;  // selects the pose in the pose file
    point.timestamp = frame->timestamp;
  }
  return frame;
}

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: write_pcbin FILE\n", stderr), 2;
  ferrun::printLinesTo(std::make_shared<Log>(), ferrun::kLevelWarning);
  modeling_app::PcbWriter writer;
  if (!writer.open(argv[1], modeling_app::PcbWriter::kBufferSize))
    return 1;  // the log has the reason
  // A thread of the writer writes the frame later: do not change it after this call.
  for (unsigned sweep = 0; sweep < kSweeps; ++sweep) writer.writePcl(makeFrame(sweep));
  writer.waitForFrames();  // close() would wait in steps of five seconds
  writer.close();          // completes the header, and waits for the disk
  const modeling_app::WriteStatus status = writer.writeStatus();
  std::printf("%s: %llu of %u frames, %llu points%s%s\n", argv[1],
              static_cast<unsigned long long>(status.frames), kSweeps,
              static_cast<unsigned long long>(status.points), status.failed() ? ": " : "",
              status.failed() ? status.reason().c_str() : "");
  return status.failed() || status.frames < kSweeps ? 1 : 0;
}
