// Memory for the points of clouds, used again from frame to frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "pcbin_las/platform/large_memory.h"

namespace modeling_app {

/// Makes clouds whose memory comes back when their last owner lets go of them, for the clouds to
/// come: memory that is new to the process costs more than all that is done with a point. Any
/// thread may let go, also after the storage is gone.
template <class Cloud>
class PointStorage : public std::enable_shared_from_this<PointStorage<Cloud>> {
 public:
  PointStorage() { kept_.reserve(kMostKept); }

  /// A new cloud of `pointCount` points, whose values are undetermined but for width and height.
  std::shared_ptr<Cloud> makeCloud(std::size_t pointCount) {
    const auto returnPoints = [storage = this->weak_from_this()](Cloud* cloud) {
      if (const auto home = storage.lock()) home->keep(std::move(cloud->points));
      delete cloud;
    };
    std::shared_ptr<Cloud> cloud(new Cloud, returnPoints);
    cloud->points = take(pointCount);
    if (cloud->points.capacity() < pointCount) {
      cloud->points.clear();
      cloud->points.reserve(pointCount);
      ferrun::mapPages(cloud->points.data(), pointCount * sizeof(cloud->points[0]));
    }
    cloud->points.resize(pointCount);
    cloud->width = static_cast<std::uint32_t>(pointCount);
    cloud->height = pointCount > 0 ? 1 : 0;
    return cloud;
  }

  /// Gives back the memory that waits for clouds to come.
  void release() {
    const std::lock_guard lock(mutex_);
    kept_.clear();
  }

 private:
  using Points = decltype(Cloud::points);

  /// The smallest kept memory that holds `pointCount` points, or else the largest.
  Points take(std::size_t pointCount) {
    const std::lock_guard lock(mutex_);
    if (kept_.empty()) return {};
    auto chosen = kept_.begin();
    for (auto candidate = kept_.begin(); candidate != kept_.end(); ++candidate) {
      const bool fits = candidate->capacity() >= pointCount;
      const bool chosenFits = chosen->capacity() >= pointCount;
      const bool smaller = candidate->capacity() < chosen->capacity();
      if (fits ? !chosenFits || smaller : !chosenFits && !smaller) chosen = candidate;
    }
    Points points = std::move(*chosen);
    kept_.erase(chosen);
    return points;
  }

  void keep(Points points) {
    const std::lock_guard lock(mutex_);
    if (kept_.size() < kMostKept) kept_.push_back(std::move(points));
  }

  static constexpr std::size_t kMostKept = 10;  ///< one batch of frames

  std::mutex mutex_;
  std::vector<Points> kept_;
};

}  // namespace modeling_app
