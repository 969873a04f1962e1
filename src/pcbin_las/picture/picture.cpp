// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/picture.h"

#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/map_drawing.h"
#include "pcbin_las/picture/png_file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace picture {
namespace {

constexpr unsigned kLargestNarrowColour = 255;

/// Collects all points in cells. Reads the file again when the first colour of 16 bits appears in
/// points that were not in the sample.
bool collect(LasInput& input, MapRaster& raster, bool wideColours) {
  const auto add = [&raster](std::span<const MapPoint> points) { raster.add(points); };
  if (!input.pass(add)) return false;
  if (wideColours || raster.colourBits() <= kLargestNarrowColour) return true;
  raster = MapRaster(raster.view(), true);
  return input.pass(add);
}

bool drawFile(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  LasInput input;
  if (!input.open(lasPath)) return false;
  const bool partial = request.zoom || request.slice;
  MapSample sample(request.zoom, request.slice);
  const auto add = [&sample](std::span<const MapPoint> points) { sample.add(points); };
  if (!(partial ? input.pass(add) : input.passSome(add))) return false;

  const PageLayout layout(request, 1);
  const auto view =
      makeView(sample, partial ? sample.points() : input.count(),
               partial ? sample.bounds() : input.headerBounds(), request, layout, lasPath);
  if (!view) return false;
  const bool wideColours = sample.colourBits() > kLargestNarrowColour;
  MapRaster raster(*view, wideColours);
  if (!collect(input, raster, wideColours)) return false;
  const Caption caption = {.name = ferrun::FilePath(lasPath).baseName(),
                           .total = input.count(),
                           .system = input.system(),
                           .showsHeights = raster.colourBits() == 0,
                           .zoomed = request.zoom.has_value()};
  const Panel panels[] = {{&raster, drawMap(raster), ""}};
  return writePng(drawPage(layout, panels, caption), pngPath);
}

}  // namespace

bool isSupported() {
  return true;
}

bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  if (ferrun::File::isSameFile(lasPath, pngPath)) {
    TRACE_ERROR("picture", "picture(%s) would replace its input!", pngPath.c_str());
    return false;
  }
  return guarded(pngPath, request, [&] { return drawFile(lasPath, pngPath, request); });
}

}  // namespace picture
