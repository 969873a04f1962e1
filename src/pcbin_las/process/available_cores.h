// SPDX-License-Identifier: BSD-3-Clause
// How many threads can run at a time.
#pragma once

namespace ferrun {

/// The number of processor cores that this process may use, at least 1: those of its affinity mask,
/// or fewer if its control groups (version 1 or 2) limit its processor time; part of a core counts
/// as one.
unsigned availableCores();

}  // namespace ferrun
