// SPDX-License-Identifier: BSD-3-Clause
// The end of processes that use the library. Each case runs in a child process.
#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "pcbin_las/output/stop_signals.h"
#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/platform/tracer.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "storage/open_reader.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using ferrun::AsyncTaskQueue;
using ferrun::Thread;
using modeling_app::PcbReader;
using modeling_app::PcbWriter;
using test::EndedProcess;
using test::runProcess;
using testing::HasSubstr;

ferrun::Tracer& startedTracer() {
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  tracer->addSink(std::make_shared<ferrun::STDSink>());
  tracer->start();
  return *tracer;
}

TEST(ProcessEnd, AWriterWithStaticStorageWritesItsFramesAndReportsFailures) {
  constexpr unsigned kPoints = 300'000;
  for (const bool fullDisk : {false, true}) {
    const test::TempDir dir;
    const EndedProcess ended = runProcess([&] {
      static const auto queue = std::make_shared<AsyncTaskQueue>("frames");
      static PcbWriter writer(queue);  // made before the tracer: destroyed after its last delivery
      startedTracer();
      queue->init(1, {});
      if (!writer.open(dir.path("a"), 4096)) _exit(1);
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{1'000'000, RLIM_INFINITY};
      if (fullDisk && setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
      writer.writePcl(test::rgbCloud(kPoints));
      while (queue->size() > 0) Thread::msleep(1);  // close() would wait for five seconds
    });
    EXPECT_EQ(ended.status, 0);
    if (fullDisk) {
      EXPECT_THAT(ended.output, HasSubstr("is incomplete, 0 of 1 frames and 0 of 300000 points"));
    } else {
      PcbReader reader;
      ASSERT_TRUE(reader.open(dir.path("a"), 0));
      EXPECT_EQ(reader.totalPoints(), kPoints);
      EXPECT_EQ(reader.readPclRGB(2).size(), 1U);
    }
  }
}

TEST(ProcessEnd, ThreadsMayPrintWhileTheProcessEnds) {
  for (int repeat = 0; repeat < 5; ++repeat) {
    const EndedProcess ended = runProcess([] {
      ferrun::Tracer& tracer = startedTracer();
      for (int thread = 0; thread < 4; ++thread)
        std::thread([&tracer] {
          while (true) tracer.print(3, "a whole line");
        }).detach();
      Thread::msleep(20);
    });
    EXPECT_EQ(ended.status, 0);
    EXPECT_GT(ended.output.size(), 1000U);
  }
}

TEST(ProcessEnd, AForkedProcessPrintsAndExits) {
  const EndedProcess ended = runProcess([] {
    ferrun::Tracer& tracer = startedTracer();
    const ferrun::Tracer::Gathering gathering(tracer);
    tracer.print(3, "before");
    const pid_t child = fork();
    tracer.print(3, child == 0 ? "child" : "parent");
    if (child == 0) std::exit(0);
    waitpid(child, nullptr, 0);
  });
  EXPECT_EQ(ended.status, 0);
  for (const char* const line : {"before\n", "child\n", "parent\n"}) {
    EXPECT_THAT(ended.output, HasSubstr(line));
    EXPECT_EQ(ended.output.find(line), ended.output.rfind(line)) << "once";
  }
}

TEST(ProcessEnd, EveryEndDeliversTheGatheredLines) {
  for (const int end : {0, SIGINT, SIGTERM, SIGHUP}) {
    const EndedProcess ended = runProcess([end] {
      ferrun::Tracer& tracer = startedTracer();
      if (end != 0) std::signal(end, SIG_DFL);
      ferrun::handleStopSignals();
      const ferrun::Tracer::Gathering gathering(tracer);
      for (int i = 0; i < 3; ++i) tracer.print(3, "line %d", i);
      end == 0 ? std::exit(0) : (void)raise(end);
    });
    EXPECT_EQ(ended.status, end == 0 ? 0 : 128 + end);
    EXPECT_EQ(ended.output, "line 0\nline 1\nline 2\n") << end;
  }
}

TEST(ProcessEnd, ASignalEndsAProcessWhoseOutputNobodyReads) {
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const EndedProcess ended = runProcess([&] {
    dup2(pipeEnds[1], STDOUT_FILENO);
    ferrun::Tracer& tracer = startedTracer();
    std::signal(SIGTERM, SIG_DFL);
    ferrun::handleStopSignals();
    const pid_t parent = getpid();
    if (fork() == 0) {
      Thread::msleep(300);
      kill(parent, SIGTERM);
      _exit(0);
    }
    const ferrun::Tracer::Gathering gathering(tracer);
    while (true) tracer.print(3, "a line that fills the pipe");
  });
  EXPECT_EQ(ended.status, 128 + SIGTERM) << "not the SIGALRM after a minute";
  close(pipeEnds[0]);
  close(pipeEnds[1]);
}

TEST(ProcessEnd, AKilledWriterLeavesEveryFrameWhoseTaskEnded) {
  const test::TempDir dir;
  const EndedProcess ended = runProcess([&] {
    PcbWriter writer;
    if (!writer.open(dir.path("a"), PcbWriter::kBufferSize)) _exit(1);
    for (unsigned frames = 1; frames <= 30; ++frames) {
      writer.writePcl(test::rgbCloud(10));
      while (writer.totalFrames() < frames) Thread::msleep(1);
    }
    raise(SIGKILL);
  });
  EXPECT_EQ(ended.status, 128 + SIGKILL);
  PcbReader reader;
  ASSERT_TRUE(reader.open(dir.path("a"), 0));
  EXPECT_EQ(reader.readPclRGB(100).size(), 30U);
}

}  // namespace
