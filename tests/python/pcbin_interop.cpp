// SPDX-License-Identifier: BSD-3-Clause
// The C++ side of pcbin_test.py:
//
//   pcbin_interop write-lidar|write-rgb FILE     writes two frames of known points and an empty one
//   pcbin_interop copy-lidar|copy-rgb FROM TO    reads a file and writes its frames to another
//   pcbin_interop poses FILE                     prints the poses by sweep as the module's dtype
//   POSE
#include <array>
#include <cmath>
#include <fstream>
#include <string>

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/platform/async_task_queue.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"

namespace {

using modeling_app::PclFrame;

/// A writer that closes as soon as its queue is empty.
class Output {
 public:
  explicit Output(const std::string& path) {
    queue_->init(1, {});
    ok_ = writer_.open(path, 65536);
  }
  template <class Frame>
  void write(const std::shared_ptr<Frame>& frame) {
    ok_ = writer_.writePcl(frame) && ok_;
  }
  bool close() {
    while (queue_->size() > 0) ferrun::Thread::msleep(1);
    writer_.close();
    return ok_;
  }

 private:
  std::shared_ptr<ferrun::AsyncTaskQueue> queue_ = std::make_shared<ferrun::AsyncTaskQueue>("test");
  modeling_app::PcbWriter writer_{queue_};
  bool ok_ = false;
};

bool writeLidar(const std::string& path) {
  Output output(path);
  for (const unsigned count : {3U, 0U, 1000U}) {
    auto frame = std::make_shared<PclFrame>();
    frame->timestamp = 1000.25 + count;
    frame->rotation = Eigen::Quaternionf(0.5F, -0.5F, 0.25F, 0.125F);
    frame->translation = {1, 2, 3};
    frame->cloud = std::make_shared<norvo::IrtCloud>();
    for (unsigned i = 0; i < count; ++i) {
      const auto n = static_cast<float>(i);
      norvo::PointIRT point;
      point.x = n / 3;
      point.y = -n;
      point.z = i == 1 ? NAN : 0.1F;
      point.intensity = n / 7;
      point.timestamp = i / 10.0;
      frame->cloud->push_back(point);
    }
    output.write(frame);
  }
  return output.close();
}

bool writeRgb(const std::string& path) {
  constexpr float kIntensities[] = {0,        1.9F,         255,   65535.5F, 65536,
                                    70000.7F, 4294967040.F, 1e20F, INFINITY, -1,
                                    -0.5F,    -INFINITY,    NAN};
  Output output(path);
  for (const unsigned count : {3U, 0U, 1000U}) {
    const auto cloud = std::make_shared<norvo::RgbCloud>();
    for (unsigned i = 0; i < count; ++i) {
      norvo::PointRGBIST point;
      point.x = static_cast<float>(i) / 3;
      point.y = -static_cast<float>(i);
      point.z = 0.1F;
      point.r = static_cast<std::uint8_t>(i);
      point.g = static_cast<std::uint8_t>(2 * i);
      point.b = static_cast<std::uint8_t>(255 - i);
      point.a = static_cast<std::uint8_t>(i / 2);
      point.intensity = kIntensities[i % std::size(kIntensities)];
      point.timestamp = i / 10.0;
      point.sweepid = 4294967295U - i;
      cloud->push_back(point);
    }
    output.write(cloud);
  }
  return output.close();
}

bool copyFrames(bool lidar, const std::string& from, const std::string& to) {
  modeling_app::PcbReader reader;
  if (!reader.open(from, 65536)) return false;
  Output output(to);
  if (lidar)
    for (const auto& frame : reader.readPcl(100)) output.write(frame);
  else
    for (const auto& frame : reader.readPclRGB(100)) output.write(frame->cloud);
  return output.close();
}

bool copyPoses(const std::string& from, const std::string& to) {
  norvo::PGOResultMsg poses;
  if (!loadPgoFile(from, poses)) return false;
  std::ofstream output(to, std::ios::binary);
  const auto write = [&](const auto& value) {
    output.write(reinterpret_cast<const char*>(&value), sizeof(value));
  };
  write(poses.offset);
  for (std::size_t sweep = 0; sweep < poses.lioPoses.size(); ++sweep) {
    write(poses.lioPoses[sweep].timestamp);
    write(poses.lioPoses[sweep].id);
    for (const auto& pose : {poses.lioPoses[sweep], poses.pgoPoses[sweep]}) {
      const auto& q = pose.rotation;
      write(pose.translation);
      write(pose.aux1);
      write(std::array<float, 4>{q.w(), q.x(), q.y(), q.z()});
      write(pose.aux2);
    }
  }
  return output.flush().good();
}

bool run(const std::string& task, const std::string& path, const std::string& target) {
  if (task == "write-lidar") return writeLidar(path);
  if (task == "write-rgb") return writeRgb(path);
  if (task == "poses") return copyPoses(path, target);
  return copyFrames(task == "copy-lidar", path, target);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  return run(argv[1], argv[2], argc > 3 ? argv[3] : "") ? 0 : 1;
}
