// SPDX-License-Identifier: BSD-3-Clause
// Recycles point clouds.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <Eigen/Geometry>

namespace modeling_app {

/// Recycles clouds that have no other owner left: touching fresh pages costs more than decoding.
/// Keeps as many clouds as a batch has frames. Owners may release clouds in any thread; the pool
/// itself is used by one thread at a time.
template <class Cloud>
class CloudPool {
 public:
  /// A cloud with the defaults of a new one, except for the values and the number of its points. It
  /// has capacity for `pointCount` points if any recycled cloud has. Throws std::bad_alloc.
  std::shared_ptr<Cloud> acquire(std::size_t pointCount) {
    // The smallest free cloud that is large enough, or else the largest. Otherwise every cloud of
    // the pool would grow to the size of the largest frame.
    const auto rank = [pointCount](const std::shared_ptr<Cloud>& cloud) {
      if (!cloud || cloud.use_count() > 1) return SIZE_MAX;
      const std::size_t capacity = cloud->points.capacity();
      return capacity >= pointCount ? capacity : SIZE_MAX - 1 - capacity;
    };
    const auto best = std::ranges::min_element(clouds_, {}, rank);
    if (rank(*best) == SIZE_MAX) return *nextSlot() = std::make_shared<Cloud>();
    // use_count() has no memory barrier. In the standard library of g++ the copy changes the count
    // with acquire and release semantics, which orders the following accesses after the release by
    // the last owner. The C++ standard does not promise that.
    std::shared_ptr<Cloud> cloud = *best;
    cloud->header = {};
    cloud->is_dense = true;
    cloud->sensor_origin_ = Eigen::Vector4f::Zero();
    cloud->sensor_orientation_ = Eigen::Quaternionf::Identity();
    return cloud;
  }

  /// Frees the clouds without another owner.
  void clear() { clouds_ = {}; }

 private:
  /// An empty slot, or else the least recently filled one.
  auto nextSlot() {
    const auto empty = std::ranges::find(clouds_, nullptr);
    return empty != clouds_.end() ? empty : clouds_.begin() + (next_++ % kSize);
  }

  static constexpr std::size_t kSize = 10;  ///< clouds of one batch

  std::array<std::shared_ptr<Cloud>, kSize> clouds_;
  std::size_t next_ = 0;
};

}  // namespace modeling_app
