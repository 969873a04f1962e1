// Solids on a grid, so that a ray is tried only with those near its way.
#pragma once

#include <cstdint>
#include <vector>

#include "make_survey/solids.h"

class SolidGrid {
 public:
  /// An empty grid, 240 m wide and 200 m high, about `centre`.
  explicit SolidGrid(const Eigen::Vector2d& centre);

  /// Adds a solid that stands on the grid; at most 65536 of them.
  void add(const Solid& solid);

  /// The first solid that `ray` enters before `meeting.distance`, with `meeting` set; null, and
  /// `meeting` left alone, when there is none. The ray starts above the grid and outside of solids.
  const Solid* first(const Ray& ray, Meeting& meeting) const;

 private:
  Eigen::Vector2d origin_;
  std::vector<Solid> solids_;
  std::vector<std::vector<std::uint16_t>> cells_;  ///< the numbers of the solids over each cell
};
