// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/tracer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <poll.h>
#include <pthread.h>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "pcbin_las/platform/escape.h"

namespace ferrun {
namespace {

constexpr std::chrono::milliseconds kGatherTime{20};
constexpr std::size_t kFull = std::size_t{256} << 10;  // bytes of waiting lines
constexpr std::size_t kShortLine = 1024;               // bytes; longer lines take memory

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

void STDSink::write(const char* lines, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, lines, size);
    if (written > 0) {
      lines += written;
      size -= static_cast<std::size_t>(written);
    } else if (written < 0 && errno == EAGAIN) {
      // Another process made standard output non-blocking: wait until it accepts more.
      pollfd output{STDOUT_FILENO, POLLOUT, 0};
      ::poll(&output, 1, -1);
    } else if (written == 0 || errno != EINTR) {
      if (written < 0 && errno == EPIPE) readerGone_ = true;
      return;
    }
  }
}

template <>
Tracer* Singleton<Tracer>::getInstance() {
  static Tracer* const instance = [] {
    auto* const tracer = new Tracer;
    std::atexit([] { getInstance()->stopThread(); });
    pthread_atfork([] { getInstance()->lockForFork(); },
                   [] { getInstance()->unlockAfterFork(false); },
                   [] { getInstance()->unlockAfterFork(true); });
    return tracer;
  }();
  return instance;
}

Tracer::~Tracer() {
  stopThread();
}

/// Delivers every line and ends the thread; later lines are delivered by the printing thread.
void Tracer::stopThread() noexcept {
  std::unique_lock lock(mutex_);
  const bool join = std::exchange(hasThread_, false);
  lock.unlock();
  wake_.notify_one();
  if (join) thread_.join();
  flush();
  flush();  // lines that sinks printed during the first
}

void Tracer::setLevel(int threshold) {
  const std::lock_guard lock(mutex_);
  threshold_ = threshold;
  if (started_) gate_ = threshold;
}

void Tracer::addSink(std::shared_ptr<TracerSink> sink) {
  const std::lock_guard lock(sinkMutex_);
  sinks_.push_back(std::move(sink));
}

void Tracer::start() {
  const std::lock_guard lock(mutex_);
  if (started_) return;
  started_ = true;
  hasThread_ = true;
  try {
    for (std::string* const lines : {&pending_, &lines_}) lines->reserve(kFull + kShortLine);
    thread_ = std::thread(&Tracer::deliverInTime, this);
  } catch (const std::exception&) {  // no thread, or no memory: append() delivers
    hasThread_ = false;
  }
  gate_ = threshold_;
}

void Tracer::print(int level, const char* format, ...) noexcept {
  if (!enabled(level)) return;
  std::va_list values;
  va_start(values, format);
  this->format(Escape::kNo, format, values);
  va_end(values);
}

void Tracer::printEscaped(int level, const char* format, ...) noexcept {
  if (!enabled(level)) return;
  std::va_list values;
  va_start(values, format);
  this->format(Escape::kYes, format, values);
  va_end(values);
}

void Tracer::format(Escape escape, const char* format, std::va_list values) noexcept {
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
    if (length >= 0) append(line);
  } catch (const std::exception&) {  // no memory: the line is lost
  }
  va_end(again);
}

void Tracer::append(std::string_view line) {
  std::unique_lock lock(mutex_);
  pending_.reserve(pending_.size() + line.size() + 1);  // appends the whole line or nothing
  pending_.append(line).append(1, '\n');
  if (pending_.size() >= kFull || !hasThread_) {
    // The printing thread delivers: that costs less than waking another processor.
    deliver(lock);
  } else if (threadIdle_) {
    threadIdle_ = false;
    lock.unlock();
    wake_.notify_one();
  }
}

void Tracer::flush() noexcept {
  std::unique_lock lock(mutex_);
  deliver(lock);
}

/// Delivers the waiting lines to the sinks, after those being delivered. Unlocks meanwhile.
void Tracer::deliver(std::unique_lock<std::mutex>& lock) noexcept {
  if (isDeliverer()) return;
  delivered_.wait(lock, [this] { return !delivering_; });
  if (pending_.empty()) return;
  delivering_ = true;
  deliverer_ = std::this_thread::get_id();
  lines_.swap(pending_);
  lock.unlock();
  writeToSinks(lines_);
  lock.lock();
  lines_.clear();
  delivering_ = false;
  delivered_.notify_all();
}

/// Whether the calling thread is inside deliver(): a sink has called the tracer.
bool Tracer::isDeliverer() const {
  return delivering_ && deliverer_ == std::this_thread::get_id();
}

/// The thread: delivers lines soon after they were printed.
void Tracer::deliverInTime() noexcept {
  std::unique_lock lock(mutex_);
  while (hasThread_) {
    threadIdle_ = true;
    wake_.wait(lock, [this] { return !pending_.empty() || !hasThread_; });
    threadIdle_ = false;
    wake_.wait_for(lock, kGatherTime, [this] { return !hasThread_; });
    deliver(lock);
  }
}

void Tracer::writeToSinks(const std::string& lines) noexcept {
  const std::lock_guard lock(sinkMutex_);
  for (const auto& sink : sinks_) {
    try {
      sink->write(lines.data(), lines.size());
    } catch (...) {  // the lines are lost for this sink
    }
  }
}

void Tracer::lockForFork() {
  std::unique_lock lock(mutex_);
  if (!isDeliverer()) {
    delivered_.wait(lock, [this] { return !delivering_; });
    sinkMutex_.lock();
  }
  (void)lock.release();  // unlockAfterFork() unlocks
}

void Tracer::unlockAfterFork(bool inChild) {
  if (inChild) {
    hasThread_ = false;  // fork() copies only the calling thread
    pending_.clear();
  }
  if (!isDeliverer()) sinkMutex_.unlock();
  mutex_.unlock();
}

}  // namespace ferrun
