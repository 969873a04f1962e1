// SPDX-License-Identifier: BSD-3-Clause
// System calls and allocations that fail, and a record of what was written. Every test program
// links it: link options redirect the calls by the program's own code and its templates to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

enum class Call {
  kOpen,
  kRead,
  kWrite,
  kSeek,
  kTruncate,
  kSync,
  kClose,
  kRename,
  kAllocate,
  kUnlink,  ///< not in kEveryCall: a file that cannot be removed stays
};
constexpr Call kEveryCall[] = {Call::kOpen,  Call::kRead,     Call::kWrite,
                               Call::kSeek,  Call::kTruncate, Call::kSync,
                               Call::kClose, Call::kRename,   Call::kAllocate};

/// The call that fails, counted from 1: only that one, or also all later ones.
struct Fault {
  Call call;
  unsigned number;
  bool forGood;
  std::size_t smallest = 0;  ///< only allocations of at least so many bytes count
  bool kills = false;        ///< SIGKILL ends the process before the call
};

/// At most two calls fail in every thread during the lifetime of the object; use one at a time. A
/// failing close() closes the file.
class FaultInjection {
 public:
  explicit FaultInjection(const std::vector<Fault>& faults);
  FaultInjection(const FaultInjection&) = delete;
  FaultInjection& operator=(const FaultInjection&) = delete;
  ~FaultInjection();

  /// Whether the call with the number of the first fault was made.
  static bool happened();

  /// The number of calls since the last object was made.
  static unsigned calls(Call call);
};

struct IoFaults {
  std::size_t longestTransfer = SIZE_MAX;  ///< bytes that a call transfers at most
  int everyOther = 0;                      ///< errno of every other call; 0 for none
  std::int64_t end = INT64_MAX;  ///< from this offset on, writes give ENOSPC and reads give EIO
};

/// read() and write() of the file at a path have these faults during the lifetime of the object;
/// use one at a time.
class FaultyFile {
 public:
  FaultyFile(const std::string& path, const IoFaults& faults);
  FaultyFile(const FaultyFile&) = delete;
  FaultyFile& operator=(const FaultyFile&) = delete;
  ~FaultyFile();
};

/// Records the changes of the file that is opened for writing during the lifetime of the object;
/// use one at a time, with one such file.
class WriteRecording {
 public:
  WriteRecording();
  WriteRecording(const WriteRecording&) = delete;
  WriteRecording& operator=(const WriteRecording&) = delete;
  ~WriteRecording();

  /// The contents of the file after each change, and after parts of each write.
  static std::vector<Bytes> states();
};

}  // namespace test
