// SPDX-License-Identifier: BSD-3-Clause
// Checks whether an EPSG code can be the coordinate system of a LAS file in metres.
#pragma once

#include <string>
#include <string_view>

namespace pontra {

/// The result of checkEpsg().
struct EpsgCheck {
  bool accepted;        ///< the code may be written into the file
  std::string text;     ///< "EPSG:32632, WGS 84 / UTM zone 32N"; if refused, the reason
  std::string warning;  ///< why an accepted code may be wrong; empty for none
};

/// Looks up `code` in the compiled-in table of names, kinds and units. Accepts projected systems in
/// metres, with a warning when the code is deprecated or its axes do not point east and north, and
/// codes from 1024 to 32766 that are not in the table, with a warning that they were not checked.
/// Refuses all others; the text then gives kind, unit and an alternative.
EpsgCheck checkEpsg(int code);

/// Version and date of the EPSG data set, "v10.076 of 2022-08-31"; empty in a build without the
/// table, which checks only the range of a code.
std::string_view epsgVersion();

}  // namespace pontra
