// SPDX-License-Identifier: BSD-3-Clause
// Output files that are replaced atomically: at any time the name leads to the complete old file or
// to the complete new one.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include "pcbin_las/output/stop_signals.h"

namespace ferrun {

/// `name` with symbolic links in its last component resolved, including a link to a file that does
/// not exist. Empty, with errno set, on failure.
std::string followLinks(const std::string& name);

/// Whether both names refer to the same file, or would refer to it once it was created.
bool resolveToSameFile(const std::string& name, const std::string& otherName);

/// A file that is written under a temporary name and then replaces its target.
///
/// The temporary file is in the directory of the target and is named ".NAME.XXXXXXXXXXXXXXXX.part":
/// NAME is the target's name, shortened if necessary, and the X are random hexadecimal digits. It
/// is created exclusively and locked with flock(2). Files with such names whose lock is free were
/// left by killed runs; create() removes them.
///
/// For use by one thread. After handleStopSignals(), a signal that ends the process removes the
/// temporary file.
class StagedFile {
 public:
  StagedFile() = default;
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// Removes a temporary file that was not published.
  ~StagedFile() { discard(); }

  /// Creates the temporary file for `target`. If that is a symbolic link, the file that it refers
  /// to is the target. The temporary file has the target's mode and, where permitted, its owner and
  /// group; without a target, those of any new file. A group that cannot be kept gives a warning,
  /// and the new group gets at most the rights of others. False, with an error line and no file
  /// left, when the target exists but is not a regular file or may not be written, or when the file
  /// cannot be created. A warning names leftovers that cannot be locked or removed.
  bool create(const std::string& target);

  /// Open for reading and writing the temporary file; -1 when there is none. Write through it, or a
  /// duplicate of it: the name may come to lead to another file.
  int descriptor() const { return descriptor_; }

  /// The name of the temporary file, for messages; empty when there is none.
  const std::string& temporaryName() const { return temporary_; }

  /// Syncs the temporary file, renames it to the target, and syncs the directory. `beforeRename` is
  /// called when all else has succeeded; if it returns false, nothing is renamed. False, with an
  /// error line, when the target could not be replaced: a step fails, or the temporary name leads
  /// to another file, which is left alone. The target is then unchanged and no temporary file
  /// remains. The first directory that cannot be synced gives a warning.
  bool publish(const std::function<bool()>& beforeRename = {});

  /// Like publish(), but fails when a file of that name exists.
  bool publishNew();

  /// Removes the temporary file, if there is one.
  void discard();

 private:
  bool checkTarget(const std::string& name);
  bool createExclusively();
  bool resolve(const std::string& name, std::string& path);
  bool mayReplace() const;
  bool holdsName() const;
  bool takeOverMode() const;
  bool publishBy(int (*rename)(const char*, const char*),
                 const std::function<bool()>& beforeRename);
  void close();
  bool fail(const char* action, int error, const char* part = "");

  std::string target_;  ///< symbolic links resolved
  std::string directory_;
  std::string prefix_;  ///< of the temporary name without the directory: ".NAME."
  std::string temporary_;
  int descriptor_ = -1;  ///< of the temporary file; holds the lock
  bool exists_ = false;  ///< the target
  struct stat targetStatus_ {};
  RemovedOnStop onStop_;
};

/// Replaces `target`, or creates it, with these bytes, at most 2 GiB. False, with an error line and
/// the old file unchanged, when that fails.
bool replaceFile(const std::string& target, std::string_view bytes);

/// Removes the regular file that `name` leads to, and syncs its directory; links stay. True,
/// without doing anything, when it leads to no regular file. False, with an error line, on failure.
bool removeOutput(const std::string& name);

}  // namespace ferrun
