// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/tracer.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/fault_injection.h"
#include "support/temp_dir.h"

namespace {

using ferrun::Tracer;

struct RecordingSink : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override {
    text.append(lines, size);
    largest = std::max(largest, size);
  }
  std::string text;
  std::size_t largest = 0;
};

TEST(Tracer, DeliversLinesOfAnyLengthFromTheThresholdUp) {
  const auto sink = std::make_shared<RecordingSink>();
  std::string expected = "level 2\nlevel 3\n";
  {
    Tracer tracer;
    tracer.addSink(sink);
    tracer.print(3, "before the start");
    tracer.setLevel(2);
    tracer.start();
    for (const int level : {1, 2, 3}) tracer.print(level, "level %d", level);
    EXPECT_EQ(sink->text, expected) << "print() waits for the sinks";
    const Tracer::Gathering gathering(tracer);
    for (const std::size_t length : {0U, 1022U, 1023U, 1024U, 1025U, 3U << 20}) {
      const std::string line(length, 'x');
      tracer.print(2, "%s", line.c_str());
      expected += line + "\n";
    }
  }
  EXPECT_TRUE(sink->text == expected) << "the end of the gathering delivers the rest";
}

TEST(Tracer, KeepsEveryThreadsLinesInOrderAndItsMemoryBounded) {
  constexpr int kThreads = 4, kLines = 4000;
  const auto line = [](int thread, int i) {
    return std::to_string(thread) + " " + std::to_string(i) + std::string(200, '.');
  };
  const auto sink = std::make_shared<RecordingSink>();
  {
    Tracer tracer;
    tracer.addSink(sink);
    tracer.start();
    std::vector<std::thread> printers;
    for (int thread = 0; thread < kThreads; ++thread)
      printers.emplace_back([&tracer, &line, thread] {
        const Tracer::Gathering gathering(tracer);
        for (int i = 0; i < kLines; ++i) tracer.print(1, "%s", line(thread, i).c_str());
      });
    for (std::thread& printer : printers) printer.join();
  }
  EXPECT_LT(sink->largest, 70'000U);

  std::vector<int> next(kThreads, 0);
  std::istringstream lines(sink->text);
  for (std::string text; std::getline(lines, text);) {
    const int thread = text.at(0) - '0';
    ASSERT_EQ(text, line(thread, next.at(static_cast<std::size_t>(thread))++));
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

TEST(STDSink, WritesEveryByteWhenStandardOutputIsBusyOrInterrupted) {
  const test::TempDir directory;
  const std::string path = directory.write("out", "");
  const int standardOutput = dup(STDOUT_FILENO);
  const int file = open(path.c_str(), O_WRONLY);
  for (const int error : {EINTR, EAGAIN}) {
    fflush(stdout);
    dup2(file, STDOUT_FILENO);
    const test::FaultyFile faulty(path, {.longestTransfer = 3, .everyOther = error});
    ferrun::STDSink().write("one\ntwo\n", 8);
    dup2(standardOutput, STDOUT_FILENO);
  }
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  std::signal(SIGPIPE, SIG_IGN);
  dup2(ends[1], STDOUT_FILENO);
  const bool accepted = ferrun::STDSink::writeAll("lost", 4);
  dup2(standardOutput, STDOUT_FILENO);
  std::signal(SIGPIPE, SIG_DFL);
  EXPECT_FALSE(accepted) << "nobody reads the pipe";
  close(ends[1]);
  close(file);
  close(standardOutput);
  EXPECT_EQ(test::readFile(path), "one\ntwo\none\ntwo\n");
}

}  // namespace
