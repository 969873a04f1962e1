// SPDX-License-Identifier: BSD-3-Clause
// Resolves the names of files.
#pragma once

#include <string>

namespace ferrun {

/// `name` with symbolic links in its last component resolved, including a link to a file that does
/// not exist. Empty, with errno set, on failure.
std::string followLinks(const std::string& name);

/// Whether both names refer to the same file, or would refer to it once it was created.
bool resolveToSameFile(const std::string& name, const std::string& otherName);

}  // namespace ferrun
