#include "platform/console.h"

#include <fcntl.h>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/trace.h"
#include "support/log_lines.h"

namespace {

using ferrun::ConsoleIn;

TEST(ConsoleIn, GivesTheFirstWordOfTheLastLine) {
  std::stringbuf typed("  y  no\n12 x\n \t\n\nlast");
  std::streambuf* const keyboard = std::cin.rdbuf(&typed);
  ConsoleIn console;
  EXPECT_EQ(console.as<std::string>(), "");
  console.waitIn();
  EXPECT_EQ(console.as<std::string>(), "y");
  EXPECT_EQ(console.as<std::string>(), "y") << "the line is kept";
  console.waitIn();
  EXPECT_EQ(console.as<int>(), 12);
  for (const char* const word : {"", "", "last", "", ""}) {
    console.waitIn();
    EXPECT_EQ(console.as<std::string>(), word);
  }
  std::cin.rdbuf(keyboard);
}

/// Keeps the lines that have come out.
struct Screen : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override { text.append(lines, size); }
  std::string text;
};

/// Looks at the screen when the program begins to wait for input.
struct Operator : std::streambuf {
  int underflow() override {
    seen = screen->text;
    return traits_type::eof();
  }
  std::shared_ptr<Screen> screen = std::make_shared<Screen>();
  std::string seen;
};

TEST(ConsoleIn, WaitsOnlyWhenTheQuestionIsOnTheConsole) {
  const test::CapturedLines started;
  Operator person;
  ferrun::Singleton<ferrun::Tracer>::getInstance()->addSink(person.screen);
  std::streambuf* const keyboard = std::cin.rdbuf(&person);
  TRACE_INFO("main", "%d%% done", 7);
  TRACE_PROMPT("file %s?", "a");
  ConsoleIn().waitIn();
  std::cin.rdbuf(keyboard);
  EXPECT_THAT(test::normalizedLines(person.seen),
              testing::ElementsAre("<I>TIME [main] 7% done", "<C>\033[33m\033[1mfile a?\033[0m"));
}

TEST(Console, SecuresStandardStreamsAndSurvivesClosedPipes) {
  const pid_t child = fork();
  if (child == 0) {
    int failures = 0;
    close(0);
    close(2);
    ferrun::secureStandardStreams();
    if (open("/dev/null", O_RDONLY) <= 2) failures |= 1;
    if (fcntl(0, F_GETFD) < 0 || fcntl(2, F_GETFD) < 0) failures |= 2;
    ferrun::ignoreWriteSignals();
    int ends[2];
    if (pipe(ends) != 0 || close(ends[0]) != 0 || write(ends[1], "x", 1) != -1) failures |= 4;
    _exit(failures);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
