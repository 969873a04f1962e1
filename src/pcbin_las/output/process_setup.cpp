// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/output/process_setup.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace ferrun {

void secureStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // open() takes the lowest free number, which is `stream` itself: the ones below are open by
    // now.
    if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) (void)::open("/dev/null", O_RDWR);
  }
}

void ignoreWriteSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace ferrun
