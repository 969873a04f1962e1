#include "platform/async_task_queue.h"

#include <future>
#include <pthread.h>
#include <stdexcept>

#include <gmock/gmock.h>

#include "support/log_lines.h"

namespace {

using ferrun::AsyncTaskQueue;
using testing::ElementsAre;

TEST(AsyncTaskQueue, RunsTasksInOrderAndCountsThoseNotYetTaken) {
  std::string ran;
  std::string threadName(16, '\0');
  std::promise<void> started, gate;
  {
    AsyncTaskQueue queue("a name longer than 15");
    const auto note = [&](const std::string& text) { ran += text; };
    queue.putTask(note, "early ");
    EXPECT_EQ(queue.size(), 1);

    queue.putTask(
        [&](const std::string&) {
          pthread_getname_np(pthread_self(), threadName.data(), threadName.size());
          started.set_value();
          gate.get_future().wait();
        },
        "");
    EXPECT_TRUE(queue.init(1, {}));
    started.get_future().wait();
    EXPECT_EQ(queue.size(), 0) << "the running task does not count";
    for (const char* const text : {"1", "2", "3"}) queue.putTask(note, text);
    EXPECT_EQ(queue.size(), 3);
    gate.set_value();
  }
  EXPECT_EQ(ran, "early 123") << "the destructor runs what is queued";
  EXPECT_STREQ(threadName.c_str(), "a name longer t");
}

TEST(AsyncTaskQueue, OutlivesTasksThatThrow) {
  const test::CapturedLines log;
  bool ran = false;
  {
    AsyncTaskQueue queue("q");
    queue.init(1, {});
    queue.putTask([](const std::string&) { throw std::runtime_error("100% bad"); }, "");
    queue.putTask([](const std::string&) { throw 42; }, "");
    queue.putTask([&](const std::string&) { ran = true; }, "");
  }
  EXPECT_TRUE(ran);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("<E>TIME [AsyncTaskQueue::run,L#] queue(q) task failed: 100% bad!",
                  "<E>TIME [AsyncTaskQueue::run,L#] queue(q) task failed: unknown exception!"));
}

}  // namespace
