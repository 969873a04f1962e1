// SPDX-License-Identifier: BSD-3-Clause
// The names of temporary files, and the removal of those that killed runs have left.
#pragma once

#include <string>

namespace ferrun {

/// The common prefix of the temporary files for `name` in `directory`: ".NAME.". NAME is shortened,
/// between two UTF-8 characters, if the temporary name or its path would be too long for the
/// system.
std::string partFilePrefix(const std::string& directory, const std::string& name);

/// A new name: the prefix, 16 random hexadecimal digits and ".part". Empty, with errno set, when
/// the system provides no random number.
std::string newPartFileName(const std::string& prefix);

/// Removes the temporary files with this prefix in `directory` that no process has locked with
/// flock(2), except `own`. One warning names those that cannot be locked or removed; without
/// `locksWork`, all of them.
void removeLeftovers(const std::string& directory, const std::string& prefix,
                     const std::string& own, bool locksWork);

}  // namespace ferrun
