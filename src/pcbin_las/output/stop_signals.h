// SPDX-License-Identifier: BSD-3-Clause
// Process-wide settings for the start of the program: standard streams and signals. A signal that
// ends the process removes temporary files and delivers log lines.
#pragma once

#include <string>

namespace ferrun {

/// Opens /dev/null in place of each closed standard stream. Otherwise a file opened later would get
/// the descriptor of the stream and receive log lines.
void secureStandardStreams();

/// Ignores SIGPIPE and SIGXFSZ: a write to a closed pipe or beyond a file-size limit then fails
/// with an error instead of ending the process.
void ignoreWriteSignals();

/// From now on SIGINT, SIGTERM and SIGHUP first remove the files of all RemovedOnStop objects and
/// deliver the lines that the tracer has gathered, and then end the process as they usually do. A
/// signal that is ignored stays ignored. For processes with one thread.
void handleStopSignals();

/// A file that the signals remove while the object lives and keep() was not called.
class RemovedOnStop {
 public:
  RemovedOnStop() = default;
  RemovedOnStop(const RemovedOnStop&) = delete;
  RemovedOnStop& operator=(const RemovedOnStop&) = delete;
  ~RemovedOnStop() { keep(); }

  /// Sets the file, replacing a former one. Does nothing for more than 8 objects at a time or a
  /// path of PATH_MAX bytes or more.
  void name(const std::string& path);

  /// From now on the signals do not remove the file.
  void keep();

 private:
  int slot_ = -1;
};

}  // namespace ferrun
