// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/file_path.h"

#include <utility>

namespace ferrun {
namespace {

std::string withoutTrailingSlashes(std::string path) {
  path.erase(path.find_last_not_of('/') + 1);
  return path;
}

}  // namespace

FilePath::FilePath(std::string path) : path_(withoutTrailingSlashes(std::move(path))) {}

std::string FilePath::dirName() const {
  const std::size_t slash = path_.rfind('/');
  return slash == std::string::npos ? "." : withoutTrailingSlashes(path_.substr(0, slash));
}

std::string FilePath::baseName() const {
  return path_.substr(path_.rfind('/') + 1);  // npos + 1 is 0: a bare name is all base name
}

}  // namespace ferrun
