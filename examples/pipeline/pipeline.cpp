// How a mapping pipeline writes pcbin files and reads them back.
//
// Three threads record at the same time: lidar frames, odometry messages and coloured clouds. Each
// kind has a file of its own, because a reader reads one kind: readPcl() the first two,
// readPclRGB() the last.
//
//   pcbin_pipeline [directory]    ends with 0 when everything that was written was read back
#include <cstdio>
#include <future>
#include <memory>
#include <string>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/platform/tracer.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"

namespace {

constexpr unsigned kFrames = 25;
constexpr unsigned kPointsPerFrame = 2000;
constexpr unsigned kBatchFrames = 10;         // read at a time: what is held in memory
constexpr unsigned kBufferSize = 4U << 20;    // bytes
constexpr double kFirstSweep = 1767225600.0;  // seconds since the Unix epoch
constexpr double kSweepPeriod = 0.1;          // seconds

// --- What the sensors and the odometry of a vehicle would give.

double sweepTime(unsigned sweep) {
  return kFirstSweep + sweep * kSweepPeriod;
}

norvo::PointIRT lidarPoint(unsigned sweep, unsigned i) {
  norvo::PointIRT point;
  point.x = 0.01F * static_cast<float>(i);  // metres
  point.y = static_cast<float>(sweep);
  point.z = -1.5F;
  point.intensity = static_cast<float>(i % 256);
  point.timestamp = sweepTime(sweep) + i * 1e-6;
  return point;
}

norvo::PointRGBIST colouredPoint(unsigned sweep, unsigned i) {
  norvo::PointRGBIST point;
  point.x = 0.01F * static_cast<float>(i);
  point.y = static_cast<float>(sweep);
  point.z = 2.25F;
  point.r = static_cast<std::uint8_t>(i);
  point.g = static_cast<std::uint8_t>(sweep);
  point.b = 200;
  point.intensity = static_cast<float>(i % 256);  // stored as a whole number up to 65535
  point.timestamp = sweepTime(sweep) + i * 1e-6;
  point.sweepid = sweep;
  return point;
}

template <class Point>
auto makeCloud(unsigned sweep, Point (*makePoint)(unsigned, unsigned)) {
  auto cloud = std::make_shared<pcl::PointCloud<Point>>();
  for (unsigned i = 0; i < kPointsPerFrame; ++i) cloud->push_back(makePoint(sweep, i));
  return cloud;
}

/// A lidar frame and its pose: a quarter turn about the vertical axis.
std::shared_ptr<modeling_app::PclFrame> makeFrame(unsigned sweep) {
  auto frame = std::make_shared<modeling_app::PclFrame>();
  frame->timestamp = sweepTime(sweep);
  frame->cloud = makeCloud(sweep, lidarPoint);
  frame->rotation = Eigen::Quaternionf(0.70710678F, 0, 0, 0.70710678F);  // w, x, y, z
  frame->translation = Eigen::Vector3f(static_cast<float>(sweep), 0, 0);
  return frame;
}

/// The same as the odometry hands it on.
std::shared_ptr<norvo::LioResultMsg> makeMessage(unsigned sweep) {
  auto message = std::make_shared<norvo::LioResultMsg>();
  message->timestamp = sweepTime(sweep);
  message->cloud = makeCloud(sweep, lidarPoint);
  message->rotation = {0.70710678F, 0, 0, 0.70710678F};  // w, x, y, z
  message->translation = {static_cast<float>(sweep), 0, 0};
  return message;
}

std::shared_ptr<norvo::RgbCloud> makeColouredCloud(unsigned sweep) {
  return makeCloud(sweep, colouredPoint);
}

// --- Writing.

/// Gives the worker up to ten seconds for the frames queued so far. close() waits for them in any
/// case, but looks only every five seconds.
void waitUntilWritten(const modeling_app::PcbWriter& writer) {
  for (int i = 0; i < 1000 && writer.totalFrames() < kFrames; ++i) ferrun::Thread::msleep(10);
}

/// Records one file. The writer belongs to this thread, which opens and closes it; its own worker
/// thread does the writing. Other threads might call writePcl() too, until close() is called: each
/// frame stays whole, and the frames stand in the order of the calls.
template <class MakeFrame>
bool record(const std::string& path, MakeFrame makeFrame) {
  modeling_app::PcbWriter writer;
  if (!writer.open(path, kBufferSize)) return false;
  bool queued = true;
  for (unsigned sweep = 0; sweep < kFrames; ++sweep) {
    // The writer keeps the frame alive until it is written. From here on it is only to be read: a
    // pipeline makes a new cloud for each sweep. True means queued, not yet on the disk.
    queued = writer.writePcl(makeFrame(sweep)) && queued;
  }
  waitUntilWritten(writer);
  writer.close();  // completes the header with the counts
  return queued;
}

// --- Reading.

bool isSame(const norvo::PointIRT& a, const norvo::PointIRT& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z && a.intensity == b.intensity &&
         a.timestamp == b.timestamp;
}

bool isSame(const norvo::PointRGBIST& a, const norvo::PointRGBIST& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z && a.r == b.r && a.g == b.g && a.b == b.b &&
         a.intensity == b.intensity && a.timestamp == b.timestamp && a.sweepid == b.sweepid;
}

template <class Cloud>
bool isSame(const Cloud& a, const Cloud& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!isSame(a[i], b[i])) return false;
  }
  return true;
}

bool isSweep(const modeling_app::PclFrame& frame, unsigned sweep) {
  const auto expected = makeFrame(sweep);
  return frame.timestamp == expected->timestamp &&
         frame.rotation.coeffs() == expected->rotation.coeffs() &&
         frame.translation == expected->translation && isSame(*frame.cloud, *expected->cloud);
}

/// A coloured frame carries the time at which its cloud was queued, not one of the sweep.
bool isSweep(const modeling_app::PclRGBFrame& frame, unsigned sweep) {
  return frame.timestamp > 0 && isSame(*frame.cloud, *makeColouredCloud(sweep));
}

/// Reads a file to its end with readPcl() or readPclRGB() and compares it with what was recorded.
/// The frames belong to the caller, who may keep them after the reader is gone.
template <class Frames>
bool check(const std::string& path, Frames (modeling_app::PclBinary::*readFrames)(unsigned)) {
  modeling_app::PcbReader reader;
  if (!reader.open(path, kBufferSize)) return false;
  bool same = reader.totalFrames() == kFrames && reader.totalPoints() == kFrames * kPointsPerFrame;
  unsigned sweep = 0;
  // An empty batch is the end of the file, or damage: then an error line tells.
  for (Frames batch = (reader.*readFrames)(kBatchFrames); !batch.empty();
       batch = (reader.*readFrames)(kBatchFrames)) {
    for (const auto& frame : batch) same = isSweep(*frame, sweep++) && same;
  }
  reader.close();
  same = same && sweep == kFrames;
  std::printf("%s: %u frames of %u points, %s\n", path.c_str(), sweep, kPointsPerFrame,
              same ? "as written" : "NOT as written");
  return same;
}

/// Shows the library's warnings and errors on the console. Without a started tracer it says
/// nothing.
void startTracer() {
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  tracer->setLevel(2);
  tracer->addSink(std::make_shared<ferrun::STDSink>());
  tracer->start();
}

}  // namespace

int main(int argc, char** argv) {
  startTracer();
  const std::string directory = argc > 1 ? argv[1] : ".";
  const std::string frames = directory + "/frames.pcbin";
  const std::string odometry = directory + "/odometry.pcbin";
  const std::string colours = directory + "/colours.pcbin";

  auto framesDone = std::async(std::launch::async, [&] { return record(frames, makeFrame); });
  auto odometryDone = std::async(std::launch::async, [&] { return record(odometry, makeMessage); });
  bool good = record(colours, makeColouredCloud);
  good = framesDone.get() && good;
  good = odometryDone.get() && good;
  if (!good) std::puts("not everything could be queued");

  good = check(frames, &modeling_app::PclBinary::readPcl) && good;
  good = check(odometry, &modeling_app::PclBinary::readPcl) && good;
  good = check(colours, &modeling_app::PclBinary::readPclRGB) && good;
  return good ? 0 : 1;
}
