// SPDX-License-Identifier: BSD-3-Clause
// Compares the clocks of a survey's points and of its poses.
#pragma once

#include <vector>

#include "pcbin_las/export/plausibility.h"
#include "pcbin_las/export/poses.h"

/// Compares the time stamps of `points`, sorted by sweep, with those of their poses; time stamps
/// that are 0 or not finite are left out. Prints a warning when the median difference is above one
/// second and above the duration of a sweep, or a line of information when two known clocks explain
/// the difference. Each point's sweep must have a pose.
void checkTimes(const std::vector<PointSample::Point>& points, const norvo::PGOResultMsg& poses);
