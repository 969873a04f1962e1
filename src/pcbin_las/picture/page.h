// SPDX-License-Identifier: BSD-3-Clause
// The complete picture: framed maps, and the text in the margin.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_raster.h"
#include "pcbin_las/picture/picture.h"

namespace picture {

/// Sizes in pixels. Small pages have no text.
struct PageLayout {
  /// A page for a request, with `panels` maps side by side.
  PageLayout(const Request& request, int panels);

  Frame map;   ///< for each map
  int margin;  ///< around the maps
  int dot;     ///< of the font; 0 for a page without text
  int line;    ///< from one line of text to the next
  int lines;   ///< of text
};

/// A map of the page.
struct Panel {
  const MapRaster* raster;
  std::string title;  ///< empty for none
};

/// What the margin says besides.
struct Caption {
  std::string name = {};    ///< of the file
  std::uint64_t total = 0;  ///< points in the file
  pontra::MapSystem system = {};
  bool zoomed = false;  ///< the view is a square that was asked for
};

/// The largest of 1, 2 and 5 times a power of ten that is at most `length`, which is above 0.
double roundLength(double length);

/// The slice, and the points above and below it.
std::string describeSlice(const PointCounts& counts, const Range& slice);

/// Which points are beyond the edges, and why; empty for none.
std::string describeLeftOut(const PointCounts& counts, bool zoomed);

/// Draws the page of one or two maps with views of the same size.
Canvas drawPage(const PageLayout& layout, std::span<const Panel> panels, const Caption& caption);

}  // namespace picture
