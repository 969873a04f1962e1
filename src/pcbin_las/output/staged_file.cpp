// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/output/staged_file.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

#include "pcbin_las/output/part_file_names.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/retried.h"
#include "pcbin_las/platform/same_inode.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace ferrun {
namespace {

constexpr const char* kClassName = "StagedFile";
constexpr int kMostTries = 100;

/// Syncs a directory; one warning in the whole run tells that it cannot. Needs no memory: the file
/// has its name by now.
void syncDirectory(const std::string& directory) {
  static bool s_warned = false;
  const char* const path = directory.empty() ? "/" : directory.c_str();
  const int descriptor = retried([&] { return ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  const bool synced = descriptor >= 0 && retried([&] { return fsync(descriptor); }) == 0;
  if (!synced && !std::exchange(s_warned, true))
    TRACE_MEMBER_WARNING(kClassName, "publish", "directory(%s) cannot be synced to disk: %s!",
                         directory.c_str(), std::strerror(errno));
  if (descriptor >= 0) ::close(descriptor);
}

/// rename(2) that fails when `to` exists. Where the file system has no such operation, a second
/// name replaces it, and where that is missing too, a look before rename(2).
int renameToNew(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (link(from, to) == 0) return unlink(from);
  if (errno == EEXIST || access(to, F_OK) != 0) return errno == EEXIST ? -1 : rename(from, to);
  errno = EEXIST;
  return -1;
}

}  // namespace

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

bool StagedFile::fail(const char* action, int error, const char* part) {
  TRACE_MEMBER_ERROR(kClassName, "create", "%sfile(%s) cannot be %s: %s!", part, target_.c_str(),
                     action, std::strerror(error));
  discard();
  return false;
}

bool StagedFile::create(const std::string& target) {
  discard();
  if (!checkTarget(target) || !createExclusively()) return false;
  if (exists_ && !takeOverMode()) return fail("kept", errno, "the mode of ");
  return true;
}

/// Resolves links and checks the target.
bool StagedFile::checkTarget(const std::string& name) {
  target_ = name;
  if (name.empty()) return fail("written", ENOENT);
  std::string path;
  for (int i = 0; !resolve(name, path); ++i) {
    if (i == kMostTries) return fail("written", ENOENT);  // a link to a file without a name
  }
  if (path.empty()) return fail("written", errno);
  if (name.ends_with('/') || (exists_ && S_ISDIR(targetStatus_.st_mode)))
    return fail("written", EISDIR);
  if (exists_ && !S_ISREG(targetStatus_.st_mode)) {
    TRACE_MEMBER_ERROR(kClassName, "create",
                       "file(%s) cannot be written: it is not a regular file!", name.c_str());
    return false;
  }
  if (exists_ && faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
    return fail("written", errno);
  target_ = std::move(path);
  directory_ = FilePath(target_).dirName();
  prefix_ = partFilePrefix(directory_, FilePath(target_).baseName());
  return !exists_ || mayReplace() || fail("replaced", EPERM);
}

/// Resolves the links of `name`: sets `path`, which is empty, with errno set, on failure. False
/// when it is another file than the one that stat() finds, which happens while another process
/// replaces it.
bool StagedFile::resolve(const std::string& name, std::string& path) {
  exists_ = stat(name.c_str(), &targetStatus_) == 0;
  path = followLinks(name);
  struct stat status {};
  return path.empty() || !exists_ ||
         (stat(path.c_str(), &status) == 0 && sameInode(status, targetStatus_));
}

/// Whether rename(2) may replace the target: in a sticky directory only its owner, the owner of the
/// directory and root may.
bool StagedFile::mayReplace() const {
  struct stat directory {};
  if (stat((directory_ + "/").c_str(), &directory) != 0 || (directory.st_mode & S_ISVTX) == 0)
    return true;
  const uid_t user = geteuid();
  return user == 0 || user == targetStatus_.st_uid || user == directory.st_uid;
}

/// Creates and locks the temporary file. If another run that removes leftovers was faster than the
/// lock, tries another name.
bool StagedFile::createExclusively() {
  for (int i = 0; i < kMostTries; ++i) {
    const std::string name = newPartFileName(prefix_);
    if (name.empty()) return fail("written", errno);
    temporary_ = directory_ + "/" + name;
    onStop_.name(temporary_);
    descriptor_ = retried([&] {
      return ::open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                    exists_ ? 0600 : 0666);
    });
    if (descriptor_ < 0) {
      const int error = errno;
      onStop_.keep();
      temporary_.clear();
      if (error == EEXIST) continue;
      return fail("written", error);
    }
    const bool locked = retried([&] { return flock(descriptor_, LOCK_EX | LOCK_NB); }) == 0;
    const bool locksWork = locked || errno == EWOULDBLOCK;
    if ((locked || !locksWork) && holdsName()) {
      removeLeftovers(directory_, prefix_, name, locksWork);
      return true;
    }
    discard();
  }
  return fail("written", EEXIST);
}

/// Whether the temporary name still refers to the file that was created.
bool StagedFile::holdsName() const {
  struct stat own {};
  struct stat named {};
  return fstat(descriptor_, &own) == 0 && lstat(temporary_.c_str(), &named) == 0 &&
         sameInode(own, named);
}

/// Copies the target's mode to the temporary file, and its owner and group where permitted. False,
/// with errno set, when the mode cannot be set.
bool StagedFile::takeOverMode() const {
  struct stat own {};
  if (fstat(descriptor_, &own) != 0) return false;
  constexpr auto kKeep = static_cast<uid_t>(-1);
  const auto change = [&](uid_t user, gid_t group) {
    return fchown(descriptor_, user, group) == 0 || errno == EPERM || errno == EINVAL;
  };
  const bool sameOwner = own.st_uid == targetStatus_.st_uid && own.st_gid == targetStatus_.st_gid;
  if (!sameOwner && !change(targetStatus_.st_uid, targetStatus_.st_gid)) return false;
  if (fstat(descriptor_, &own) != 0) return false;
  if (own.st_gid != targetStatus_.st_gid && !change(kKeep, targetStatus_.st_gid)) return false;
  if (fstat(descriptor_, &own) != 0) return false;
  mode_t mode = targetStatus_.st_mode & 07777;
  if (own.st_gid != targetStatus_.st_gid) {
    // The rights of a group are not for another one: it gets no more than all others have.
    mode &= ~mode_t{S_ISGID | S_IRWXG} | ((mode & S_IRWXO) << 3);
    TRACE_MEMBER_WARNING(kClassName, "create",
                         "the group of file(%s) cannot be kept, its mode becomes %04o!",
                         target_.c_str(), static_cast<unsigned>(mode));
  }
  return (own.st_mode & 07777) == mode || fchmod(descriptor_, mode) == 0;
}

bool StagedFile::publish(const std::function<bool()>& beforeRename) {
  return publishBy(::rename, beforeRename);
}

bool StagedFile::publishNew() {
  return publishBy(renameToNew, {});
}

/// Syncs the temporary file and gives it the target's name.
bool StagedFile::publishBy(int (*rename)(const char*, const char*),
                           const std::function<bool()>& beforeRename) {
  if (descriptor_ < 0) return false;
  if (retried([&] { return fsync(descriptor_); }) != 0) return fail("synced to disk", errno);
  if (!holdsName()) {
    TRACE_MEMBER_ERROR(kClassName, "publish",
                       "file(%s) cannot be replaced: another program has moved or replaced its "
                       "temporary file!",
                       target_.c_str());
    close();
    return false;
  }
  if (beforeRename && !beforeRename()) {
    discard();
    return false;
  }
  if (rename(temporary_.c_str(), target_.c_str()) != 0) return fail("replaced", errno);
  close();
  syncDirectory(directory_);
  return true;
}

void StagedFile::discard() {
  if (descriptor_ < 0) return;
  if (holdsName() && unlink(temporary_.c_str()) != 0)
    TRACE_MEMBER_WARNING(kClassName, "discard", "file(%s) cannot be removed: %s!",
                         temporary_.c_str(), std::strerror(errno));
  close();
}

/// Releases the lock and the name.
void StagedFile::close() {
  onStop_.keep();
  ::close(descriptor_);  // its data are synced or discarded
  descriptor_ = -1;
  temporary_.clear();
}

bool replaceFile(const std::string& target, std::string_view bytes) {
  StagedFile staged;
  if (!staged.create(target)) return false;
  File file;
  file.setWMBuffer(0);  // so that a failed write is reported at once
  if (!file.openDescriptor(staged.temporaryName(), staged.descriptor())) return false;
  const int size = static_cast<int>(bytes.size());
  const bool written = file.writeData(bytes.data(), size) == size;
  file.close();
  return written && staged.publish();
}

bool removeOutput(const std::string& name) {
  const std::string path = followLinks(name);
  struct stat status {};
  if (path.empty() || lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return true;
  if (unlink(path.c_str()) != 0 && errno != ENOENT) {
    TRACE_ERROR("removeOutput", "old file(%s) cannot be removed: %s!", path.c_str(),
                std::strerror(errno));
    return false;
  }
  syncDirectory(FilePath(path).dirName());
  return true;
}

}  // namespace ferrun
