// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/tracer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <poll.h>
#include <pthread.h>
#include <string_view>
#include <unistd.h>

#include "pcbin_las/platform/escape.h"

namespace ferrun {
namespace {

constexpr std::size_t kMostGathered = std::size_t{64} << 10;  // bytes
constexpr std::size_t kMostRuns = 256;                        // of lines of one level
constexpr std::size_t kShortLine = 1024;                      // bytes; longer lines take memory

/// Whether this thread is inside a tracer, where a signal handler must not enter it.
thread_local volatile std::sig_atomic_t t_inside = 0;

/// Whether a signal is ending the process.
volatile std::sig_atomic_t g_ending = 0;

/// The signal to raise when this thread leaves the tracer; 0 for none.
thread_local volatile std::sig_atomic_t t_signal = 0;

/// Waits until standard output accepts bytes; at most a second when the process is ending.
bool waitForOutput() {
  constexpr int kLastWait = 1000;  // milliseconds
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  return ::poll(&output, 1, g_ending == 0 ? -1 : kLastWait) != 0;
}

/// Escapes the text of a line, except the colours around a prompt.
std::string escapeLine(std::string_view line) {
  constexpr std::string_view kStart = FERRUN_PROMPT_START;
  constexpr std::string_view kEnd = FERRUN_PROMPT_END;
  if (!line.starts_with(kStart) || !line.ends_with(kEnd)) return escapeControls(line);
  line.remove_prefix(kStart.size());
  line.remove_suffix(kEnd.size());
  return std::string(kStart) + escapeControls(line) + std::string(kEnd);
}

}  // namespace

void TracerSink::writeLines(int level, const char* lines, std::size_t size) {
  (void)level;
  write(lines, size);
}

void TracerSink::write(const char* lines, std::size_t size) {
  (void)lines;
  (void)size;
}

bool STDSink::writeAll(const char* lines, std::size_t size) {
  while (size > 0) {
    // Where poll() reports a pipe as writable, it accepts PIPE_BUF bytes.
    if (g_ending != 0 && !waitForOutput()) return false;
    const std::size_t most = g_ending == 0 ? size : std::min<std::size_t>(size, PIPE_BUF);
    const ssize_t written = ::write(STDOUT_FILENO, lines, most);
    if (written > 0) {
      lines += written;
      size -= static_cast<std::size_t>(written);
    } else if (written < 0 && errno == EAGAIN) {
      // Another process made standard output non-blocking.
      if (!waitForOutput()) return false;
    } else if (written == 0 || errno != EINTR) {
      if (written < 0 && errno == EPIPE) readerGone_ = true;
      return false;
    }
  }
  return true;
}

template <>
Tracer* Singleton<Tracer>::getInstance() {
  static Tracer* const instance = [] {
    auto* const tracer = new Tracer;
    std::atexit([] { getInstance()->deliverAtExit(); });
    pthread_atfork([] { getInstance()->lockForFork(); },
                   [] { getInstance()->unlockAfterFork(false); },
                   [] { getInstance()->unlockAfterFork(true); });
    return tracer;
  }();
  return instance;
}

/// Locks a tracer, unless a sink of it calls: its thread has locked the tracer already.
class Tracer::Lock {
 public:
  explicit Lock(Tracer& tracer)
      : tracer_(tracer), isSink_(tracer.owner_ == std::this_thread::get_id()) {
    t_inside = t_inside + 1;
    if (isSink_) return;
    tracer_.mutex_.lock();
    tracer_.owner_ = std::this_thread::get_id();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() {
    if (!isSink_) {
      tracer_.owner_ = std::thread::id();
      tracer_.mutex_.unlock();
    }
    t_inside = t_inside - 1;
    if (t_inside > 0 || t_signal == 0) return;
    const int signal = t_signal;
    t_signal = 0;
    tracer_.flush();
    (void)std::raise(signal);
  }

  bool isSink() const { return isSink_; }

 private:
  Tracer& tracer_;
  bool isSink_;
};

Tracer::~Tracer() {
  deliverAtExit();
}

/// Delivers every line; later lines are not gathered.
void Tracer::deliverAtExit() noexcept {
  const Lock lock(*this);
  exiting_ = true;
  if (!lock.isSink()) deliver();
}

void Tracer::setLevel(int threshold) {
  const Lock lock(*this);
  threshold_ = threshold;
  if (started_) gate_ = threshold;
}

void Tracer::addSink(std::shared_ptr<TracerSink> sink) {
  const Lock lock(*this);
  sinks_.push_back(std::move(sink));
}

void Tracer::start() {
  const Lock lock(*this);
  if (started_) return;
  for (Lines* const lines : {&pending_, &lines_}) {
    lines->text.reserve(kMostGathered + kShortLine);
    lines->runs.reserve(kMostRuns);
  }
  started_ = true;
  gate_ = threshold_;
}

void Tracer::print(int level, const char* format, ...) noexcept {
  if (!enabled(level)) return;
  std::va_list values;
  va_start(values, format);
  this->format(level, Escape::kNo, format, values);
  va_end(values);
}

void Tracer::printEscaped(int level, const char* format, ...) noexcept {
  if (!enabled(level)) return;
  std::va_list values;
  va_start(values, format);
  this->format(level, Escape::kYes, format, values);
  va_end(values);
}

void Tracer::format(int level, Escape escape, const char* format, std::va_list values) noexcept {
  std::array<char, kShortLine> text;
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(text.data(), text.size(), format, values);
  const auto size = static_cast<std::size_t>(std::max(length, 0));
  try {
    std::string longText;
    std::string_view line(text.data(), size);
    if (size >= text.size()) {
      longText.resize(size);
      std::vsnprintf(longText.data(), size + 1, format, again);
      line = longText;
    }
    if (escape == Escape::kYes && hasControls(line)) line = longText = escapeLine(line);
    if (length >= 0) append(level, line);
  } catch (const std::exception&) {  // no memory: the line is lost
  }
  va_end(again);
}

void Tracer::append(int level, std::string_view line) {
  const Lock lock(*this);
  auto& [text, runs] = pending_;
  text.reserve(text.size() + line.size() + 1);  // appends the whole line or nothing
  if (runs.empty() || runs.back().level != level) runs.push_back({level, 0});
  text.append(line).append(1, '\n');
  runs.back().end = text.size();
  const bool gathers =
      gathering_ > 0 && !exiting_ && text.size() < kMostGathered && runs.size() < kMostRuns;
  if (!gathers && !lock.isSink()) deliver();
}

void Tracer::flush() noexcept {
  const Lock lock(*this);
  if (!lock.isSink()) deliver();
}

void Tracer::gather(bool begin) noexcept {
  const Lock lock(*this);
  gathering_ = std::max(gathering_ + (begin ? 1 : -1), 0);
  if (gathering_ == 0 && !lock.isSink()) deliver();
}

/// Delivers the waiting lines, and once those that sinks print meanwhile.
void Tracer::deliver() noexcept {
  for (int round = 0; round < 2 && !pending_.text.empty(); ++round) {
    std::swap(lines_, pending_);
    writeToSinks();
    lines_.text.clear();
    lines_.runs.clear();
  }
}

void Tracer::writeToSinks() noexcept {
  for (const auto& sink : sinks_) {
    std::size_t begin = 0;
    for (const auto& [level, end] : lines_.runs) {
      try {
        sink->writeLines(level, lines_.text.data() + begin, end - begin);
      } catch (...) {  // the lines are lost for this sink
      }
      begin = end;
    }
  }
}

bool Tracer::deliverBeforeEnd(int signal) noexcept {
  g_ending = 1;
  if (t_inside > 0) {
    t_signal = signal;
    return false;
  }
  flush();
  return true;
}

void Tracer::lockForFork() {
  t_inside = t_inside + 1;
  if (owner_ != std::this_thread::get_id()) mutex_.lock();  // or a sink forks
}

void Tracer::unlockAfterFork(bool inChild) {
  if (inChild) {
    pending_.text.clear();
    pending_.runs.clear();
    gathering_ = 0;
  }
  if (owner_ != std::this_thread::get_id()) mutex_.unlock();
  t_inside = t_inside - 1;
}

void printLinesTo(std::shared_ptr<TracerSink> sink, int level) {
  Tracer* const tracer = Singleton<Tracer>::getInstance();
  tracer->setLevel(level);
  tracer->addSink(std::move(sink));
  tracer->start();
}

void printLinesToConsole(int level) {
  printLinesTo(std::make_shared<STDSink>(), level);
}

}  // namespace ferrun
