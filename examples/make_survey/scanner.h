// A spinning lidar that looks around in the town.
#pragma once

#include <cstdint>
#include <vector>

#include <Eigen/Geometry>

#include "make_survey/town.h"

/// One return of the scanner.
struct ScanPoint {
  Eigen::Vector3d position;  ///< metres, in the scanner's frame
  double delay;              ///< seconds since the start of the sweep, below 0.1
  double red;                ///< 0 to 255, as are the other colours
  double green;
  double blue;
  double intensity;  ///< 0 to 255
};

class Scanner {
 public:
  /// `town` must outlive the scanner.
  Scanner(const Town& town, std::uint64_t seed) : town_(town), seed_(seed) {}

  /// A sweep of exactly `count` returns from where `pose` puts the scanner, in the order of their
  /// time. The same sweep number gives the same noise. The list is good until the next call.
  const std::vector<ScanPoint>& sweep(const Eigen::Isometry3d& pose, std::uint32_t number,
                                      std::uint32_t count);

 private:
  void turnOnce(const Eigen::Isometry3d& pose, std::uint32_t number, std::uint32_t columns);

  const Town& town_;
  std::uint64_t seed_;
  std::vector<ScanPoint> points_;
};
