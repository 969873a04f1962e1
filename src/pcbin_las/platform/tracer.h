// SPDX-License-Identifier: BSD-3-Clause
// Tracing: delivers log lines to sinks.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/singleton.h"

/// Precede and follow the text of a prompt: the tag, then yellow and bold; the reset of both.
#define FERRUN_PROMPT_START "<C>\033[33m\033[1m"
#define FERRUN_PROMPT_END "\033[0m"

namespace ferrun {

/// Levels of log lines; the tracer drops those below its threshold.
constexpr int kLevelInfo = 1;  ///< results, progress and prompts
constexpr int kLevelWarning = 2;
constexpr int kLevelError = 3;

/// A destination of log lines. A derived class overrides one of the functions. Lines that it cannot
/// write, or for which it throws, are lost. Called by one thread at a time, which prints. It may
/// print lines itself; they are delivered later.
class PCBIN_API TracerSink {
 public:
  virtual ~TracerSink() = default;

  /// Receives `size` bytes: one or more whole lines of one level, each with its line break. Passes
  /// them to write() unless overridden.
  virtual void writeLines(int level, const char* lines, std::size_t size);

  /// Receives lines of any level. Does nothing unless overridden.
  virtual void write(const char* lines, std::size_t size);
};

/// Writes lines to standard output.
class PCBIN_API STDSink : public TracerSink {
 public:
  void write(const char* lines, std::size_t size) override { writeAll(lines, size); }

  /// Writes `size` bytes; false when standard output does not accept all of them.
  static bool writeAll(const char* lines, std::size_t size);

  /// Whether a write failed because standard output is a pipe or socket without a reader.
  static bool readerIsGone() { return readerGone_.load(std::memory_order_relaxed); }

 private:
  static inline std::atomic<bool> readerGone_ = false;
};

/// Formats lines and delivers them to its sinks, whole and in the order in which they were printed.
/// The printing thread delivers: a line has reached every sink when print() returns, and a sink
/// that blocks also blocks the threads that print. Any thread may print, and printing never throws.
/// Lines of up to 1023 bytes allocate no memory after start(). A longer line, or one with bytes to
/// escape, is lost when there is no memory.
///
/// The library prints to Singleton<Tracer>, which is silent until a program adds a sink and calls
/// start(). It is never destroyed: at process exit it delivers every line, and from then on each
/// line goes to the sinks at once. Its sinks must stay usable until the process ends. After fork()
/// only the parent delivers lines that were gathered.
class PCBIN_API Tracer {
 public:
  Tracer() = default;
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  /// Delivers every line printed before.
  ~Tracer();

  /// Sets the threshold: lines of a lower level are dropped. 1 by default.
  void setLevel(int threshold);

  /// Adds a destination; every later line goes to every sink, in the order in which they were
  /// added. Not for use by a sink.
  void addSink(std::shared_ptr<TracerSink> sink);

  /// Starts delivery. Lines printed before are lost. Throws std::bad_alloc, and has not started
  /// then.
  void start();

  /// Whether a line of this level would be delivered.
  bool enabled(int level) const { return level >= gate_.load(std::memory_order_relaxed); }

  /// Prints one line, formatted by the rules of printf; adds the line break.
  [[gnu::format(printf, 3, 4)]] void print(int level, const char* format, ...) noexcept;

  /// Prints one line like print(), with control bytes and invalid UTF-8 escaped (escape.h) except
  /// for the colours of a prompt.
  [[gnu::format(printf, 3, 4)]] void printEscaped(int level, const char* format, ...) noexcept;

  /// Returns when every line printed before has been delivered to the sinks. Called by a sink, it
  /// returns at once.
  void flush() noexcept;

  /// Gathers the lines of all threads, up to 64 KiB, while it exists, and delivers them together.
  class [[nodiscard]] Gathering {
   public:
    explicit Gathering(Tracer& tracer) : tracer_(tracer) { tracer_.gather(true); }
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;
    ~Gathering() { tracer_.gather(false); }

   private:
    Tracer& tracer_;
  };

  /// For the handler of a signal that ends a process with one thread: delivers the gathered lines.
  /// From now on STDSink drops what standard output does not accept within a second. False when the
  /// thread was interrupted inside a tracer, which then raises the signal itself when it is done.
  bool deliverBeforeEnd(int signal) noexcept;

 private:
  friend class Singleton<Tracer>;
  class Lock;

  enum class Escape { kNo, kYes };

  [[gnu::format(printf, 4, 0)]] void format(int level, Escape escape, const char* format,
                                            std::va_list values) noexcept;
  void append(int level, std::string_view line);
  void gather(bool begin) noexcept;
  void deliver() noexcept;
  void writeToSinks() noexcept;
  void deliverAtExit() noexcept;
  void lockForFork();
  void unlockAfterFork(bool inChild);

  /// Whole lines, in runs of equal level.
  struct Lines {
    struct Run {
      int level;
      std::size_t end;  ///< offset in `text`
    };
    std::string text;
    std::vector<Run> runs;
  };

  static constexpr long long kClosed = std::numeric_limits<long long>::max();

  std::atomic<long long> gate_ = kClosed;  ///< the lowest level printed; kClosed before start()
  std::atomic<std::thread::id> owner_;     ///< the thread that has locked the mutex
  std::mutex mutex_;                       ///< guards the members below
  int threshold_ = 1;
  bool started_ = false;
  int gathering_ = 0;     ///< Gathering objects that count
  bool exiting_ = false;  ///< no lines are gathered any more
  Lines pending_;         ///< that are waiting
  Lines lines_;           ///< that are being delivered
  std::vector<std::shared_ptr<TracerSink>> sinks_;
};

/// Defined in the library, so that a program and shared libraries that it loads use one tracer.
template <>
PCBIN_API Tracer* Singleton<Tracer>::getInstance();

/// Starts the tracer of the library with a sink: it receives the lines of `level` and above, of all
/// threads, until the process ends. Throws std::bad_alloc.
PCBIN_API void printLinesTo(std::shared_ptr<TracerSink> sink, int level = kLevelInfo);

/// The same, to standard output.
PCBIN_API void printLinesToConsole(int level = kLevelInfo);

}  // namespace ferrun
