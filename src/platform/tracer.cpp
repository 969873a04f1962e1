#include "platform/tracer.h"

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
constexpr std::size_t kHighWater = std::size_t{256} << 10;  // gather no longer than this
constexpr std::size_t kLimit = std::size_t{1} << 20;        // printers wait at this

}  // namespace

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
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
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
    thread_ = std::thread(&Tracer::deliverLines, this);
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
  if (!thread_.joinable()) {
    writeToSinks({line, size});
    return;
  }
  delivered_.wait(lock, [this] { return pending_.size() < kLimit; });
  const std::size_t before = pending_.size();
  pending_.append(line, size);
  const bool wake = before == 0 || (before < kHighWater && pending_.size() >= kHighWater);
  lock.unlock();
  if (wake) wake_.notify_one();
}

void Tracer::flush() {
  std::unique_lock lock(mutex_);
  if (!thread_.joinable()) return;
  hurry_ = true;
  wake_.notify_one();
  delivered_.wait(lock, [this] { return pending_.empty() && !delivering_; });
  hurry_ = false;
}

void Tracer::deliverLines() {
  std::string lines;
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return !pending_.empty() || stopping_; });
    if (pending_.empty()) return;
    wake_.wait_for(lock, kGatherTime,
                   [this] { return hurry_ || stopping_ || pending_.size() >= kHighWater; });
    lines.swap(pending_);
    delivering_ = true;
    lock.unlock();
    writeToSinks(lines);
    lines.clear();
    lock.lock();
    delivering_ = false;
    delivered_.notify_all();
  }
}

void Tracer::writeToSinks(const std::string& lines) {
  const std::lock_guard lock(sinkMutex_);
  for (const auto& sink : sinks_) sink->write(lines.data(), lines.size());
}

}  // namespace ferrun
