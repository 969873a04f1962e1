// SPDX-License-Identifier: BSD-3-Clause
#include "survey.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "system_calls.h"
#include "write_pcbin.h"

namespace bench {
namespace {

constexpr double kStartTime = 1700000000;  // seconds since the Unix epoch, of sweep 0
constexpr double kSweepTime = 0.1;         // seconds
constexpr float kStep = 0.8F;              // metres that the lidar moves per sweep

}  // namespace

std::shared_ptr<norvo::RgbCloud> sweepCloud(std::uint32_t sweep, unsigned points) {
  std::minstd_rand random(sweep + 1);  // portable: the standard defines its numbers
  auto cloud = std::make_shared<norvo::RgbCloud>();
  cloud->points.resize(points);
  for (unsigned i = 0; i < points; ++i) {
    norvo::PointRGBIST& point = cloud->points[i];
    const auto bits = static_cast<std::uint32_t>(random());
    point.x = static_cast<float>(sweep) * kStep + static_cast<float>(bits % 60000) / 1000 - 30;
    point.y = static_cast<float>(i % 40000) / 1000 - 20;
    point.z = static_cast<float>(bits % 977) / 100;
    point.r = static_cast<std::uint8_t>(bits >> 4);
    point.g = static_cast<std::uint8_t>(bits >> 12);
    point.b = static_cast<std::uint8_t>(bits >> 20);
    point.intensity = static_cast<float>(bits % 4096);
    point.timestamp = kStartTime + sweep * kSweepTime + i * (kSweepTime / points);
    point.sweepid = sweep;
  }
  return cloud;
}

void writeSurvey(const std::string& path, unsigned sweeps, unsigned points) {
  const auto makeCloud = [points](unsigned sweep) { return sweepCloud(sweep, points); };
  if (!writePcbin(path, sweeps, makeCloud)) fail(path.c_str());
}

void writePoses(const std::string& path, unsigned sweeps) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  if (file == nullptr) fail(path.c_str());
  for (unsigned sweep = 0; sweep < sweeps; ++sweep) {
    const double yaw = 0.0005 * sweep;  // radians
    const double turned = yaw + 0.002;
    const double x = static_cast<double>(kStep) * sweep;
    std::fprintf(file,
                 "%.6f,%u,500000.25,4100000.5,35.125,"
                 "%.6f,%.6f,0.5,0,0,0,%.9f,0,0,%.9f,"
                 "%.6f,%.6f,0.55,0,0,0,%.9f,0,0,%.9f,0,0,0\n",
                 kStartTime + kSweepTime * sweep, sweep, x, 0.01 * x, std::cos(yaw / 2),
                 std::sin(yaw / 2), x + 0.03, 0.01 * x - 0.02, std::cos(turned / 2),
                 std::sin(turned / 2));
  }
  if (std::fclose(file) != 0) fail(path.c_str());
}

TempDir::TempDir() {
  std::string name = std::filesystem::temp_directory_path() / "pcbin_bench.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) fail(name.c_str());
  path_ = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace bench
