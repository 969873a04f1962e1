// SPDX-License-Identifier: BSD-3-Clause
// Where the points of a map moved most.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "pcbin_las/picture/picture.h"

namespace picture {

/// How far points moved to the side, by place.
class Displacements {
 public:
  void add(std::span<const MapPoint> before, std::span<const MapPoint> after);

  /// The square of 40 m with the greatest mean distance among those with at least a third of the
  /// points of the densest one. Nothing without points.
  std::optional<Area> greatest() const;

 private:
  struct Sum {
    double distance = 0;
    std::uint64_t points = 0;
  };

  std::unordered_map<std::uint64_t, Sum> tiles_;
};

}  // namespace picture
