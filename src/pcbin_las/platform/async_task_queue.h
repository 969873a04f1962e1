// SPDX-License-Identifier: BSD-3-Clause
// Background work, in order.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "pcbin_las/platform/api.h"

namespace ferrun {

/// Scheduling hints. Only `threadName` is used.
struct SchedParam {
  std::vector<int> processors;
  bool realTime = false;
  int priority = 0;
  int niceness = 0;
  std::string threadName;  ///< name of the worker threads; empty for the queue's name
};

/// A named queue of tasks that worker threads run. With one worker, tasks run one at a time in the
/// order in which they were queued. Any thread may queue tasks. If init() could not start a worker,
/// each task runs in the thread that queues it, so that no task is lost. Only the constructor,
/// init() and putTask() allocate memory and may throw std::bad_alloc.
class PCBIN_API AsyncTaskQueue {
 public:
  using Task = std::function<void(const std::string&)>;

  /// A queue without workers. Tasks may already be queued; they wait for init() or runHere().
  explicit AsyncTaskQueue(std::string name);
  AsyncTaskQueue(const AsyncTaskQueue&) = delete;
  AsyncTaskQueue& operator=(const AsyncTaskQueue&) = delete;

  /// The workers run the queued tasks and end; without workers these tasks are dropped. Must not be
  /// called in a task, nor in a child process after fork(), which has no workers.
  ~AsyncTaskQueue();

  /// Starts `workers` threads, at least 1. False when `workers` is less or a thread cannot be
  /// started; threads that were started keep running.
  bool init(int workers, const SchedParam& param);

  /// Queues a task; a worker calls it with `argument`. An exception thrown by a task is reported
  /// with an error line; later tasks run.
  void putTask(const Task& task, const std::string& argument);

  /// The number of tasks that no worker has started yet.
  int size() const;

  /// Without workers, runs the queued tasks in the calling thread; otherwise does nothing.
  void runHere();

  /// Waits until every task queued before the call has ended. Tasks queued later do not delay it.
  /// Called in a task of this queue, it does not wait for that task.
  void waitForTasks();

 private:
  struct Entry {
    Task task;
    std::string argument;
    std::uint64_t number = kNoTask;  ///< in the order of putTask()
  };

  void work(std::size_t worker, const std::string& threadName);
  void run(const Task& task, const std::string& argument) noexcept;
  bool haveEnded(std::uint64_t end) const;

  static constexpr std::uint64_t kNoTask = UINT64_MAX;

  std::string name_;
  mutable std::mutex mutex_;  ///< guards the members below except threads_
  std::condition_variable wake_;
  std::condition_variable ended_;  ///< a task has ended
  std::deque<Entry> entries_;
  std::uint64_t nextNumber_ = 0;
  std::vector<std::uint64_t> running_;  ///< for each worker the number of its task, or kNoTask
  bool stopping_ = false;
  bool initialised_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace ferrun
