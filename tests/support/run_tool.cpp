#include "support/run_tool.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

[[noreturn]] void becomeTool(const std::vector<std::string>& words, const std::string& directory,
                             int input, int output) {
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  if (chdir(directory.c_str()) == 0) execvp(argv[0], argv.data());
  _exit(127);
}

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return ends;
}

}  // namespace

std::vector<std::string> toolCommand() {
  std::vector<std::string> words;
  std::istringstream command(PCBIN_TOOL_COMMAND);
  for (std::string word; command >> word;) words.push_back(word);
  return words;
}

ToolRun runTool(const std::vector<std::string>& arguments, const std::string& directory,
                const std::string& input) {
  std::vector<std::string> words = toolCommand();
  words.insert(words.end(), arguments.begin(), arguments.end());
  const auto toTool = makePipe();
  const auto fromTool = makePipe();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) becomeTool(words, directory, toTool[0], fromTool[1]);
  close(toTool[0]);
  close(fromTool[1]);

  // The program may end without reading its input.
  const auto formerHandler = std::signal(SIGPIPE, SIG_IGN);
  std::thread typing([&] {
    (void)!write(toTool[1], input.data(), input.size());
    close(toTool[1]);
  });
  ToolRun run;
  std::array<char, 65536> piece;
  for (ssize_t count = 0; (count = read(fromTool[0], piece.data(), piece.size())) > 0;)
    run.output.append(piece.data(), static_cast<std::size_t>(count));
  typing.join();
  close(fromTool[0]);
  std::signal(SIGPIPE, formerHandler);

  int status = 0;
  waitpid(child, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.lines = normalizedLines(run.output);
  return run;
}

}  // namespace test
