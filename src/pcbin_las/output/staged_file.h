// SPDX-License-Identifier: BSD-3-Clause
// Output files that are replaced atomically: at any time the name leads to the complete old file or
// to the complete new one.
#pragma once

#include <string>
#include <sys/stat.h>

#include "pcbin_las/output/stop_signals.h"

namespace ferrun {

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
  /// group; without a target, those of any new file. False, with an error line and no file left,
  /// when the target exists but is not a regular file or may not be written, or when the file
  /// cannot be created. A warning names leftovers that cannot be locked or removed.
  bool create(const std::string& target);

  /// The name of the temporary file, for opening and writing it; empty when there is none.
  const std::string& temporaryName() const { return temporary_; }

  /// Syncs the temporary file, renames it to the target, and syncs the directory. False, with an
  /// error line, when the target could not be replaced; the temporary file is then removed and the
  /// target is unchanged. A directory that cannot be synced gives only a warning.
  bool publish();

  /// Like publish(), but fails when a file of that name exists.
  bool publishNew();

  /// Removes the temporary file, if there is one.
  void discard();

 private:
  bool checkTarget(const std::string& name);
  bool createExclusively();
  bool holdsName() const;
  bool takeOverMode() const;
  bool publishBy(int (*rename)(const char*, const char*));
  void syncDirectory() const;
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

}  // namespace ferrun
