// SPDX-License-Identifier: BSD-3-Clause
// Writes a pcbin file of coloured points: write_pcbin survey.pcbin
//
// Lidar frames with their poses are written in the same way: give writePcl() a PclFrame. A file
// holds frames of one kind.
#include <chrono>
#include <cstdio>
#include <memory>
#include <pcbin_las/platform/singleton.h>
#include <pcbin_las/platform/tracer.h>
#include <pcbin_las/storage/pcb_writer.h>
#include <thread>

constexpr unsigned kFrames = 25;
constexpr unsigned kPointsPerFrame = 2000;
constexpr unsigned kBufferSize = 4U << 20;  // bytes

std::shared_ptr<norvo::RgbCloud> makeCloud(unsigned sweep) {
  auto cloud = std::make_shared<norvo::RgbCloud>();
  for (unsigned i = 0; i < kPointsPerFrame; ++i) {
    norvo::PointRGBIST point;
    point.x = 0.01F * static_cast<float>(i);  // metres, in the map
    point.y = static_cast<float>(sweep);
    point.r = 200;
    point.intensity = 40;                                   // stored as an integer up to 65535
    point.timestamp = 1767225600 + 0.1 * sweep + 1e-6 * i;  // seconds
    point.sweepid = sweep;                                  // selects the pose in the pose file
    cloud->push_back(point);
  }
  return cloud;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  // Print the library's warnings and errors.
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  tracer->setLevel(2);
  tracer->addSink(std::make_shared<ferrun::STDSink>());
  tracer->start();

  modeling_app::PcbWriter writer;
  if (!writer.open(argv[1], kBufferSize)) return 1;
  unsigned queued = 0;
  // writePcl() returns at once; a worker thread of the writer writes the frame later. Do not change
  // a cloud after this call: make a new one for each sweep.
  for (unsigned sweep = 0; sweep < kFrames; ++sweep)
    queued += writer.writePcl(makeCloud(sweep)) ? 1 : 0;

  // While frames are queued, close() waits in steps of five seconds. Wait for them here instead.
  while (writer.totalFrames() < queued) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::printf("%s: %u frames, %u points\n", argv[1], writer.totalFrames(), writer.totalPoints());
  writer.close();  // completes the header
  return queued == kFrames ? 0 : 1;
}
