// SPDX-License-Identifier: BSD-3-Clause
// The parts of a path.
#pragma once

#include <string>

namespace ferrun {

/// A path as text, split at its last '/'. Trailing slashes are ignored.
class FilePath {
 public:
  explicit FilePath(std::string path);

  /// The directory part without a trailing slash: "." for a bare name, empty for a name in the root
  /// directory, so that dirName() + "/" + baseName() is always a path of the same file.
  std::string dirName() const;

  /// The last component, with its extension.
  std::string baseName() const;

 private:
  std::string path_;  ///< without trailing slashes
};

}  // namespace ferrun
