// What happens when the user or the system stops the process.
#pragma once

#include <csignal>
#include <string>

namespace ferrun {

/// From now on SIGINT, SIGTERM and SIGHUP first remove the files of all RemovedOnStop objects and
/// then end the process as they usually do. A signal that is ignored stays ignored.
void handleStopSignals();

/// A file that the signals remove while the object lives and keep() was not called.
class RemovedOnStop {
 public:
  RemovedOnStop() = default;
  RemovedOnStop(const RemovedOnStop&) = delete;
  RemovedOnStop& operator=(const RemovedOnStop&) = delete;
  ~RemovedOnStop() { keep(); }

  /// Names the file, in place of one named before. Beyond 8 objects at a time, and for a path of
  /// PATH_MAX bytes or more, nothing is done.
  void name(const std::string& path);

  /// The signals leave the file alone from now on.
  void keep();

 private:
  int slot_ = -1;
};

/// Holds SIGINT, SIGTERM and SIGHUP back from this thread while it lives. Threads that are started
/// meanwhile never receive them.
class StopSignalsBlocked {
 public:
  StopSignalsBlocked();
  StopSignalsBlocked(const StopSignalsBlocked&) = delete;
  StopSignalsBlocked& operator=(const StopSignalsBlocked&) = delete;
  ~StopSignalsBlocked();

 private:
  sigset_t former_{};
};

}  // namespace ferrun
