// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/output/stop_signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "pcbin_las/platform/tracer.h"

namespace ferrun {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

/// A path that a signal handler may read at any time.
struct Slot {
  std::atomic<bool> used = false;
  std::atomic<bool> filled = false;  ///< the handler removes the file
  std::array<char, PATH_MAX> path{};
};

static_assert(std::atomic<bool>::is_always_lock_free);
std::array<Slot, 8> g_slots;
Tracer* g_tracer = nullptr;

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kSignals) sigaddset(&set, signal);
  return set;
}

/// The signal has its default action again. Raised here, it is delivered when the handler returns,
/// and ends the process.
extern "C" void removeFilesAndEnd(int signal) {
  const int error = errno;
  for (const Slot& slot : g_slots) {
    if (slot.filled) (void)unlink(slot.path.data());
  }
  if (g_tracer->deliverBeforeEnd(signal)) (void)std::raise(signal);
  errno = error;
}

}  // namespace

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

void handleStopSignals() {
  g_tracer = Singleton<Tracer>::getInstance();
  for (const int signal : kSignals) {
    struct sigaction former {};
    if (sigaction(signal, nullptr, &former) != 0 || former.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = removeFilesAndEnd;
    action.sa_mask = stopSignals();
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    (void)sigaction(signal, &action, nullptr);  // fails for no signal of the list
  }
}

void RemovedOnStop::name(const std::string& path) {
  keep();
  if (path.size() >= PATH_MAX) return;
  for (std::size_t i = 0; i < g_slots.size(); ++i) {
    Slot& slot = g_slots[i];
    if (slot.used.exchange(true)) continue;
    std::memcpy(slot.path.data(), path.c_str(), path.size() + 1);
    slot.filled = true;
    slot_ = static_cast<int>(i);
    return;
  }
}

void RemovedOnStop::keep() {
  if (slot_ < 0) return;
  Slot& slot = g_slots[static_cast<std::size_t>(slot_)];
  slot.filled = false;
  slot.used = false;
  slot_ = -1;
}

}  // namespace ferrun
