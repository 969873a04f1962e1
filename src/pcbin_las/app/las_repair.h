// The repair mode.
#pragma once

#include <string>

/// Copies the records of the LAS file at `path` (LAS 1.2, 227-byte header, point format 3 of 34
/// bytes, points anywhere behind the header) into a new file beside it, named by the time and the
/// old name. Count and bounds of the new header agree with the records; offsets, the bytes between
/// header and points, their number of records and bit 0 of the global encoding are those of the
/// input. At most as many records are copied as the old header announces; later ones are left out
/// with a warning, and so is a partial record at the end. Colours, intensity, time and coordinates
/// are kept, with `keepSourceIds` the point source ids too; the other fields of a record are not,
/// nor is a scale factor other than 0.001: lines say which fields of how many records were lost and
/// how many points do not fit the scale factor. The input is only read. An existing file of the new
/// name is overwritten only if it is a regular file with one hard link.
void las_repair(const std::string& path, bool keepSourceIds = false);

/// The path of the new file for a repair at this moment: "run1/20240305-070809_map.las" for
/// "run1/map.las".
std::string repairedPath(const std::string& path);
