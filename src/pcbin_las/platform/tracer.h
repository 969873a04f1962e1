// The tracing facility: every line that the program says goes through here.
#pragma once

#include <atomic>
#include <climits>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/platform/singleton.h"

namespace ferrun {

/// A destination of finished lines.
class PCBIN_API TracerSink {
 public:
  virtual ~TracerSink() = default;

  /// Takes `size` bytes: one or more whole lines, each with its line break. What cannot be written
  /// is lost. Called by one thread at a time.
  virtual void write(const char* lines, std::size_t size) = 0;
};

/// Writes lines to standard output.
class PCBIN_API STDSink : public TracerSink {
 public:
  void write(const char* lines, std::size_t size) override;
};

/// Formats lines and hands them to its sinks, whole and in the order in which they were printed.
/// Lines are gathered in a bounded buffer, which is written out within some 20 ms by a thread of
/// the tracer, or as soon as it is full by who fills it. Any thread may print. The library's own
/// messages go to Singleton<Tracer>: a program that neither adds a sink nor starts it sees none.
class PCBIN_API Tracer {
 public:
  Tracer() = default;
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  /// Delivers every line that was printed before.
  ~Tracer();

  /// Lines whose level is below `threshold` are dropped. 1 until set.
  void setLevel(int threshold);

  /// Adds a destination; every later line goes to every sink, in the order in which they were
  /// added.
  void addSink(std::shared_ptr<TracerSink> sink);

  /// Opens the tracer: lines printed before are dropped, lines printed after reach the sinks.
  void start();

  /// Whether a line of this level would be delivered. Costs one load.
  bool enabled(int level) const { return level >= gate_.load(std::memory_order_relaxed); }

  /// Prints one line, formatted by the rules of printf; the line break is added here.
  [[gnu::format(printf, 3, 4)]] void print(int level, const char* format, ...);

  /// Returns once every line that was printed before is with the sinks.
  void flush();

 private:
  void append(const char* line, std::size_t size);
  void deliver(std::unique_lock<std::mutex>& lock);
  void deliverInTime();
  void writeToSinks(const std::string& lines);

  static constexpr int kClosed = INT_MAX;  ///< the gate before start()

  std::atomic<int> gate_ = kClosed;  ///< the lowest level that passes
  std::mutex mutex_;                 ///< guards what follows down to sinkMutex_
  int threshold_ = 1;
  std::condition_variable wake_;       ///< the thread waits here
  std::condition_variable delivered_;  ///< delivering_ has become false
  std::string pending_;                ///< whole lines that wait
  std::string lines_;                  ///< lines that are being handed to the sinks
  bool delivering_ = false;            ///< lines_ is in use
  bool threadIdle_ = false;            ///< the thread waits for a first line
  bool stopping_ = false;
  std::mutex sinkMutex_;  ///< guards sinks_ and the calls of their write()
  std::vector<std::shared_ptr<TracerSink>> sinks_;
  std::thread thread_;
};

/// The tracer of the process. Defined in the library, so that a program and the shared libraries
/// that it loads have the same one.
template <>
PCBIN_API Tracer* Singleton<Tracer>::getInstance();

}  // namespace ferrun
