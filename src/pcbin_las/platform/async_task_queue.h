// Work done in the background, in order.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "pcbin_las/platform/api.h"

namespace ferrun {

/// Wishes about how the workers of a queue are scheduled. Of the last one alone something is made.
struct SchedParam {
  std::vector<int> processors;  ///< ignored
  bool realTime = false;        ///< ignored
  int priority = 0;             ///< ignored
  int niceness = 0;             ///< ignored
  std::string threadName;       ///< the workers' thread name; empty for the queue's name
};

/// A named queue of tasks that worker threads run. With one worker, tasks run one at a time in the
/// order in which they were put. Any thread may put tasks.
class PCBIN_API AsyncTaskQueue {
 public:
  using Task = std::function<void(const std::string&)>;

  /// A queue that is not yet running; tasks may be put already.
  explicit AsyncTaskQueue(std::string name);
  AsyncTaskQueue(const AsyncTaskQueue&) = delete;
  AsyncTaskQueue& operator=(const AsyncTaskQueue&) = delete;

  /// Has the workers, if there are any, run the tasks that are still queued, and ends them. Not to
  /// be called from a task.
  ~AsyncTaskQueue();

  /// Starts `workers` threads. False when one cannot be started; those started before it still run,
  /// and without any, tasks are run by who puts them.
  bool init(int workers, const SchedParam& param);

  /// Queues a task; a worker will call it with `argument`. When init() could start no worker, the
  /// task is run here and now instead, so that no work is lost. An exception that leaves the task
  /// ends that task alone, with an error line.
  void putTask(const Task& task, const std::string& argument);

  /// The number of tasks put and not yet taken by a worker.
  int size() const;

 private:
  struct Entry {
    Task task;
    std::string argument;
  };

  void runTasks(const std::string& threadName);
  void run(const Task& task, const std::string& argument);

  std::string name_;
  mutable std::mutex mutex_;  ///< guards the members below but workers_
  std::condition_variable wake_;
  std::deque<Entry> entries_;
  bool stopping_ = false;
  bool workerless_ = false;  ///< init() has started no worker
  std::vector<std::thread> workers_;
};

}  // namespace ferrun
