// SPDX-License-Identifier: BSD-3-Clause
// Runs code with one failing call after the other.
#pragma once

#include <functional>
#include <vector>

#include "support/fault_injection.h"

namespace test {

/// The error and warning lines since the last call. Allocates no memory after its first call.
int linesTold();

/// Calls `run` without a fault, and then with each call of each kind failing, once and from then
/// on, with each allocation failing on a disk that is full after the first write, and with 500
/// random pairs of failing calls. Takes only three of many calls of a kind, and 4 pairs, unless the
/// environment variable PCBIN_LONG_SWEEPS is set. `run` injects the faults, into the code under
/// test only. Ends at the first failure of the test.
void sweep(const std::function<void(const std::vector<Fault>&)>& run);

/// Runs a mode of the program with `faults`; `failed` when it throws, which main() reports.
template <class Mode, class Status>
Status runWith(const std::vector<Fault>& faults, Mode mode, Status failed) {
  const FaultInjection injection(faults);
  try {
    return mode();
  } catch (const std::exception&) {
    return failed;
  }
}

/// Whether a fault is a failing call of this kind.
bool hits(const std::vector<Fault>& faults, Call call);

}  // namespace test
