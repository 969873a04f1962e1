// The convert mode.
#pragma once

#include <string>

/// Writes the points of the pcbin file at `pcbinPath`, refined by the pose file at `pgoPath` (none
/// when that is empty), as the LAS file `lasPath`, which is created or overwritten; prints
/// progress. True when all three could be opened. False, with an error line and no LAS file
/// touched, when one could not, or when `lasPath` names one of the inputs.
bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath);
