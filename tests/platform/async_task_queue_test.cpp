// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/async_task_queue.h"

#include <future>
#include <stdexcept>

#include <gmock/gmock.h>

#include "support/log_lines.h"

namespace {

using ferrun::AsyncTaskQueue;
using testing::ElementsAre;

TEST(AsyncTaskQueue, RunsTasksInOrderAndWaitsForThem) {
  using std::chrono::milliseconds;
  const test::CapturedLines log;
  std::string ran;
  std::promise<void> started, gate;
  auto queue = std::make_unique<AsyncTaskQueue>("q");
  const auto note = [&](const std::string& text) { ran += text; };
  const auto wait = [&](const std::string&) {
    started.set_value();
    gate.get_future().wait();
  };
  queue->putTask(note, "early ");
  queue->putTask(wait, "");
  EXPECT_EQ(queue->size(), 2);
  EXPECT_TRUE(queue->init(1, {}));
  started.get_future().wait();
  EXPECT_EQ(queue->size(), 0) << "the running task does not count";
  const auto waited = std::async(std::launch::async, [&] { queue->waitForTasks(); });
  EXPECT_EQ(waited.wait_for(milliseconds(30)), std::future_status::timeout) << "but is waited for";
  queue->putTask([](const std::string&) { throw std::runtime_error("100% bad"); }, "");
  queue->putTask([](const std::string&) { throw 42; }, "");
  for (const char* const text : {"1", "2", "3"}) queue->putTask(note, text);
  EXPECT_EQ(queue->size(), 5);
  gate.set_value();
  waited.wait();
  queue->waitForTasks();
  queue->putTask([&](const std::string&) { queue->waitForTasks(); }, "");  // not for itself
  queue->waitForTasks();

  std::promise<void> last;
  queue->putTask([&](const std::string&) { last.get_future().wait(); }, "");
  queue->putTask(note, " late");
  const auto destroyed = std::async(std::launch::async, [&] { queue.reset(); });
  EXPECT_EQ(destroyed.wait_for(milliseconds(30)), std::future_status::timeout);
  last.set_value();
  destroyed.wait();
  EXPECT_EQ(ran, "early 123 late") << "the destructor runs what is queued";
  const std::string error = "<E>TIME [AsyncTaskQueue::run,L#] queue(q) task failed: ";
  EXPECT_THAT(log.lines(), ElementsAre(error + "100% bad!", error + "unknown exception!"));
}

TEST(AsyncTaskQueue, RunsTasksAtOnceWithoutWorkers) {
  std::string ran;
  const auto note = [&](const std::string& text) { ran += text; };
  AsyncTaskQueue queue("q");
  queue.putTask(note, "early ");
  EXPECT_EQ(ran, "");
  EXPECT_FALSE(queue.init(0, {}));
  EXPECT_EQ(ran, "early ");
  queue.putTask(note, "late");
  EXPECT_EQ(ran, "early late");
}

}  // namespace
