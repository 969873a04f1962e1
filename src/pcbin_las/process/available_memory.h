// SPDX-License-Identifier: BSD-3-Clause
// The memory that the process can still allocate.
#pragma once

#include <cstdint>
#include <string>

namespace ferrun {

/// Bytes that the process can still allocate without swapping or being killed: MemAvailable, or
/// less where control groups (version 1 or 2) limit the process. UINT64_MAX if the system does not
/// report any. `root` is the directory that holds proc/ and sys/.
std::uint64_t availableMemory(const std::string& root);

/// The same for the machine's root directory.
std::uint64_t availableMemory();

}  // namespace ferrun
