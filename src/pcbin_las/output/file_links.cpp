// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/output/file_links.h"

#include <array>
#include <cerrno>
#include <climits>
#include <sys/stat.h>
#include <unistd.h>

#include "pcbin_las/platform/file.h"
#include "pcbin_las/process/file_path.h"

namespace ferrun {

std::string followLinks(const std::string& name) {
  constexpr int kMostLinks = 40;  // as many as the kernel follows
  std::string path = name;
  for (int links = 0; links <= kMostLinks; ++links) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return errno == ENOENT ? path : std::string();
    if (!S_ISLNK(status.st_mode)) return path;
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0) return {};
    std::string next(target.data(), static_cast<std::size_t>(length));
    if (!next.starts_with('/')) next.insert(0, FilePath(path).dirName() + "/");
    path = std::move(next);
  }
  errno = ELOOP;
  return {};
}

bool resolveToSameFile(const std::string& name, const std::string& otherName) {
  if (File::exists(name) || File::exists(otherName)) return File::isSameFile(name, otherName);
  const FilePath path(followLinks(name));
  const FilePath otherPath(followLinks(otherName));
  return path.baseName() == otherPath.baseName() &&
         File::isSameFile(path.dirName() + "/.", otherPath.dirName() + "/.");
}

}  // namespace ferrun
