// SPDX-License-Identifier: BSD-3-Clause
// The program's main() with failing allocations, in child processes.
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#define main runProgram
#include "pcbin_las/app/main.cpp"
#undef main

#include "support/fault_injection.h"

namespace {

struct Ended {
  int status;  ///< as waitpid() gives it
  bool happened;
  std::string output;
};

Ended runWithout(unsigned allocation, bool forGood, std::vector<const char*> words) {
  words.push_back(nullptr);
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    const test::FaultInjection injection({{test::Call::kAllocate, allocation, forGood}});
    const int status =
        runProgram(static_cast<int>(words.size()) - 1, const_cast<char**>(words.data()));
    (void)!write(STDOUT_FILENO, test::FaultInjection::happened() ? "1" : "0", 1);
    _exit(status);
  }
  close(ends[1]);
  Ended ended{};
  char piece[4096];
  for (ssize_t size = 0; (size = read(ends[0], piece, sizeof(piece))) > 0;)
    ended.output.append(piece, static_cast<std::size_t>(size));
  close(ends[0]);
  waitpid(child, &ended.status, 0);
  ended.happened = ended.output.ends_with('1');
  if (!ended.output.empty()) ended.output.pop_back();
  return ended;
}

TEST(CommandLineFaults, AFailedAllocationEndsWithALineAndAStatus) {
  const std::vector<const char*> rows[] = {
      {"pcbin_las", "--batch", "-i", "/none", "-o", "/none/a", "--summary", "/none/b"},
      {"pcbin_las", "--batch", "--epsg", "1", "--slice", "1", "x", "-i", "/none"},
      {"pcbin_las", "--batch", "-i"},
      {"pcbin_las", "--strict", "--lossles"},
  };
  for (const auto& words : rows) {
    for (const bool forGood : {false, true}) {
      bool happened = true;
      for (unsigned number = 1; happened; ++number) {
        const Ended ended = runWithout(number, forGood, words);
        SCOPED_TRACE(testing::Message() << words.back() << number << ended.output);
        ASSERT_TRUE(WIFEXITED(ended.status));
        ASSERT_TRUE(WEXITSTATUS(ended.status) == 255 || WEXITSTATUS(ended.status) == 2);
        ASSERT_THAT(ended.output, testing::EndsWith("\n"));
        happened = ended.happened;
      }
    }
  }
}

}  // namespace
