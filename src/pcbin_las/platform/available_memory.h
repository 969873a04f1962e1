// How much memory the process can still get.
#pragma once

#include <cstdint>

namespace ferrun {

/// Bytes that the process can still allocate without swapping or being killed: what the system
/// reports as available, or less where a control group (version 2) limits the process. UINT64_MAX
/// when the system does not tell.
std::uint64_t availableMemory();

}  // namespace ferrun
