// The convert mode.
#pragma once

#include <string>

#include "pcbin_las/export/conversion.h"

/// Writes the points of the pcbin file, refined by the pose file, as the LAS file; prints progress.
/// `result` is filled as far as the conversion comes. True when all three files could be opened.
/// False, with an error line, when one could not, or when the LAS file names one of the inputs: no
/// LAS file is touched then. False too when the pose file cannot be read to its end, when memory
/// for a frame runs out, or when the time stamps are refused. `progress` may be empty.
bool convertSurvey(const Conversion& conversion, Style style, ConversionResult& result,
                   const Progress& progress = {});

/// The same for an interactive conversion, without its result.
bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath);
