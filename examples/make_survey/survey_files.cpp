#include "make_survey/survey_files.h"

#include <string>
#include <system_error>

#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/thread.h"

namespace {

using ferrun::StrUtil;

/// What pgo.csv and the LAS header give as the place of the map's origin: metres, UTM.
constexpr double kOffset[3] = {512000, 5403000, 310};

constexpr int kMostQueuedFrames = 8;
constexpr unsigned kWriteBufferSize = 4U << 20;

void waitForQueue(const ferrun::AsyncTaskQueue& queue, int most) {
  while (queue.size() > most) ferrun::Thread::msleep(1);
}

std::string poseFields(const Pose& pose, const Eigen::Vector3f& velocity) {
  const auto vector = [](const Eigen::Vector3f& v) {
    return StrUtil::format(",%.9g,%.9g,%.9g", static_cast<double>(v.x()),
                           static_cast<double>(v.y()), static_cast<double>(v.z()));
  };
  return vector(pose.translation) + vector(velocity) +
         StrUtil::format(",%.9g", static_cast<double>(pose.rotation.w())) +
         vector(pose.rotation.vec());
}

norvo::PointRGBIST storedPoint(const ScanPoint& scanned, const Eigen::Isometry3d& registered) {
  norvo::PointRGBIST point;
  Eigen::Map<Eigen::Vector3f>(point.data) = (registered * scanned.position).cast<float>();
  point.r = static_cast<std::uint8_t>(scanned.red);
  point.g = static_cast<std::uint8_t>(scanned.green);
  point.b = static_cast<std::uint8_t>(scanned.blue);
  point.a = 255;
  point.intensity = static_cast<float>(scanned.intensity);
  return point;
}

}  // namespace

bool SurveyFiles::open(const std::filesystem::path& directory) {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xScaleFactor = header.yScaleFactor = header.zScaleFactor = 0.0001;
  header.xOffset = kOffset[0];
  header.yOffset = kOffset[1];
  header.zOffset = kOffset[2];
  poses_.open(directory / "pgo.csv");
  poses_ << "# time,sweep,offset_x,offset_y,offset_z,"
            "lio_x,lio_y,lio_z,lio_vx,lio_vy,lio_vz,lio_qw,lio_qx,lio_qy,lio_qz,"
            "pgo_x,pgo_y,pgo_z,pgo_vx,pgo_vy,pgo_vz,pgo_qw,pgo_qx,pgo_qy,pgo_qz,"
            "pgo_bias_x,pgo_bias_y,pgo_bias_z\n";
  pcbinPath_ = directory / "survey.pcbin";
  pcbinSize_ = sizeof(modeling_app::PcbHeader);
  return poses_.good() && queue_->init(1, {}) && pcbin_.open(pcbinPath_, kWriteBufferSize) &&
         truth_.open(header, directory / "truth.las", kWriteBufferSize);
}

bool SurveyFiles::add(std::uint32_t sweep, const SweepPoses& poses,
                      const std::vector<ScanPoint>& points) {
  const Eigen::Isometry3d registered = poses.registered.transform();
  const Eigen::Isometry3d optimised = poses.optimised.transform();
  const auto cloud = std::make_shared<norvo::RgbCloud>();
  cloud->points.reserve(points.size());
  bool ok = true;
  for (const ScanPoint& scanned : points) {
    norvo::PointRGBIST point = storedPoint(scanned, registered);
    point.timestamp = poses.time + scanned.delay;
    point.sweepid = sweep;
    cloud->points.push_back(point);
    const Eigen::Vector3d place = optimised * scanned.position;
    ok &= truth_.writePoint({.x = place.x(),
                             .y = place.y(),
                             .z = place.z(),
                             .red = point.r,
                             .green = point.g,
                             .blue = point.b,
                             .intensity = static_cast<std::uint16_t>(scanned.intensity),
                             .gpsTime = point.timestamp});
  }
  poses_ << StrUtil::format("%.6f,%u,%.3f,%.3f,%.3f", poses.time, sweep, kOffset[0], kOffset[1],
                            kOffset[2])
         << poseFields(poses.registered, poses.velocity)
         << poseFields(poses.optimised, poses.velocity) << ",0,0,0\n";
  pcbinSize_ +=
      sizeof(modeling_app::PcbFrameHeader) + points.size() * sizeof(modeling_app::RgbPointRecord);
  waitForQueue(*queue_, kMostQueuedFrames);
  return ok && pcbin_.writePcl(cloud);
}

bool SurveyFiles::close() {
  waitForQueue(*queue_, 0);  // the writer itself looks every five seconds only
  pcbin_.close();
  poses_.close();
  const bool written = truth_.close() && poses_.good();
  // The pcbin writer tells of a failed write by log lines; the size of its file tells it as well.
  std::error_code error;
  return written && std::filesystem::file_size(pcbinPath_, error) == pcbinSize_;
}
