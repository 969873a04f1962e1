// SPDX-License-Identifier: BSD-3-Clause
// The view-pcbin mode.
#pragma once

#include <string>

/// Prints the totals of the pcbin file at `path` and its coloured points number `start` to
/// `start` + `nums` − 1, counted from 0 over the whole file; the sum wraps at 2^32. True when the
/// file was opened, false with an error line when it could not be.
bool pcbin_view(const std::string& path, unsigned start, unsigned nums);
