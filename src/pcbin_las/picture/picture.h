// SPDX-License-Identifier: BSD-3-Clause
// Pictures of maps: the points as seen from above, north up, as a PNG file.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "pcbin_las/las/coordinate_system.h"
#include "pcbin_las/picture/map_point.h"

namespace picture {

/// A square part of a map, in the map's coordinates and unit.
struct Area {
  double x = 0;      ///< of the centre
  double y = 0;      ///< of the centre
  double width = 0;  ///< of the square, greater than 0
};

constexpr int kSmallestSize = 200;  ///< pixels
constexpr int kLargestSize = 1600;  ///< pixels

/// What a picture shows.
struct Request {
  std::optional<Area> zoom = {};  ///< the whole map without this
  Range slice = kAllValues;       ///< the heights to draw
  int size = kLargestSize;        ///< pixels on the longer side, kSmallestSize to kLargestSize
  unsigned threads = 0;           ///< that read a LAS file, 1 to 64; 0 for as many as cores

  bool isSlice() const { return slice.high < kInfinite; }
};

/// Passes all points of a survey to a function, in batches: as many before the optimised poses
/// moved them as after. May be called several times, and passes the same points each time. False,
/// after an error line, when they cannot be read.
using PassMovedPoints =
    std::function<bool(const std::function<void(std::span<const MapPoint> before,
                                                std::span<const MapPoint> after)>& take)>;

/// False when the program was built without libpng: then no picture can be drawn.
bool isSupported();

/// Draws the points of the LAS file `lasPath` into the PNG file `pngPath`: the square of `request`,
/// or the whole map without a few points that are far away from all others.
///
/// The points are collected in cells, which are as large as a pixel or as the distance between the
/// points. A cell has the mean colour of its highest points, or when every colour in the file is 0
/// a colour for their height. Holes are filled, also those through which a lower surface is seen;
/// cells beside higher ones are darker. The largest value in the file tells 8-bit and 16-bit
/// colours apart. From 400 pixels on, the margin holds the name of the LAS file, the number of
/// points and why some are left out, a scale bar, the heights, the coordinates of the edges and the
/// coordinate system.
///
/// The input is a LAS file of point data record format 3 with records of 34 bytes, with or without
/// variable-length records, or compressed points that pontra::LasReader can decode. At most as many
/// records are drawn as its header announces, fewer when the file ends before. The file is read
/// twice, one of more than 8 million points once if the whole map is drawn; memory use is at most
/// about 100 MB for files of any size.
///
/// The picture is written beside `pngPath` under a temporary name (StagedFile) and takes its name,
/// in the place of an existing regular file, when it is complete.
///
/// False, with an error line, and without a new file, when the input cannot be read, has another
/// format, holds scale factors that are 0 or not finite or no point to draw, when the square is not
/// finite, when the picture cannot be written or would replace its input or anything that is no
/// regular file, and when isSupported() is false.
bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request);

/// Draws one part of a map twice, side by side: the points before and after they were moved. The
/// part is the square of `request`, or the square of 40 m where the points moved furthest to the
/// side, in the mean, among those with at least a third of the points of the densest one.
///
/// `name` and `system` go into the margin; colours have 8 bits. The points are read three times,
/// twice with a square. Else like draw().
bool drawComparison(const PassMovedPoints& pass, const std::string& name,
                    const pontra::MapSystem& system, const std::string& pngPath,
                    const Request& request);

}  // namespace picture
