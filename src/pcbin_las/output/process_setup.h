// SPDX-License-Identifier: BSD-3-Clause
// Process-wide settings for the start of the program.
#pragma once

namespace ferrun {

/// Opens /dev/null in place of each closed standard stream. Otherwise a file opened later would get
/// the descriptor of the stream and receive log lines.
void secureStandardStreams();

/// Ignores SIGPIPE and SIGXFSZ: a write to a closed pipe or beyond a file-size limit then fails
/// with an error instead of ending the process.
void ignoreWriteSignals();

}  // namespace ferrun
