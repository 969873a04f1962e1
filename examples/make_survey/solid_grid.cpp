#include "make_survey/solid_grid.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

using Eigen::Vector2d;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr double kCell = 4;  // metres
constexpr int kColumns = 60;
constexpr int kRows = 50;

}  // namespace

SolidGrid::SolidGrid(const Vector2d& centre)
    : origin_(centre - kCell / 2 * Vector2d(kColumns, kRows)),
      cells_(std::size_t{kColumns} * kRows) {}

void SolidGrid::add(const Solid& solid) {
  const auto cellOf = [](double position, double origin, int count) {
    return std::clamp(static_cast<int>((position - origin) / kCell), 0, count - 1);
  };
  const double reach = solid.reach();
  const auto number = static_cast<std::uint16_t>(solids_.size());
  solids_.push_back(solid);
  const int lastRow = cellOf(solid.centre.y() + reach, origin_.y(), kRows);
  const int lastColumn = cellOf(solid.centre.x() + reach, origin_.x(), kColumns);
  for (int row = cellOf(solid.centre.y() - reach, origin_.y(), kRows); row <= lastRow; ++row) {
    for (int column = cellOf(solid.centre.x() - reach, origin_.x(), kColumns); column <= lastColumn;
         ++column)
      cells_[static_cast<std::size_t>(row * kColumns + column)].push_back(number);
  }
}

/// Walks the cells under the ray up to `meeting.distance` or the edge of the grid.
const Solid* SolidGrid::first(const Ray& ray, Meeting& meeting) const {
  const Vector2d start = (ray.origin.head<2>() - origin_) / kCell;
  std::array<int, 2> cell;
  std::array<int, 2> step;
  std::array<double, 2> nextBorder;  // distances along the ray
  std::array<double, 2> cellLength;
  for (int axis = 0; axis < 2; ++axis) {
    const auto a = static_cast<std::size_t>(axis);
    const double direction = ray.direction[axis] / kCell;
    cell[a] = static_cast<int>(std::floor(start[axis]));
    step[a] = direction < 0 ? -1 : 1;
    cellLength[a] = direction == 0 ? kInfinity : std::abs(1 / direction);
    const double toBorder = direction < 0 ? start[axis] - cell[a] : cell[a] + 1 - start[axis];
    nextBorder[a] = direction == 0 ? kInfinity : toBorder * cellLength[a];
  }
  const Solid* nearest = nullptr;
  double entered = 0;
  while (entered < meeting.distance && cell[0] >= 0 && cell[0] < kColumns && cell[1] >= 0 &&
         cell[1] < kRows) {
    for (const std::uint16_t number :
         cells_[static_cast<std::size_t>(cell[1] * kColumns + cell[0])]) {
      if (meet(ray, solids_[number], meeting)) nearest = &solids_[number];
    }
    const std::size_t axis = nextBorder[0] < nextBorder[1] ? 0 : 1;
    entered = nextBorder[axis];
    nextBorder[axis] += cellLength[axis];
    cell[axis] += step[axis];
  }
  return nearest;
}
