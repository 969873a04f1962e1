// System calls and allocations that fail, and a record of what was written. Programs that use it
// link pcbin_fault_injection, whose link options redirect the calls of the code under test to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

enum class Call { kOpen, kRead, kWrite, kSeek, kTruncate, kSync, kClose, kAllocate };
constexpr Call kEveryCall[] = {Call::kOpen,     Call::kRead, Call::kWrite, Call::kSeek,
                               Call::kTruncate, Call::kSync, Call::kClose, Call::kAllocate};

/// The call that fails, counted from 1: only that one, or also all later ones.
struct Fault {
  Call call;
  unsigned number;
  bool forGood;
};

/// These calls fail in every thread during the lifetime of the object; use one at a time. A failing
/// close() closes the file. Only calls by the program's own code and its templates count.
class FaultInjection {
 public:
  explicit FaultInjection(const std::vector<Fault>& faults);
  FaultInjection(const FaultInjection&) = delete;
  FaultInjection& operator=(const FaultInjection&) = delete;
  ~FaultInjection();

  /// Whether the call with the number of the first fault was made.
  static bool happened();
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
