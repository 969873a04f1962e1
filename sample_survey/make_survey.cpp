// SPDX-License-Identifier: BSD-3-Clause
// Makes a sample survey: the files that a mapping pipeline and its pose-graph optimisation leave
// behind, and the true points to compare a conversion with.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "drive.h"
#include "lidar.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"
#include "write_pcbin.h"

namespace {

constexpr const char* kUsage =
    "make_survey <directory>\n\n"
    "Simulates a lidar that is driven down a street and back. Writes into the directory\n"
    "  survey.pcbin  the points, registered by a drifting odometry, one frame per sweep\n"
    "  pgo.csv       the odometry poses and the optimised poses\n"
    "  truth.las     the true points, in the same order\n";

constexpr unsigned kSweeps = 600;
constexpr unsigned kSweepPoints = 2500;
constexpr double kStartTime = 1782036000;              // 2026-06-21, 10:00 UTC
constexpr double kOffset[3] = {512000, 5403000, 310};  // of the map's origin: metres, UTM
constexpr unsigned kLasBufferSize = 4U << 20;          // bytes

/// Writes the position, a velocity of zero and the quaternion.
void writePose(std::FILE* file, const Eigen::Isometry3d& pose) {
  const Eigen::Vector3d t = pose.translation();
  const Eigen::Quaterniond q(pose.linear());
  std::fprintf(file, ",%.9g,%.9g,%.9g,0,0,0,%.9g,%.9g,%.9g,%.9g", t.x(), t.y(), t.z(), q.w(), q.x(),
               q.y(), q.z());
}

void writePoseLine(std::FILE* file, unsigned sweep, double time, const SweepPoses& poses) {
  std::fprintf(file, "%.6f,%u,%.3f,%.3f,%.3f", time, sweep, kOffset[0], kOffset[1], kOffset[2]);
  writePose(file, poses.registered);
  writePose(file, poses.optimised);
  std::fputs(",0,0,0\n", file);
}

norvo::PointRGBIST mapPoint(const LidarReturn& measured, const Eigen::Isometry3d& registered) {
  norvo::PointRGBIST point;
  Eigen::Map<Eigen::Vector3f>(point.data) = (registered * measured.position).cast<float>();
  point.r = static_cast<std::uint8_t>(measured.colour.x());
  point.g = static_cast<std::uint8_t>(measured.colour.y());
  point.b = static_cast<std::uint8_t>(measured.colour.z());
  point.intensity = static_cast<float>(measured.intensity);
  return point;
}

bool openTruth(pontra::LasWriter& truth, const std::string& path) {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xScaleFactor = header.yScaleFactor = header.zScaleFactor = 0.0001;
  header.xOffset = kOffset[0];
  header.yOffset = kOffset[1];
  header.zOffset = kOffset[2];
  return truth.open(header, path, kLasBufferSize);
}

bool makeSurvey(const std::filesystem::path& directory) {
  pontra::LasWriter truth;
  if (!openTruth(truth, directory / "truth.las")) return false;
  std::FILE* const poseFile = std::fopen((directory / "pgo.csv").c_str(), "w");
  if (poseFile == nullptr) return false;
  bool ok = true;
  const auto street = buildStreet();
  Drive drive(kSweeps);
  Random random(3);
  const auto makeCloud = [&](unsigned sweep) {
    const double time = kStartTime + sweep * kSweepTime;
    const SweepPoses poses = drive.next();
    writePoseLine(poseFile, sweep, time, poses);
    auto cloud = std::make_shared<norvo::RgbCloud>();
    for (const LidarReturn& measured : scan(street, poses.optimised, kSweepPoints, random)) {
      norvo::PointRGBIST point = mapPoint(measured, poses.registered);
      point.timestamp = time + measured.time;
      point.sweepid = sweep;
      cloud->points.push_back(point);
      const Eigen::Vector3d p = poses.optimised * measured.position;
      ok &= truth.writePoint({p.x(), p.y(), p.z(), point.r, point.g, point.b,
                              static_cast<std::uint16_t>(point.intensity), point.timestamp});
    }
    return cloud;
  };
  ok &= writePcbin(directory / "survey.pcbin", kSweeps, makeCloud);
  ok &= std::ferror(poseFile) == 0;
  ok &= std::fclose(poseFile) == 0;
  return truth.close() && ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '-') {
    std::cerr << kUsage;
    return 2;
  }
  ferrun::printLinesToConsole();
  std::error_code error;
  std::filesystem::create_directories(argv[1], error);
  if (error || !makeSurvey(argv[1])) {
    std::cerr << "make_survey: cannot write the survey in " << argv[1] << '\n';
    return 1;
  }
  std::cout << argv[1] << ": " << kSweeps * kSweepPoints << " points in " << kSweeps << " sweeps\n";
  return 0;
}
