// SPDX-License-Identifier: BSD-3-Clause
// The program's main() with failing allocations, in child processes.
#include <unistd.h>

#include <gmock/gmock.h>

#define main runProgram
#include "pcbin_las/app/main.cpp"
#undef main

#include "support/child_process.h"
#include "support/fault_injection.h"

namespace {

struct Ended {
  test::EndedProcess process;
  bool happened;  ///< whether an allocation failed
};

Ended runWithout(unsigned allocation, bool forGood, std::vector<const char*> words) {
  words.push_back(nullptr);
  Ended ended = {
      test::runProcess([&] {
        dup2(STDOUT_FILENO, STDERR_FILENO);
        const test::FaultInjection injection({{test::Call::kAllocate, allocation, forGood}});
        const int status =
            runProgram(static_cast<int>(words.size()) - 1, const_cast<char**>(words.data()));
        (void)!write(STDOUT_FILENO, test::FaultInjection::happened() ? "1" : "0", 1);
        _exit(status);
      }),
      false};
  std::string& output = ended.process.output;
  ended.happened = output.ends_with('1');
  if (!output.empty()) output.pop_back();
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
        const auto& [ended, failed] = runWithout(number, forGood, words);
        SCOPED_TRACE(testing::Message() << words.back() << number << ended.output);
        ASSERT_THAT(ended.status, testing::AnyOf(255, 2));
        ASSERT_THAT(ended.output, testing::EndsWith("\n"));
        happened = failed;
      }
    }
  }
}

}  // namespace
