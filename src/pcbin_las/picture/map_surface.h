// SPDX-License-Identifier: BSD-3-Clause
// The surface that a map shows from above: taken from cells, closed, shaded, turned into pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "pcbin_las/picture/canvas.h"
#include "pcbin_las/picture/map_raster.h"

namespace picture {

/// The colour of a map where it has no points.
constexpr Colour kGround = {16, 18, 24};

/// A colour of the height scale; `part` is 0 for the lowest and 1 for the highest.
Colour heightColour(double part);

/// The pixels of the raster's view, in rows from the top left.
///
/// A cell has the mean colour of the points within a small height of its highest, or with
/// `showsHeights` a colour of the height scale. Speckles are left out: single points that stand
/// above their cell, or above the cells around an otherwise empty one, and have no other point
/// within a small height in the nine cells. Holes of up to 8 cells that are surrounded by filled
/// cells are filled from these, with `showsSlice` up to 4; a lower surface that is seen through
/// holes counts as empty. Cells beside higher ones are darker, fully where a step is as high as the
/// cells are wide. Nearly black cells are lighter, so that they differ from the ground. A pixel has
/// the colours of the cells that it covers, by area.
std::vector<Colour> drawSurface(const MapRaster& raster, bool showsHeights);

}  // namespace picture
