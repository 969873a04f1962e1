// SPDX-License-Identifier: BSD-3-Clause
// The memory that the process can still allocate.
#pragma once

#include <cstdint>

namespace ferrun {

/// Bytes that the process can still allocate without swapping or being killed: MemAvailable, or
/// less where a control group (version 2) limits the process. UINT64_MAX if the system does not
/// report either.
std::uint64_t availableMemory();

}  // namespace ferrun
