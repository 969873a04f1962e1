// The complete picture: a framed map, and the text in its margin.
#pragma once

#include <cstdint>
#include <string>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_surface.h"
#include "pcbin_las/picture/map_view.h"

namespace picture {

constexpr int kMargin = 14;
constexpr int kFooter = 100;

struct PageLayout {
  explicit PageLayout(int s) : size(s) {}
  int size;
  int mapWidth() const { return size - 2 * kMargin; }
  int mapHeight() const { return size - kMargin - kFooter; }
};

double roundLength(double length);

Canvas drawPage(const PageLayout& layout, const MapRaster& raster, const MapSurface& surface, const std::string& name,
                std::uint64_t total);

}  // namespace picture
