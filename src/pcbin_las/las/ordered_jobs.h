// SPDX-License-Identifier: BSD-3-Clause
// Jobs that several threads do, and whose results are taken in order.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace pontra {

/// Does jobs in several threads and returns them in the order in which they were added. The thread
/// that owns the object does jobs too: with one thread there is no other. All member functions are
/// for the owner's thread.
template <class Job>
class OrderedJobs {
 public:
  /// Does one job; must not throw.
  using Work = std::function<void(Job&)>;

  /// Starts `threads` - 1 threads, or as many as the system permits. Each thread, and the owner's,
  /// calls `makeWork` once, which may throw std::bad_alloc, and uses its own result.
  OrderedJobs(unsigned threads, std::function<Work()> makeWork)
      : makeWork_(std::move(makeWork)), work_(makeWork_()) {
    workers_.reserve(threads - 1);
    // Signals stay with the other threads of the process.
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &former);
    try {
      while (workers_.size() + 1 < threads) workers_.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
      // The threads that could be started do the work.
    }
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
  }

  ~OrderedJobs() {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    added_.notify_all();
    for (std::thread& worker : workers_) worker.join();
  }
  OrderedJobs(const OrderedJobs&) = delete;
  OrderedJobs& operator=(const OrderedJobs&) = delete;

  /// Adds a job. Throws std::bad_alloc.
  void push(std::unique_ptr<Job> job) {
    {
      const std::lock_guard lock(mutex_);
      entries_.push_back({.job = std::move(job)});
    }
    added_.notify_one();
  }

  /// The first job, if it is done; otherwise null.
  std::unique_ptr<Job> pop() {
    const std::lock_guard lock(mutex_);
    if (entries_.empty() || !entries_.front().done) return nullptr;
    std::unique_ptr<Job> job = std::move(entries_.front().job);
    entries_.pop_front();
    return job;
  }

  /// Drops all jobs; waits for those that other threads do.
  void clear() {
    std::unique_lock lock(mutex_);
    // Jobs are begun in order: those not begun are at the end.
    while (!entries_.empty() && !entries_.back().taken) entries_.pop_back();
    done_.wait(lock, [this] {
      return std::ranges::all_of(entries_, [](const Entry& entry) { return entry.done; });
    });
    entries_.clear();
  }

  /// The jobs that pop() has not returned.
  std::size_t size() {
    const std::lock_guard lock(mutex_);
    return entries_.size();
  }

  /// Calls `use` for each job that is done.
  template <class Use>
  void forEachDone(Use use) {
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_)
      if (entry.done) use(*entry.job);
  }

  /// Does a job in this thread, or waits until another thread has done one. Returns at once when
  /// the first job is done or there is none.
  void work() {
    std::unique_lock lock(mutex_);
    if (Entry* const entry = take()) {
      lock.unlock();
      finish(*entry, work_);
      return;
    }
    done_.wait(lock, [this, before = finished_] {
      return finished_ != before || entries_.empty() || entries_.front().done;
    });
  }

 private:
  struct Entry {
    std::unique_ptr<Job> job;
    bool taken = false;  ///< by a thread
    bool done = false;
  };

  void run() {
    // Without memory the other threads do the work.
    try {
      const Work work = makeWork_();
      std::unique_lock lock(mutex_);
      while (true) {
        Entry* entry = nullptr;
        added_.wait(lock, [&] { return stopping_ || (entry = take()) != nullptr; });
        if (entry == nullptr) return;
        lock.unlock();
        finish(*entry, work);
        lock.lock();
      }
    } catch (const std::bad_alloc&) {
    }
  }

  /// The first job that no thread does yet, or null. The mutex must be locked. A deque does not
  /// move its elements when others are added or removed at its ends.
  Entry* take() {
    const auto entry = std::ranges::find(entries_, false, &Entry::taken);
    if (entry == entries_.end()) return nullptr;
    entry->taken = true;
    return &*entry;
  }

  void finish(Entry& entry, const Work& work) {
    work(*entry.job);
    {
      const std::lock_guard lock(mutex_);
      entry.done = true;
      ++finished_;
    }
    done_.notify_one();
  }

  std::function<Work()> makeWork_;
  Work work_;  ///< of the owner's thread

  std::mutex mutex_;  ///< guards the members below
  std::condition_variable added_;
  std::condition_variable done_;
  std::deque<Entry> entries_;   ///< in order
  std::uint64_t finished_ = 0;  ///< jobs done so far
  bool stopping_ = false;

  std::vector<std::thread> workers_;
};

}  // namespace pontra
