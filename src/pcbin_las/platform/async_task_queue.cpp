#include "pcbin_las/platform/async_task_queue.h"

#include <exception>
#include <pthread.h>
#include <system_error>
#include <utility>

#include "pcbin_las/platform/trace_macros.h"

namespace ferrun {
namespace {

const std::string kClassName = "AsyncTaskQueue";

}  // namespace

AsyncTaskQueue::AsyncTaskQueue(std::string name) : name_(std::move(name)) {}

AsyncTaskQueue::~AsyncTaskQueue() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

bool AsyncTaskQueue::init(int workers, const SchedParam& param) {
  const std::string threadName = param.threadName.empty() ? name_ : param.threadName;
  try {
    for (int i = 0; i < workers; ++i) {
      workers_.emplace_back([this, threadName] { runTasks(threadName); });
    }
  } catch (const std::system_error&) {
    if (!workers_.empty()) return false;
    std::unique_lock lock(mutex_);
    workerless_ = true;
    const std::deque<Entry> entries = std::move(entries_);
    entries_.clear();
    lock.unlock();
    for (const Entry& entry : entries) run(entry.task, entry.argument);
    return false;
  }
  return true;
}

void AsyncTaskQueue::putTask(const Task& task, const std::string& argument) {
  std::unique_lock lock(mutex_);
  if (workerless_) {
    lock.unlock();
    run(task, argument);
    return;
  }
  entries_.push_back({task, argument});
  lock.unlock();
  wake_.notify_one();
}

void AsyncTaskQueue::run(const Task& task, const std::string& argument) {
  try {
    task(argument);
  } catch (const std::exception& error) {
    TRACE_MEMBER_ERROR(kClassName, "run", "queue(%s) task failed: %s!", name_.c_str(),
                       error.what());
  } catch (...) {
    TRACE_MEMBER_ERROR(kClassName, "run", "queue(%s) task failed: unknown exception!",
                       name_.c_str());
  }
}

int AsyncTaskQueue::size() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(entries_.size());
}

void AsyncTaskQueue::runTasks(const std::string& threadName) {
  pthread_setname_np(pthread_self(), threadName.substr(0, 15).c_str());  // the kernel's limit
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return !entries_.empty() || stopping_; });
    if (entries_.empty()) return;
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    lock.unlock();
    run(entry.task, entry.argument);
    entry = {};  // releases what the task holds before the lock is taken again
    lock.lock();
  }
}

}  // namespace ferrun
