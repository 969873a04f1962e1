// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/async_task_queue.h"

#include <algorithm>
#include <exception>
#include <pthread.h>
#include <utility>

#include "pcbin_las/platform/trace_macros.h"

namespace ferrun {
namespace {

/// The queue whose task the calling thread runs, and the number of that task.
thread_local const AsyncTaskQueue* currentQueue = nullptr;
thread_local std::uint64_t currentTask = 0;

}  // namespace

AsyncTaskQueue::AsyncTaskQueue(std::string name) : name_(std::move(name)) {}

AsyncTaskQueue::~AsyncTaskQueue() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool AsyncTaskQueue::init(int workers, const SchedParam& param) {
  const std::string threadName = param.threadName.empty() ? name_ : param.threadName;
  const auto count = static_cast<std::size_t>(std::max(workers, 0));
  {
    const std::lock_guard lock(mutex_);
    if (initialised_) return false;
    running_.assign(count, kNoTask);
    threads_.reserve(count);
    initialised_ = true;
  }
  try {
    while (threads_.size() < count) {
      threads_.emplace_back(
          [this, worker = threads_.size(), threadName] { work(worker, threadName); });
    }
  } catch (const std::exception&) {  // no more threads, or no memory
  }
  {
    const std::lock_guard lock(mutex_);
    running_.resize(threads_.size());
  }
  runHere();
  return count > 0 && threads_.size() == count;
}

void AsyncTaskQueue::putTask(const Task& task, const std::string& argument) {
  std::unique_lock lock(mutex_);
  entries_.push_back({task, argument, nextNumber_});
  ++nextNumber_;
  const bool workerless = initialised_ && running_.empty();
  lock.unlock();
  if (workerless)
    runHere();
  else
    wake_.notify_one();
}

void AsyncTaskQueue::run(const Task& task, const std::string& argument) noexcept {
  try {
    task(argument);
  } catch (const std::exception& error) {
    TRACE_MEMBER_ERROR("AsyncTaskQueue", "run", "queue(%s) task failed: %s!", name_.c_str(),
                       error.what());
  } catch (...) {
    TRACE_MEMBER_ERROR("AsyncTaskQueue", "run", "queue(%s) task failed: unknown exception!",
                       name_.c_str());
  }
}

int AsyncTaskQueue::size() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(entries_.size());
}

void AsyncTaskQueue::runHere() {
  std::unique_lock lock(mutex_);
  while (running_.empty() && !entries_.empty()) {
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    lock.unlock();
    run(entry.task, entry.argument);
    entry = {};
    lock.lock();
  }
}

void AsyncTaskQueue::waitForTasks() {
  std::unique_lock lock(mutex_);
  ended_.wait(lock, [this, end = nextNumber_] { return haveEnded(end); });
}

/// Whether every task with a number below `end` has ended, except the one that calls this.
bool AsyncTaskQueue::haveEnded(std::uint64_t end) const {
  if (!entries_.empty() && entries_.front().number < end && !running_.empty()) return false;
  return std::ranges::none_of(running_, [&](std::uint64_t number) {
    return number < end && !(currentQueue == this && number == currentTask);
  });
}

void AsyncTaskQueue::work(std::size_t worker, const std::string& threadName) {
  pthread_setname_np(pthread_self(), threadName.substr(0, 15).c_str());  // the kernel's limit
  currentQueue = this;
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return !entries_.empty() || stopping_; });
    if (entries_.empty()) return;
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    running_[worker] = currentTask = entry.number;
    lock.unlock();
    run(entry.task, entry.argument);
    entry = {};  // destroys the task's captures before the lock is acquired again
    lock.lock();
    running_[worker] = kNoTask;
    ended_.notify_all();
  }
}

}  // namespace ferrun
