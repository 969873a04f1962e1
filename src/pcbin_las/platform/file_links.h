// Where the name of a file leads.
#pragma once

#include <string>

namespace ferrun {

/// The name of the file that `name` leads to: symbolic links in the place of the last component are
/// followed, also when the last of them leads nowhere. Empty, with errno set, when that fails.
std::string followLinks(const std::string& name);

/// True when both names lead to the same file, or would once it was created.
bool leadToSameFile(const std::string& name, const std::string& otherName);

}  // namespace ferrun
