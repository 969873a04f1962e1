// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_drawing.h"

#include <cmath>
#include <new>

#include "pcbin_las/platform/trace_macros.h"

namespace picture {
namespace {

/// Prints why the sample of the file `name` has no points.
void reportNoPoints(const MapSample& sample, const Request& request, const std::string& name) {
  const Range& heights = sample.bounds()[2];
  if (request.slice && heights.size() >= 0) {
    TRACE_ERROR("picture",
                "las file(%s) has no points from z %.3f to %.3f, its heights%s are %.3f to %.3f!",
                name.c_str(), request.slice->low, request.slice->high,
                request.zoom ? " in the square" : "", heights.low, heights.high);
  } else if (const auto& [x, y] = sample.extent(); request.zoom && x.size() >= 0 && y.size() >= 0) {
    const double half = request.zoom->width / 2;
    TRACE_ERROR("picture",
                "las file(%s) has no points from x %.3f to %.3f, y %.3f to %.3f, the map is from x "
                "%.3f to %.3f, y %.3f to %.3f!",
                name.c_str(), request.zoom->x - half, request.zoom->x + half,
                request.zoom->y - half, request.zoom->y + half, x.low, x.high, y.low, y.high);
  } else {
    TRACE_ERROR("picture", "las file(%s) has no points!", name.c_str());
  }
}

}  // namespace

bool guarded(const std::string& pngPath, const Request& request,
             const std::function<bool()>& draw) {
  if (request.zoom) {
    const auto& [x, y, width] = *request.zoom;
    if (!(std::isfinite(x) && std::isfinite(y) && std::isfinite(width) && width > 0)) {
      TRACE_ERROR("picture", "cannot draw a square of %g m around x %g, y %g!", width, x, y);
      return false;
    }
  }
  try {
    return draw();
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("picture", "picture(%s): out of memory!", pngPath.c_str());
    return false;
  }
}

std::optional<MapView> makeView(const MapSample& sample, std::uint64_t points,
                                const std::array<Range, 3>& bounds, const Request& request,
                                const PageLayout& layout, const std::string& name) {
  if (sample.positions().empty()) {
    reportNoPoints(sample, request, name);
    return std::nullopt;
  }
  MapView view = chooseView(sample, points, bounds, request.zoom, layout.map);
  if (view.width == 0) {
    TRACE_ERROR("picture", "las file(%s) has coordinates that cannot be drawn!", name.c_str());
    return std::nullopt;
  }
  if (request.slice) view.slice = {request.slice->low, request.slice->high};
  return view;
}

std::vector<Colour> drawMap(const MapRaster& raster) {
  CellGrid surface = makeSurface(raster, raster.colourBits() == 0);
  const bool isSlice = raster.view().slice.high < kInfinite;
  fillHoles(surface, isSlice ? 2 : 3);  // in a slice, outlines stand close to each other
  shadeEdges(surface, raster.unit() / raster.view().cellSize);
  lightenDarkCells(surface);
  return drawPixels(surface, raster.view(), kGround);
}

}  // namespace picture
