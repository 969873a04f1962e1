// The repair mode.
#pragma once

#include <string>

/// Copies the records of the LAS file at `path` (LAS 1.2, 227-byte header, point format 3 of 34
/// bytes, with any variable-length records that fill the space between header and points) into a
/// new file beside it, named by the time and the old name. Count and bounds of the new header agree
/// with the records; offsets, variable-length records and bit 0 of the global encoding are those of
/// the input. At most as many records are copied as the old header announces; later ones are left
/// out with a warning, and so is a partial record at the end. Colours, intensity, time and
/// coordinates are kept, with `keepSourceIds` the point source ids too; the other fields of a
/// record are not, nor is a scale factor other than 0.001. All outcomes are printed; the input is
/// only read. An existing file of the new name is overwritten only if it is a regular file with one
/// hard link.
void las_repair(const std::string& path, bool keepSourceIds = false);
