// SPDX-License-Identifier: BSD-3-Clause
#include <iostream>
#include <sstream>
#include <unistd.h>

#include <gmock/gmock.h>

#include "pcbin_las/output/stop_signals.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/console_in.h"
#include "support/log_lines.h"

namespace {

/// A console that records its contents when the program begins to wait for input.
struct Terminal : std::streambuf, ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override { shown.append(lines, size); }
  int underflow() override {
    seen = shown;
    return traits_type::eof();
  }
  std::string shown, seen;
};

TEST(ConsoleIn, ShowsTheQuestionBeforeItWaits) {
  const test::CapturedLines started;
  const auto terminal = std::make_shared<Terminal>();
  ferrun::Singleton<ferrun::Tracer>::getInstance()->addSink(terminal);
  std::streambuf* const keyboard = std::cin.rdbuf(terminal.get());
  TRACE_INFO("main", "%d%% done", 7);
  TRACE_PROMPT("file %s?", "a");
  ferrun::ConsoleIn().waitIn();
  std::cin.rdbuf(keyboard);
  EXPECT_THAT(test::normalizedLines(terminal->seen, "2000"),
              testing::ElementsAre("<I>TIME [main] 7% done", "<C>\033[33m\033[1mfile a?\033[0m"));
}

TEST(ConsoleIn, KeepsTheBeginningOfALongLineAndRefusesAnEndlessOne) {
  std::istringstream typed(std::string(5000, 'y') + "\nY\n" + std::string(3 << 20, 'y'));
  std::streambuf* const keyboard = std::cin.rdbuf(typed.rdbuf());
  ferrun::ConsoleIn console;
  for (const std::string& word : {std::string(4096, 'y'), std::string("Y"), std::string()}) {
    console.waitIn();
    EXPECT_EQ(console.as<std::string>(), word);
  }
  std::cin.rdbuf(keyboard);
}

TEST(Console, SecuresStandardStreamsAndSurvivesClosedPipes) {
  const auto closeAndWrite = [] {
    close(0);
    close(2);
    ferrun::secureStandardStreams();
    ferrun::ignoreWriteSignals();
    int ends[2];
    const bool survived = pipe(ends) == 0 && close(ends[0]) == 0 && write(ends[1], "x", 1) == -1;
    _exit(survived && ends[0] > 2 ? 0 : 1);
  };
  EXPECT_EXIT(closeAndWrite(), testing::ExitedWithCode(0), "");
}

}  // namespace
