// Process-wide settings that the program makes once at its start.
#pragma once

namespace ferrun {

/// Opens /dev/null in place of each closed standard stream. Otherwise a file opened later gets the
/// number of the stream and receives log lines.
void secureStandardStreams();

/// Ignores SIGPIPE and SIGXFSZ: a write to a closed pipe or beyond a file-size limit then fails
/// with an error instead of ending the process.
void ignoreWriteSignals();

}  // namespace ferrun
