// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/picture.h"

#include <cmath>
#include <new>

#include "pcbin_las/picture/page.h"
#include "pcbin_las/picture/png_file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace picture {
namespace {

bool isSquare(const Area& area) {
  return std::isfinite(area.x) && std::isfinite(area.y) && std::isfinite(area.width) &&
         area.width > 0;
}

bool drawWhole(const std::string& lasPath, const std::string& pngPath,
               const std::optional<Area>& zoom) {
  LasInput input;
  if (!input.open(lasPath)) return false;
  const std::vector<Position> positions = input.sample();
  if (!input.ok()) return false;
  const MapView view = chooseView(input, positions, zoom, kLargestMapWidth, kLargestMapHeight);
  if (view.width == 0) {
    TRACE_ERROR("picture", "las file(%s) has coordinates that cannot be drawn!", lasPath.c_str());
    return false;
  }
  MapRaster raster(view, input);
  input.seek(0);
  for (auto records = input.read(); !records.empty(); records = input.read()) raster.add(records);
  if (!input.ok()) return false;
  if (raster.count() == 0) {
    TRACE_ERROR("picture", "las file(%s) has no points from x %.3f to %.3f, y %.3f to %.3f!",
                lasPath.c_str(), view.left, view.right(), view.bottom(), view.top);
    return false;
  }
  raster.growDots();
  const std::string name = ferrun::FilePath(lasPath).baseName();
  return writePng(drawPage(raster, view, name, input.count()), pngPath);
}

}  // namespace

bool isSupported() {
  return true;
}

bool draw(const std::string& lasPath, const std::string& pngPath, const std::optional<Area>& zoom) {
  if (zoom && !isSquare(*zoom)) {
    TRACE_ERROR("picture", "cannot draw a square of %g m around x %g, y %g!", zoom->width, zoom->x,
                zoom->y);
    return false;
  }
  if (ferrun::File::isSameFile(lasPath, pngPath)) {
    TRACE_ERROR("picture", "picture(%s) would replace its input!", pngPath.c_str());
    return false;
  }
  try {
    return drawWhole(lasPath, pngPath, zoom);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("picture", "picture(%s): out of memory!", pngPath.c_str());
    return false;
  }
}

}  // namespace picture
