// The repair mode.
#pragma once

#include <string>

/// Copies the records of the LAS file at `path` (LAS 1.2, 227-byte header, point format 3 of 34
/// bytes) into a new file beside it, named by the time and the old name, whose header is made anew:
/// its count and bounds agree with the records, its offsets are the old ones. At most as many
/// records are copied as the old header announces; what follows them and a partial record at the
/// end are left out. Colours, intensity, time and coordinates are kept, the other fields of a
/// record are not. All outcomes are told by log lines; the input is only read. A file of the new
/// name is overwritten only if it is a regular file with one name.
void las_repair(const std::string& path);
