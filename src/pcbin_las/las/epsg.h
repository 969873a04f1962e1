// SPDX-License-Identifier: BSD-3-Clause
// Checks whether an EPSG code can be the coordinate system of a LAS file in metres, and where that
// system is used.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string>

namespace pontra {

/// The result of checkEpsg().
struct EpsgCheck {
  bool accepted;        ///< the code may be written into the file
  std::string text;     ///< "EPSG:32632, WGS 84 / UTM zone 32N, 6 to 12 degrees east, 0 to 84
                        ///< degrees north", the area of use at the end; if refused, the reason
  std::string warning;  ///< why an accepted code may be wrong; empty for none
};

/// Looks up `code` in the compiled-in table of names, kinds and units. Accepts projected systems in
/// metres, with a warning when the code is deprecated, its axes do not point east and north, or it
/// has an axis of heights, and codes from 1024 to 32766 that are not in the table, with a warning
/// that they were not checked. Refuses all others; the text then gives kind, unit and an
/// alternative.
EpsgCheck checkEpsg(int code);

/// Code and name of a coordinate system of any kind: "EPSG:32632, WGS 84 / UTM zone 32N"; only
/// "EPSG:32632" for a code that is not in the table.
std::string systemLabel(int code);

/// The area for which a system is made.
struct AreaOfUse {
  std::string text;            ///< "6 to 12 degrees east, 0 to 84 degrees north"
  std::array<double, 2> low;   ///< x and y in metres, in the order that programs show, east first
  std::array<double, 2> high;  ///< likewise

  /// Metres from a position to the area, 0 inside.
  double distance(double x, double y) const;

  double shorterSide() const { return std::min(high[0] - low[0], high[1] - low[1]); }
};

/// The area of use of an accepted code; nothing for some 50 systems without limits, for codes that
/// are not in the table, and in a build without the table.
std::optional<AreaOfUse> areaOfUse(int code);

}  // namespace pontra
