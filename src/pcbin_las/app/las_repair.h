// SPDX-License-Identifier: BSD-3-Clause
// The repair mode.
#pragma once

#include <string>

/// Copies the records of the LAS file at `path` into a new file. Reads LAS 1.2 with a 227-byte
/// header and point format 3 of 34 bytes. The input is only read. All outcomes are printed.
///
/// Kept are coordinates, colours, intensity and time of the records, with `keepSourceIds` the point
/// source ids; offsets, the bytes between header and points and bit 0 of the global encoding
/// (docs/las.md has the table). Lines say which fields of how many records are lost, and how many
/// points do not fit the scale factor, which is 0.001. Count and bounds are computed anew. At most
/// as many records are copied as the old header declares; later ones are left out with a warning,
/// and so is a partial record at the end.
///
/// The new file is beside the input and named by the time and the old name. An existing file of
/// that name is overwritten only if it is a regular file with one hard link.
void las_repair(const std::string& path, bool keepSourceIds = false);

/// The path of the new file for a repair at this moment: "run1/20240305-070809_map.las" for
/// "run1/map.las".
std::string repairedPath(const std::string& path);
