// SPDX-License-Identifier: BSD-3-Clause
// The complete picture: a framed map, and the text in its margin.
#pragma once

#include <cstdint>
#include <string>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_raster.h"
#include "pcbin_las/picture/map_view.h"

namespace picture {

constexpr int kLargestPage = 1600;  ///< pixels, in width and in height
constexpr int kMargin = 14;         ///< pixels left and right of the map, and above it
constexpr int kFooter = 100;        ///< pixels below the map
constexpr int kLargestMapWidth = kLargestPage - 2 * kMargin;
constexpr int kLargestMapHeight = kLargestPage - kMargin - kFooter;

/// The largest of 1, 2 and 5 times a power of ten that is at most `length`, which is above 0.
double roundLength(double length);

/// Draws the page. `name` is that of the file, `total` the number of its points.
Canvas drawPage(const MapRaster& raster, const MapView& view, const std::string& name,
                std::uint64_t total);

}  // namespace picture
