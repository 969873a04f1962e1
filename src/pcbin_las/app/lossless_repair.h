// SPDX-License-Identifier: BSD-3-Clause
// The repair mode that keeps every byte.
#pragma once

#include <string>

/// Copies the uncompressed LAS file at `path` (version 1.0 to 1.4, point format 0 to 10) to a new
/// file beside it, named as by las_repair(), and corrects counts, counts by return, bounds and
/// header size there; everything else stays byte for byte. A partial record at the end of the file,
/// and records of zero bytes there that the header does not count, are left out with a warning.
/// The new file appears complete or not at all, and replaces no other; lines tell what was
/// corrected. Returns 0; 1 when something was left out; 2 when nothing was written, with an error
/// line.
int lossless_repair(const std::string& path);
