// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/step_bounds.h"

#include <tuple>

namespace pontra {

void describeRecords(LasHeader& header, std::uint32_t count, const StepBounds& bounds) {
  const std::array<double, 3> scale = {header.xScaleFactor, header.yScaleFactor,
                                       header.zScaleFactor};
  const std::array<double, 3> offset = {header.xOffset, header.yOffset, header.zOffset};
  std::array<double, 3> low{};
  std::array<double, 3> high{};
  if (count > 0) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      // A negative scale factor exchanges the bounds.
      std::tie(low[axis], high[axis]) =
          std::minmax({bounds.low[axis] * scale[axis] + offset[axis],
                       bounds.high[axis] * scale[axis] + offset[axis]});
    }
  }
  header.numberOfPointRecords = count;
  header.numberOfPointsByReturn[0] = count;
  header.minX = low[0];
  header.minY = low[1];
  header.minZ = low[2];
  header.maxX = high[0];
  header.maxY = high[1];
  header.maxZ = high[2];
}

}  // namespace pontra
