// SPDX-License-Identifier: BSD-3-Clause
// Pictures of LAS files: the points as seen from above, as a PNG file.
#pragma once

#include <optional>
#include <string>

namespace picture {

/// A square part of a map. Metres, in the map's coordinates.
struct Area {
  double x = 0;      ///< of the centre
  double y = 0;      ///< of the centre
  double width = 0;  ///< of the square, greater than 0
};

/// The threads that decode a compressed LAS file, 1 to 64; 0 for as many as cores. main() sets it
/// before a mode runs.
inline unsigned g_threads = 0;

/// False when the program was built without libpng: then no picture can be drawn.
bool isSupported();

/// Draws the points of the LAS file `lasPath` from above, north up, into the PNG file `pngPath`:
/// the square `zoom`, or the whole map without a few points that are far away from all others.
///
/// The picture is at most 1,600 pixels wide and high. Each pixel has the colour of its highest
/// point. The largest value in the file tells 8-bit and 16-bit colours apart; when every colour is
/// 0, the pixels show heights. Few points are drawn as large dots. The margin holds the name of the
/// LAS file, the number of points, a scale bar and the coordinates of the edges.
///
/// The input is a LAS file of point data record format 3 with records of 34 bytes, with or without
/// variable-length records, or a compressed file that LasReader can decode. At most as many records
/// are drawn as its header declares, fewer when the file ends before. The file is read once, and
/// some blocks of it twice; memory use is at most about 60 MB for files of any size.
///
/// The picture is written beside `pngPath` under a temporary name (StagedFile) and renamed,
/// in the place of an existing regular file, when it is complete.
///
/// False, with an error line, and without a new file, when the input cannot be read, has another
/// format, holds scale factors that are 0 or not finite or no point to draw, when `zoom` is no
/// finite square, when the picture cannot be written or would replace its input or anything that is
/// not a regular file, and when isSupported() is false.
bool draw(const std::string& lasPath, const std::string& pngPath, const std::optional<Area>& zoom);

}  // namespace picture
