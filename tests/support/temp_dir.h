// SPDX-License-Identifier: BSD-3-Clause
// A directory for the files of one test.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

/// A new empty directory that is removed with everything in it.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pcbin_las_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_ = pattern;
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  const std::string& path() const { return directory_; }
  std::string path(const std::string& name) const { return directory_ + "/" + name; }

  /// The names of its files, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory_))
      names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }

  /// Writes a file and returns its path.
  std::string write(const std::string& name, const Bytes& contents) const {
    std::ofstream(path(name), std::ios::binary) << contents;
    return path(name);
  }

 private:
  std::string directory_;
};

/// The contents of a file; empty when there is none.
inline Bytes readFile(const std::string& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return contents.str();
}

}  // namespace test
