// SPDX-License-Identifier: BSD-3-Clause
// Runs a part of a test in a child process.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

struct EndedProcess {
  int status;  ///< exit status, or 128 + the signal that ended it
  std::string output;
};

/// Runs `program` in a child process, which then calls exit(0); it is killed after a minute.
inline EndedProcess runProcess(const std::function<void()>& program) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    alarm(60);
    program();
    std::exit(0);
  }
  close(ends[1]);
  EndedProcess ended{};
  char piece[4096];
  for (ssize_t count = 0; (count = read(ends[0], piece, sizeof(piece))) > 0;)
    ended.output.append(piece, static_cast<std::size_t>(count));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return ended;
}

}  // namespace test
