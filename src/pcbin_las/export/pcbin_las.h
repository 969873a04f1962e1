// SPDX-License-Identifier: BSD-3-Clause
// The convert mode.
#pragma once

#include <string>

#include "pcbin_las/export/conversion.h"

/// Writes the points of the pcbin file, refined by the pose file, as the LAS file; prints progress.
/// `result` is filled as far as the conversion comes. `progress` may be empty. True when the
/// conversion ran to the end of the pcbin file. False, with an error line: an input or the output
/// cannot be opened, the pose file cannot be read, the output is an input, the time stamps are not
/// Unix time although points.gpsTime is set (no LAS file is created then), or a frame does not fit
/// into memory (the LAS file holds the frames before).
bool convertSurvey(const Conversion& conversion, Style style, ConversionResult& result,
                   const Progress& progress = {});

/// The same for an interactive conversion, without its result.
bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath);
