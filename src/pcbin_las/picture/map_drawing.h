// SPDX-License-Identifier: BSD-3-Clause
// The steps that all pictures share.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "pcbin_las/picture/map_raster.h"
#include "pcbin_las/picture/map_surface.h"
#include "pcbin_las/picture/page.h"

namespace picture {

/// Runs `draw` for a picture. False, with an error line, when the square of `request` is not
/// finite, memory runs out, or `draw` returns false.
bool guarded(const std::string& pngPath, const Request& request, const std::function<bool()>& draw);

/// The view for a sample that stands for `points` points of the file `name`. Nothing, with an error
/// line, when no point is in the square and the slice of `request` or the view cannot be drawn.
std::optional<MapView> makeView(const MapSample& sample, std::uint64_t points,
                                const std::array<Range, 3>& bounds, const Request& request,
                                const PageLayout& layout, const std::string& name);

/// The pixels of a raster's view.
std::vector<Colour> drawMap(const MapRaster& raster);

}  // namespace picture
