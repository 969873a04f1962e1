// Reads pose files.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "pcbin_las/export/poses.h"

/// Option offset: whether it was given, and its x, y, z in metres. main() sets them before a mode
/// runs.
inline bool g_useOffset = false;
inline std::array<double, 3> g_offset = {};

/// The largest sweep id that a pose file may name; memory grows with the largest id.
constexpr std::uint32_t kLargestSweepId = 16777215;

/// Fills the empty `msg` from the pose file at `pgoPath`, a text of lines with 28 fields between
/// commas:
///
///   0         time stamp, seconds
///   1         sweep id, up to 16777215
///   2 to 4    offset x, y, z, metres
///   5 to 7    registration pose: position x, y, z, metres
///   8 to 10   registration pose: aux1
///   11 to 14  registration pose: quaternion w, x, y, z
///   15 to 17  optimised pose: position x, y, z, metres
///   18 to 20  optimised pose: aux1
///   21 to 24  optimised pose: quaternion w, x, y, z
///   25 to 27  optimised pose: aux2
///
/// A byte order mark of UTF-8 is passed over. Lines that begin with '#' or have another number of
/// fields are skipped. A line with a field that is no finite number of its type is skipped with a
/// warning. Of several lines with one id, and for the offset, the last one decides; g_offset takes
/// the place of the file's offset when g_useOffset is set, and without any data line the offset is
/// g_offset or zero. A file without data lines gives two lists of one empty record. An empty path
/// gives empty lists.
///
/// False, with an error line, when the file cannot be opened, or its sweep ids need more memory
/// than there is.
bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg);

/// The same for a run that must not lose a line unnoticed. Empty lines, lines that begin with '#'
/// and one title line before the first data line are passed over; every other line must be a data
/// line whose fields hold a number and nothing behind it but blanks and a carriage return.
/// `skipped` is set to the number of lines that are not; the first of them are told by warnings.
/// When no line counts, one warning says why, where that can be told. False also when the system
/// reports an error before the end of the file.
bool loadPgoFileStrictly(const std::string& pgoPath, norvo::PGOResultMsg& msg,
                         std::uint64_t& skipped);
