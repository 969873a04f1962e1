// SPDX-License-Identifier: BSD-3-Clause
// What a conversion says about the time stamps of its points.
#pragma once

#include "pcbin_las/export/write_las.h"
#include "pcbin_las/las/gps_time.h"

/// Whether the first time stamp of a recording can be of the chosen clock: it lies between
/// 1980-01-06 and 2100-01-01, and not from 0 to 604800, which is taken for GPS week seconds. Prints
/// an error line with the clocks that would fit if not.
bool isFirstTimeOf(pontra::Clock clock, double timeStamp);

/// Warns that a first time stamp, stored unchanged, is not GPS week time; names its date in each
/// clock that it can be of, and the option for that. Prints nothing for 0 to 604800.
void warnOfClock(double timeStamp);

/// Prints the times of the first and the last point, and warns of points without a time.
void printTimes(const WrittenTimes& times);
