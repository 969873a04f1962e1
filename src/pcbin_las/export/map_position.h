// SPDX-License-Identifier: BSD-3-Clause
// Checks where a map lies against the coordinate system that its file names.
#pragma once

#include "pcbin_las/export/conversion.h"

/// Prints a warning when the offset of the map is 0, 0, and one line when the centre of its bounds
/// lies outside the area of use of EPSG code `epsg`: a warning when it is further outside than the
/// shorter side of the area is long, or else information, since neighbouring zones are in use.
/// Prints nothing for an empty map, and for code 0.
void checkMapPosition(int epsg, const ConversionResult& result);
