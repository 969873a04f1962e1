#include "pcbin_las/platform/tracer.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ferrun {
namespace {

constexpr std::chrono::milliseconds kGatherTime{20};
constexpr std::size_t kFull = std::size_t{256} << 10;  // bytes of waiting lines

}  // namespace

template <>
Tracer* Singleton<Tracer>::getInstance() {
  static Tracer instance;
  return &instance;
}

void STDSink::write(const char* lines, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, lines, size);
    if (written > 0) {
      lines += written;
      size -= static_cast<std::size_t>(written);
    } else if (written < 0 && errno == EAGAIN) {
      // Standard output was made non-blocking by whoever shares it: wait until it takes more.
      pollfd output{STDOUT_FILENO, POLLOUT, 0};
      ::poll(&output, 1, -1);
    } else if (written == 0 || errno != EINTR) {
      return;
    }
  }
}

Tracer::~Tracer() {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  lock.unlock();
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
  flush();
}

void Tracer::setLevel(int threshold) {
  const std::lock_guard lock(mutex_);
  threshold_ = threshold;
  if (gate_ != kClosed) gate_ = threshold;
}

void Tracer::addSink(std::shared_ptr<TracerSink> sink) {
  const std::lock_guard lock(sinkMutex_);
  sinks_.push_back(std::move(sink));
}

void Tracer::start() {
  const std::lock_guard lock(mutex_);
  if (gate_ != kClosed) return;
  try {
    thread_ = std::thread(&Tracer::deliverInTime, this);
  } catch (const std::system_error&) {
    // No thread to be had: append() then hands every line to the sinks by itself.
  }
  gate_ = threshold_;
}

void Tracer::print(int level, const char* format, ...) {
  if (!enabled(level)) return;
  std::array<char, 1024> text;
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(text.data(), text.size(), format, values);
  va_end(values);
  if (length < 0) return;

  const auto size = static_cast<std::size_t>(length);
  if (size < text.size()) {
    text[size] = '\n';
    append(text.data(), size + 1);
    return;
  }
  std::string longText(size + 1, '\0');
  va_start(values, format);
  std::vsnprintf(longText.data(), longText.size(), format, values);
  va_end(values);
  longText.back() = '\n';
  append(longText.data(), longText.size());
}

void Tracer::append(const char* line, std::size_t size) {
  std::unique_lock lock(mutex_);
  pending_.append(line, size);
  if (pending_.size() >= kFull || !thread_.joinable()) {
    // Whoever fills the buffer writes it out: that costs less than handing it to another processor.
    deliver(lock);
  } else if (threadIdle_) {
    threadIdle_ = false;
    lock.unlock();
    wake_.notify_one();
  }
}

void Tracer::flush() {
  std::unique_lock lock(mutex_);
  deliver(lock);
}

/// Hands the lines that wait to the sinks, after those that are being handed over. The lock is
/// given up meanwhile.
void Tracer::deliver(std::unique_lock<std::mutex>& lock) {
  delivered_.wait(lock, [this] { return !delivering_; });
  if (pending_.empty()) return;
  delivering_ = true;
  lines_.swap(pending_);
  lock.unlock();
  writeToSinks(lines_);
  lock.lock();
  lines_.clear();
  delivering_ = false;
  delivered_.notify_all();
}

/// The thread: sees to it that no line waits long.
void Tracer::deliverInTime() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    threadIdle_ = true;
    wake_.wait(lock, [this] { return !pending_.empty() || stopping_; });
    threadIdle_ = false;
    wake_.wait_for(lock, kGatherTime, [this] { return stopping_; });
    deliver(lock);
  }
}

void Tracer::writeToSinks(const std::string& lines) {
  const std::lock_guard lock(sinkMutex_);
  for (const auto& sink : sinks_) sink->write(lines.data(), lines.size());
}

}  // namespace ferrun
