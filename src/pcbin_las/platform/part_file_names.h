// The names of temporary files, and what killed runs have left under them.
#pragma once

#include <string>

namespace ferrun {

/// How the names of the temporary files for `name` in `directory` begin: ".NAME.". NAME is cut
/// between two characters of UTF-8 where the temporary name or its path would be too long for the
/// system.
std::string partFilePrefix(const std::string& directory, const std::string& name);

/// A new name: the prefix, 16 random hexadecimal digits and ".part". Empty, with errno set, when
/// the system has no random number.
std::string newPartFileName(const std::string& prefix);

/// Removes the files in `directory` that have names of this prefix and that no process has locked
/// with flock(2), but for the one named `own`. One warning names those that cannot be locked or
/// removed; without `locksWork` that are all.
void removeLeftovers(const std::string& directory, const std::string& prefix,
                     const std::string& own, bool locksWork);

}  // namespace ferrun
