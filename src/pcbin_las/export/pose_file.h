// SPDX-License-Identifier: BSD-3-Clause
// Reads pose files.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "pcbin_las/export/pose_checks.h"
#include "pcbin_las/export/poses.h"

/// Option offset: whether it was given, and its x, y, z in metres. main() sets them before a mode
/// runs.
inline bool g_useOffset = false;
inline std::array<double, 3> g_offset = {};

/// The largest sweep id that a pose file may name; memory grows with the largest id.
constexpr std::uint32_t kLargestSweepId = 16777215;

/// Fills the empty `msg` from the pose file at `pgoPath`, a text file of lines with 28
/// comma-separated fields:
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
/// A UTF-8 byte order mark is ignored, and so are lines that begin with '#' or have another number
/// of fields. A line with a field that is not a finite number of its type is skipped with a
/// warning. If several lines have the same id, the last one counts, and so does the offset of the
/// last data line. g_offset replaces the file's offset when g_useOffset is set; without any data
/// line the offset is g_offset or zero. A file without data lines gives two lists with one empty
/// record. An empty path gives empty lists.
///
/// False, with an error line, when the file cannot be opened or read to its end, or its sweep ids
/// need more memory than is available.
bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg);

/// Like loadPgoFile(), but strict: reports every line that gives no pose. Empty lines, lines that
/// begin with '#' and one title line before the first data line are ignored. Every other line must
/// be a data line whose fields contain a number, followed by nothing but blanks and a carriage
/// return, with quaternions whose norm is from 0.5 to 2. Counts the lines that are not in `report`;
/// warnings name the first ones. If no line gives a pose, one warning gives the likely reason.
bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg, PoseFileReport& report);
