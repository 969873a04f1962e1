// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/output/part_file_names.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/random.h>
#include <unistd.h>

#include "pcbin_las/platform/retried.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace ferrun {
namespace {

const std::string kSuffix = ".part";

constexpr std::size_t kRandomDigits = 16;

/// 16 random hexadecimal digits; empty, with errno set, on failure.
std::string randomDigits() {
  std::uint64_t number = 0;
  if (retried([&] { return getrandom(&number, sizeof(number), 0); }) != sizeof(number)) return {};
  return StrUtil::format("%016llx", static_cast<unsigned long long>(number));
}

bool isRandomDigits(std::string_view text) {
  return text.size() == kRandomDigits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// Opens a leftover without blocking and without following a link; -1 on failure.
int openLeftover(const std::string& path) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int descriptor = retried([&] { return ::open(path.c_str(), O_RDWR | kFlags); });
  return descriptor >= 0 ? descriptor
                         : retried([&] { return ::open(path.c_str(), O_RDONLY | kFlags); });
}

/// Removes a leftover whose lock is free; false when it cannot be locked or removed.
bool removeLeftover(const std::string& path) {
  const int descriptor = openLeftover(path);
  if (descriptor < 0) return errno == ENOENT;
  bool done = true;
  if (retried([&] { return flock(descriptor, LOCK_EX | LOCK_NB); }) == 0)
    done = unlink(path.c_str()) == 0 || errno == ENOENT;
  else
    done = errno == EWOULDBLOCK;  // its run is still active
  ::close(descriptor);
  return done;
}

}  // namespace

std::string partFilePrefix(const std::string& directory, const std::string& name) {
  const long longestName = pathconf((directory + "/").c_str(), _PC_NAME_MAX);
  const std::size_t inName = longestName > 0 ? static_cast<std::size_t>(longestName) : NAME_MAX;
  const std::size_t inPath =
      PATH_MAX - 1 - std::min<std::size_t>(directory.size() + 1, PATH_MAX - 1);
  const std::size_t available = std::min(inName, inPath);
  const std::size_t rest = 2 + kRandomDigits + kSuffix.size();
  std::size_t length = std::min(name.size(), available > rest ? available - rest : 0);
  const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  while (length > 0 && length < name.size() && isContinuation(name[length])) --length;
  return StrUtil::format(".%s.", name.substr(0, length).c_str());
}

std::string newPartFileName(const std::string& prefix) {
  const std::string digits = randomDigits();
  return digits.empty() ? digits : prefix + digits + kSuffix;
}

void removeLeftovers(const std::string& directory, const std::string& prefix,
                     const std::string& own, bool locksWork) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir((directory + "/").c_str()), closedir);
  std::string left;
  while (const dirent* const entry = entries ? readdir(entries.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(prefix) || !name.ends_with(kSuffix) ||
        name.size() != prefix.size() + kRandomDigits + kSuffix.size() ||
        !isRandomDigits(name.substr(prefix.size(), kRandomDigits)))
      continue;
    const std::string path = directory + "/" + std::string(name);
    if (name == own || (locksWork && removeLeftover(path))) continue;
    left += (left.empty() ? "" : ", ") + std::string(name);
  }
  if (!left.empty())
    TRACE_WARNING("removeLeftovers", "directory(%s) holds temporary files that may be in use: %s",
                  directory.c_str(), left.c_str());
}

}  // namespace ferrun
