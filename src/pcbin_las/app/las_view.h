// SPDX-License-Identifier: BSD-3-Clause
// The view-LAS mode.
#pragma once

#include <string>

/// Option v: above 0, the viewer prints all fields of a record. main() sets it before a mode runs.
inline int g_verbose = 0;

/// Prints the header of the LAS file at `path`, field by field, and its records number `start` to
/// `start` + `nums` − 1, counted from 0; the sum wraps at 2^32. Records are read as 34 bytes of
/// point format 3. They begin at pointDataOffset if the variable-length records of a LAS 1.2 file
/// of that format fill the space before, or else at byte 227. With g_verbose above 0 all fields of
/// a record are shown. An error line is printed when the file cannot be opened, or ends within the
/// header or before a record that was to be shown.
void las_view(const std::string& path, unsigned start, unsigned nums);
