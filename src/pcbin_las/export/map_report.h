// SPDX-License-Identifier: BSD-3-Clause
// The lines on the points of a finished map.
#pragma once

#include "pcbin_las/export/conversion.h"

/// Prints a warning that names the causes for which `count` points were refused, with the first of
/// `refused`.
void warnOfRefused(const Conversion& conversion, std::uint64_t count, const RefusedPoints& refused);

/// Prints how far the poses moved the points, and where the map lies.
void describeMap(const ConversionResult& result);
