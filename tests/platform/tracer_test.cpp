#include "platform/tracer.h"

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/date_time.h"
#include "support/faulty_io.h"
#include "support/shortage.h"
#include "support/temp_dir.h"

namespace {

using ferrun::Tracer;

class RecordingSink : public ferrun::TracerSink {
 public:
  void write(const char* lines, std::size_t size) override {
    if (text.empty()) ferrun::Thread::msleep(firstWait);
    text.append(lines, size);
    largest = std::max(largest, size);
  }
  std::string text;
  std::size_t largest = 0;
  int firstWait = 0;  ///< milliseconds
};

TEST(Tracer, DeliversLinesFromTheThresholdUp) {
  const auto sink = std::make_shared<RecordingSink>();
  const auto otherSink = std::make_shared<RecordingSink>();
  sink->firstWait = 100;
  {
    Tracer tracer;
    tracer.addSink(sink);
    tracer.print(3, "before the start");
    tracer.setLevel(2);
    tracer.flush();
    tracer.start();
    tracer.start();
    for (const int level : {1, 2, 3}) tracer.print(level, "level %d", level);
    EXPECT_FALSE(tracer.enabled(1));
    ferrun::Thread::msleep(50);  // by now the sink has begun to write
    tracer.flush();
    EXPECT_EQ(sink->text, "level 2\nlevel 3\n") << "flush() waits for the sinks";
    tracer.setLevel(1);
    tracer.addSink(otherSink);
    tracer.print(1, "%.1f%% of %s", 12.34, "it");
  }
  EXPECT_EQ(sink->text, "level 2\nlevel 3\n12.3% of it\n") << "the destructor delivers the rest";
  EXPECT_EQ(otherSink->text, "12.3% of it\n");
}

TEST(Tracer, DeliversLinesOfAnyLengthWhole) {
  const auto sink = std::make_shared<RecordingSink>();
  Tracer tracer;
  tracer.addSink(sink);
  tracer.start();
  std::string expected;
  for (const std::size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1025U, 70000U, 3U << 20}) {
    const std::string line(length, 'x');
    tracer.print(1, "%s", line.c_str());
    expected += line + "\n";
  }
  tracer.flush();
  EXPECT_TRUE(sink->text == expected);
}

TEST(Tracer, KeepsEveryThreadsLinesInOrderAndItsMemoryBounded) {
  constexpr int kThreads = 4, kLines = 4000;
  const auto sink = std::make_shared<RecordingSink>();
  sink->firstWait = 100;  // printers run far ahead
  {
    Tracer tracer;
    tracer.addSink(sink);
    tracer.start();
    std::vector<std::thread> printers;
    for (int thread = 0; thread < kThreads; ++thread)
      printers.emplace_back([&tracer, thread] {
        const std::string filling(200, static_cast<char>('a' + thread));
        for (int i = 0; i < kLines; ++i) {
          tracer.print(1, "%d %d %s", thread, i, filling.c_str());
          if (thread == 0 && i % 500 == 0) tracer.flush();
        }
      });
    for (std::thread& printer : printers) printer.join();
  }
  EXPECT_LT(sink->largest, (1U << 20) + 2000);

  std::vector<int> next(kThreads, 0);
  std::istringstream lines(sink->text);
  int thread = 0, number = 0, total = 0;
  for (std::string filling; lines >> thread >> number >> filling; ++total) {
    const auto t = static_cast<std::size_t>(thread);
    ASSERT_LT(t, next.size());
    ASSERT_EQ(number, next[t]++);
    ASSERT_EQ(filling, std::string(200, static_cast<char>('a' + thread)));
  }
  EXPECT_EQ(total, kThreads * kLines);
}

TEST(Tracer, DeliversWithoutAThreadOfItsOwn) {
  const test::NoThreads shortage;
  const auto sink = std::make_shared<RecordingSink>();
  Tracer tracer;
  tracer.addSink(sink);
  tracer.start();
  tracer.print(1, "a");
  tracer.flush();
  tracer.print(2, "b");
  EXPECT_EQ(sink->text, "a\nb\n");
}

TEST(STDSink, WritesEveryByteToAnUnwillingStandardOutput) {
  const test::TempDir directory;
  const std::string path = directory.write("out", "");
  const std::string lines = "one\ntwo\nthree\n";
  for (const int error : {EINTR, EAGAIN}) {
    fflush(stdout);
    const int standardOutput = dup(STDOUT_FILENO);
    const int file = open(path.c_str(), O_WRONLY | O_TRUNC);
    dup2(file, STDOUT_FILENO);
    {
      const test::FaultyFile faulty(path, {.longestTransfer = 3, .everyOther = error});
      ferrun::STDSink().write(lines.data(), lines.size());
    }
    {
      const test::FaultyFile full(path, {.end = 16});
      ferrun::STDSink().write("lost\n", 5);
    }
    dup2(standardOutput, STDOUT_FILENO);
    close(standardOutput);
    close(file);
    EXPECT_EQ(test::readFile(path), lines + "lo") << error;
  }
}

}  // namespace
